#include <device/device_commands_p.h>

#include <algorithm>

namespace biz::host {

DeviceCommands::DeviceCommands(DeviceHost *host, Outbox *outbox, TicketSource *tickets)
    : CommandBook(host, outbox, tickets,
                  [this](const DeviceCommand &command, Outcome outcome) { noteEnd(command, outcome); })
{
}

// --- In flight ----------------------------------------------------------------------------

void DeviceCommands::markInFlight(DeviceCommand &command, const model_Protocoldata &record, bool closedGate)
{
    noteTaken(command);
    command.attempts = 1;
    command.record.ucHead[0] = record.ucHead[0];
    Ticket &user = m_inFlight[record.ucHead[0]];
    if (DeviceCommand *const older = find(user)) {
        end(*older, Outcome::Released, QStringLiteral("its sequence byte was used again before a reply came"));
    }
    user = command.ticket;
    if (closedGate) {
        m_gated = command.ticket;
    }
}

void DeviceCommands::putBack(DeviceCommand &command)
{
    forgetInFlight(command);
    CommandBook::putBack(command);
}

bool DeviceCommands::isOvertaking(const DeviceCommand &command)
{
    if (m_lane.queue.hasOlder(command)) {
        return true;
    }
    const std::vector<Ticket> others = active();
    return std::any_of(others.begin(), others.end(), [&](Ticket ticket) {
        const DeviceCommand &other = *find(ticket);
        return !other.isTaken && other.options.urgent == command.options.urgent && other.position < command.position;
    });
}

/** Its sequence byte and the gate stand for it no longer. */
void DeviceCommands::forgetInFlight(const DeviceCommand &command)
{
    Ticket &user = m_inFlight[command.record.ucHead[0]];
    if (user == command.ticket) {
        user = 0;
    }
    if (m_gated == command.ticket) {
        m_gated = 0;
    }
}

std::vector<Ticket> DeviceCommands::allInFlight()
{
    std::vector<Ticket> tickets;
    for (const Ticket ticket : active()) {
        if (find(ticket)->isTaken) {
            tickets.push_back(ticket);
        }
    }
    return tickets;
}

// --- Ended --------------------------------------------------------------------------------

void DeviceCommands::endAnswered(DeviceCommand &command, const model_Protocoldata &reply, TimePoint arrival)
{
    CommandResult result;
    result.outcome = Outcome::Answered;
    result.reply = reply;
    result.roundTripMs = millisecondsBetween(command.writtenAt, arrival);
    result.reason = answeredReason(result.roundTripMs, command.attempts);
    end(command, std::move(result));
}

void DeviceCommands::giveUp(DeviceCommand &command, const QString &what)
{
    end(command, Outcome::GaveUp, gaveUpReason(what, command.lastProblem));
}

int DeviceCommands::endAll(Outcome outcome, const EndReason &reason)
{
    const int ended = pending();
    for (const Ticket ticket : active()) {
        DeviceCommand &command = *find(ticket);
        end(command, outcome, command.isWritten ? reason.whenSent : reason.whenWaiting);
    }
    endWaiting(m_lane, outcome, reason.whenWaiting);
    return ended;
}

void DeviceCommands::endUnwritten(Outcome outcome, const QString &reason)
{
    for (const Ticket ticket : active()) {
        DeviceCommand &command = *find(ticket);
        if (!command.isWritten) {
            end(command, outcome, reason);
        }
    }
    endWaiting(m_lane, outcome, reason);
}

/** Of commands that the channel has taken: what still comes for them is told apart by their sequence byte. */
void DeviceCommands::noteEnd(const DeviceCommand &command, Outcome outcome)
{
    if (!command.isTaken) {
        return;
    }
    forgetInFlight(command);
    m_latestEnded = {command.ticket, outcome, Clock::now()};
    m_latestEndedRecord = command.record;
    m_ended[command.record.ucHead[0]] = m_latestEnded;
    if (command.isWritten && outcome != Outcome::Answered && m_whenUnanswered) {
        m_whenUnanswered();
    }
}

} // namespace biz::host
