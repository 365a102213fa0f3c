#ifndef BIZ_HOST_TICKET_BOOK_P_H
#define BIZ_HOST_TICKET_BOOK_P_H

#include <map>
#include <utility>
#include <vector>

#include <host/command_result.h>

namespace biz::host {

/** The commands of one channel that have not ended, by ticket. Used on the host's thread only. */
template<typename Command>
class TicketBook
{
public:
    /** Tickets count up from the one after `last`. */
    explicit TicketBook(Ticket last = 0)
        : m_last(last)
    {
    }

    /** The number that stands in `nTag` of the queued copy while it is in the channel. */
    static quint32 tagOf(Ticket ticket) { return static_cast<quint32>(ticket); }

    /** A command with a ticket of its own. */
    Command &add()
    {
        // The tag 0 stands for no command.
        m_last += tagOf(m_last + 1) == 0 ? 2 : 1;
        Command &command = m_commands[tagOf(m_last)];
        command.ticket = m_last;
        return command;
    }

    /** The command that a record in the channel stands for; null once it has ended. */
    Command *find(quint32 tag)
    {
        const auto found = m_commands.find(tag);
        return found == m_commands.end() ? nullptr : &found->second;
    }
    Command *find(Ticket ticket) { return find(tagOf(ticket)); }

    void remove(Ticket ticket) { m_commands.erase(tagOf(ticket)); }

    /** Takes all of them out of the book. */
    std::map<quint32, Command> takeAll() { return std::exchange(m_commands, {}); }

    /** All commands that have not ended, oldest first. */
    std::vector<Ticket> all() const
    {
        std::vector<Ticket> tickets;
        tickets.reserve(m_commands.size());
        for (const auto &entry : m_commands) {
            tickets.push_back(entry.second.ticket);
        }
        return tickets;
    }

    /** The ticket given last of those that have not ended; 0 when there is none. */
    Ticket newest() const { return m_commands.empty() ? 0 : m_commands.rbegin()->second.ticket; }

    int pending() const { return static_cast<int>(m_commands.size()); }

private:
    std::map<quint32, Command> m_commands; ///< by tag
    Ticket m_last;
};

} // namespace biz::host

#endif
