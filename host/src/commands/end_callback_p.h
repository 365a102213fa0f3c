#ifndef BIZ_HOST_END_CALLBACK_P_H
#define BIZ_HOST_END_CALLBACK_P_H

#include <functional>
#include <memory>
#include <utility>

#include <QtCore/QObject>

#include <host/vocabulary.h>
#include <refusal_p.h>

namespace biz::host {

/** Posts one event to another object's thread. Qt sees to it that nothing is called once that object is gone. */
class EndNotice : public QObject
{
    Q_OBJECT

public:
    EndNotice(const QObject *context, std::function<void()> call)
    {
        connect(this, &EndNotice::due, context, std::move(call), Qt::QueuedConnection);
    }

Q_SIGNALS:
    void due();
};

/** What one command's own listener is called with. */
template<typename Result>
class EndCallback
{
public:
    using Function = std::function<void(Ticket, const Result &)>;

    EndCallback(const QObject *context, Function function)
        : m_call(std::make_shared<Call>(Call{std::move(function), 0, {}}))
        , m_notice(context, [call = m_call] { call->function(call->ticket, call->result); })
    {
    }

    /** Posts the call to the context's thread; once. */
    void tell(Ticket ticket, const Result &result)
    {
        m_call->ticket = ticket;
        m_call->result = result;
        Q_EMIT m_notice.due();
    }

private:
    struct Call
    {
        Function function;
        Ticket ticket;
        Result result;
    };

    std::shared_ptr<Call> m_call;
    EndNotice m_notice;
};

/** A callback without an object is refused: nobody could say on which thread to call it, and until when. */
template<typename Function>
bool isCallable(const QObject *context, const Function &callback, LastRefusal *refusal)
{
    return context != nullptr || !callback ||
           refusal->refuse(Error::NoContext, QStringLiteral("a callback needs an object on whose thread it is called"));
}

/** Null when there is nothing to be called. */
template<typename Result>
std::unique_ptr<EndCallback<Result>> makeEndCallback(const QObject *context,
                                                     typename EndCallback<Result>::Function function)
{
    return function ? std::make_unique<EndCallback<Result>>(context, std::move(function)) : nullptr;
}

} // namespace biz::host

#endif
