#ifndef BIZ_HOST_REPORTED_P_H
#define BIZ_HOST_REPORTED_P_H

#include <deque>
#include <utility>

#include <QtCore/QScopeGuard>

#include <loops/inbox_p.h>

namespace biz::host {

/** What the loops have reported to a host and the host has not handled yet, in its order. */
template<typename Message>
class Reported
{
public:
    explicit Reported(Inbox<Message> *inbox)
        : m_inbox(inbox)
    {
    }

    /**
     * Calls `handle` with everything that is here, one after the other. When an application's codec or link throws out
     * of it, the messages behind that one are handled by an event that follows.
     */
    template<typename Handle>
    void handleAll(const Handle &handle)
    {
        for (Message &message : m_inbox->takeAll()) {
            m_messages.push_back(std::move(message));
        }
        auto comesBack = qScopeGuard([this] { m_inbox->wake(); });
        while (!m_messages.empty()) {
            Message message = std::move(m_messages.front());
            m_messages.pop_front();
            handle(std::move(message));
        }
        comesBack.dismiss();
    }

private:
    Inbox<Message> *const m_inbox;
    std::deque<Message> m_messages;
};

} // namespace biz::host

#endif
