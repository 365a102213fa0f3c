#ifndef BIZ_HOST_TICKET_SOURCE_P_H
#define BIZ_HOST_TICKET_SOURCE_P_H

#include <atomic>

#include <host/vocabulary.h>

namespace biz::host {

/** The number that stands in a record's `nTag` while it is in the channel. */
inline quint32 tagOf(Ticket ticket)
{
    return static_cast<quint32>(ticket);
}

/**
 * Counts tickets up over all hosts of a channel: a command that a former host has left in the channel
 * is never taken for one of the present host's.
 */
class TicketSource
{
public:
    explicit TicketSource(Ticket last = 0)
        : m_last(last)
    {
    }

    Ticket next()
    {
        Ticket ticket = ++m_last;
        if (tagOf(ticket) == 0) {
            ticket = ++m_last; // the tag 0 stands for no command
        }
        return ticket;
    }

private:
    std::atomic<Ticket> m_last;
};

} // namespace biz::host

#endif
