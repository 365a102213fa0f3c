#include <host/device_tickets_p.h>

namespace biz::host {

Ticket DeviceTickets::add(const model_Protocoldata &record)
{
    // The tag 0 stands for no command.
    m_last += tagOf(m_last + 1) == 0 ? 2 : 1;
    const Ticket ticket = m_last;
    DeviceCommand &command = m_commands[tagOf(ticket)];
    command.ticket = ticket;
    command.record = record;
    ++m_waiting;
    return ticket;
}

DeviceCommand *DeviceTickets::find(quint32 tag)
{
    const auto found = m_commands.find(tag);
    return found == m_commands.end() ? nullptr : &found->second;
}

Ticket DeviceTickets::markInFlight(DeviceCommand &command, quint8 sequence, bool gated)
{
    const Ticket older = m_inFlight[sequence];
    m_inFlight[sequence] = command.ticket;
    if (gated) {
        m_gated = command.ticket;
    }
    command.record.ucHead[0] = sequence;
    command.gated = gated;
    command.attempts = 1;
    --m_waiting;
    return older;
}

std::vector<Ticket> DeviceTickets::allInFlight() const
{
    std::vector<Ticket> tickets;
    for (const Ticket ticket : m_inFlight) {
        if (ticket != 0) {
            tickets.push_back(ticket);
        }
    }
    return tickets;
}

std::vector<Ticket> DeviceTickets::all() const
{
    std::vector<Ticket> tickets;
    tickets.reserve(m_commands.size());
    for (const auto &entry : m_commands) {
        tickets.push_back(entry.second.ticket);
    }
    return tickets;
}

void DeviceTickets::end(Ticket ticket, Outcome outcome)
{
    const DeviceCommand *command = find(ticket);
    if (command == nullptr) {
        return;
    }
    if (command->attempts == 0) {
        --m_waiting;
    } else {
        const quint8 sequence = command->record.ucHead[0];
        // A newer command may have taken the sequence byte over.
        if (m_inFlight[sequence] == ticket) {
            m_inFlight[sequence] = 0;
        }
        m_ended[sequence] = {ticket, outcome, Clock::now()};
        m_latestEnded = m_ended[sequence];
        m_latestEndedRecord = command->record;
    }
    if (m_gated == ticket) {
        m_gated = 0;
    }
    m_commands.erase(tagOf(ticket));
}

} // namespace biz::host
