#ifndef BIZ_HOST_SIGNAL_OUTBOX_P_H
#define BIZ_HOST_SIGNAL_OUTBOX_P_H

#include <deque>
#include <functional>

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QObject>

namespace biz::host {

/**
 * Emits a host's signals one by one from the event loop. No emission happens inside a call
 * of the host's, so a slot may call whatever it likes; one per event, so that a slot which
 * runs an event loop of its own still gets the signals that follow.
 */
class SignalOutbox : public QObject
{
public:
    using Emission = std::function<void()>;

    explicit SignalOutbox(QObject *parent)
        : QObject(parent)
    {
    }

    void post(Emission emission) { postRepeated(1, std::move(emission)); }

    /** An emission that is made so many times, each with an event of its own. */
    void postRepeated(std::size_t times, Emission emission)
    {
        if (times == 0) {
            return;
        }
        m_series.push_back({std::move(emission), times});
        if (m_series.size() == 1) {
            wake();
        }
    }

protected:
    void customEvent(QEvent * /*event*/) override
    {
        const Emission emission = takeNext();
        if (!m_series.empty()) {
            wake();
        }
        // Last: the slots may destroy the host, and this object with it.
        emission();
    }

private:
    struct Series
    {
        Emission emission;
        std::size_t times;
    };

    Emission takeNext()
    {
        Series &front = m_series.front();
        if (--front.times > 0) {
            return front.emission;
        }
        Emission last = std::move(front.emission);
        m_series.pop_front();
        return last;
    }

    void wake() { QCoreApplication::postEvent(this, new QEvent(QEvent::User)); }

    std::deque<Series> m_series;
};

} // namespace biz::host

#endif
