#include <device/device_ledger_p.h>

#include <commands/joint_end_p.h>

namespace biz::host {

DeviceCommand &DeviceLedger::enter(const model_Protocoldata &record)
{
    DeviceCommand &command = add(record);
    count([this](Statistics &totals) {
        ++totals.enqueued;
        totals.setWaiting(m_tickets.waiting());
    });
    return command;
}

Ticket DeviceLedger::enterSkipped(const model_Protocoldata &record)
{
    const Ticket ticket = add(record).ticket;
    count([](Statistics &totals) { ++totals.enqueued; });
    end(ticket, Outcome::Skipped, QStringLiteral("it was given while skip mode was on"));
    return ticket;
}

DeviceCommand &DeviceLedger::add(const model_Protocoldata &record)
{
    const QString before = m_tickets.pending() == 0 ? QStringLiteral("queued with nothing before it")
                                                    : QStringLiteral("queued behind %1, the last of them ticket %2")
                                                          .arg(m_tickets.pending())
                                                          .arg(m_tickets.newest());
    DeviceCommand &command = *m_tickets.find(m_tickets.add(record));
    command.history.note(before);
    return command;
}

void DeviceLedger::markInFlight(DeviceCommand &command, quint8 sequence, bool gated)
{
    // The next command leaves only when the gate has been opened, and if not by us, then by
    // the library when it gave the command before it up.
    if (DeviceCommand *before = m_tickets.gatedInFlight()) {
        giveUp(*before);
    }
    const Ticket older = m_tickets.markInFlight(command, sequence, gated);
    count([this](Statistics &totals) { totals.setWaiting(m_tickets.waiting()); });
    if (older != 0) {
        end(older, Outcome::Released, QStringLiteral("its sequence byte was used again before a reply came"));
    }
}

void DeviceLedger::endAnswered(DeviceCommand &command, const model_Protocoldata &reply, TimePoint arrival)
{
    CommandResult result;
    result.outcome = Outcome::Answered;
    result.reply = reply;
    result.roundTripMs = millisecondsBetween(command.writtenAt, arrival);
    result.reason = answeredReason(result.roundTripMs, command.attempts);
    end(command, result);
}

void DeviceLedger::giveUp(DeviceCommand &command)
{
    end(command.ticket, Outcome::GaveUp,
        gaveUpReason(QStringLiteral("no acceptable reply came, nor after the resend"), command.lastProblem));
}

void DeviceLedger::end(Ticket ticket, Outcome outcome, const QString &reason)
{
    CommandResult result;
    result.outcome = outcome;
    result.reason = reason;
    end(*m_tickets.find(ticket), result);
}

int DeviceLedger::endAll(Outcome outcome, const EndReason &reason)
{
    const int pending = m_tickets.pending();
    for (const Ticket ticket : m_tickets.allInFlight()) {
        end(ticket, outcome, reason.whenSent);
    }
    endWaiting(outcome, reason.whenWaiting);
    return pending;
}

void DeviceLedger::endWaiting(Outcome outcome, const QString &reason)
{
    const JointEnd<DeviceCommand, CommandResult> joint(m_tickets.takeWaiting(), outcome, reason);
    count([&joint, outcome](Statistics &totals) {
        totals.*counterOf(outcome) += joint.size();
        totals.setWaiting(0);
    });
    m_signals->postRepeated(joint.size(), [joint](biz_DeviceHost *host) {
        DeviceCommand command = joint.takeNext();
        Q_EMIT host->ended(command.ticket, joint.resultOf(command));
    });
}

void DeviceLedger::end(DeviceCommand &command, CommandResult result)
{
    const Ticket ticket = command.ticket;
    result = closeHistory(command, std::move(result));
    m_tickets.end(ticket, result.outcome);
    count([this, &result](Statistics &totals) {
        ++(totals.*counterOf(result.outcome));
        if (result.outcome == Outcome::Answered) {
            totals.noteRoundTrip(result.roundTripMs);
        }
        totals.setWaiting(m_tickets.waiting());
    });
    m_signals->post(&biz_DeviceHost::ended, ticket, result);
}

} // namespace biz::host
