#include <device/device_tickets_p.h>

namespace biz::host {

Ticket DeviceTickets::add(const model_Protocoldata &record)
{
    DeviceCommand &command = TicketBook::add();
    command.record = record;
    ++m_waiting;
    return command.ticket;
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
    remove(ticket);
}

} // namespace biz::host
