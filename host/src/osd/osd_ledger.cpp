#include <osd/osd_ledger_p.h>

#include <commands/joint_end_p.h>

namespace biz::host {

OsdCommand &OsdLedger::enter(const model_OsdParam &record)
{
    OsdDevice &device = deviceOf(record.qsIp);
    OsdCommand &command = m_commands.add();
    command.record = record;
    const int before = device.waiting + (device.inFlight != 0 ? 1 : 0);
    command.history.note(before == 0 ? QStringLiteral("queued with nothing before it")
                                     : QStringLiteral("queued behind %1 of its device").arg(before));
    count(&device, [](Statistics &statistics) { ++statistics.enqueued; });
    changeWaiting(device, +1);
    return command;
}

OsdDevice &OsdLedger::deviceOf(const QString &ip)
{
    OsdDevice *&device = m_devicesByIp[ip];
    if (device == nullptr) {
        const std::lock_guard<std::mutex> lock(m_countersLock);
        m_devices.emplace_back();
        device = &m_devices.back();
        device->ip = ip;
        device->address = QHostAddress(ip);
    }
    return *device;
}

void OsdLedger::changeWaiting(OsdDevice &device, int change)
{
    device.waiting += change;
    m_waiting += change;
    const std::lock_guard<std::mutex> lock(m_countersLock);
    device.statistics.setWaiting(device.waiting);
    m_totals.setWaiting(m_waiting);
}

void OsdLedger::markInFlight(OsdDevice &device, OsdCommand &command)
{
    // The channel sends to a device again only when it has been answered or given up.
    if (OsdCommand *before = inFlightTo(device)) {
        giveUp(*before);
    }
    command.attempts = 1;
    setInFlight(device, command.ticket);
    changeWaiting(device, -1);
}

QStringList OsdLedger::busyDevices() const
{
    QStringList busy;
    for (const OsdDevice &device : m_devices) {
        if (device.inFlight != 0) {
            busy.append(device.ip);
        }
    }
    return busy;
}

// --- Ends ------------------------------------------------------------------------------------

void OsdLedger::endAnswered(OsdCommand &command, const model_OsdParam &reply)
{
    OsdCommandResult result;
    result.outcome = Outcome::Answered;
    result.reply = reply;
    result.roundTripMs = millisecondsBetween(command.writtenAt, Clock::now());
    result.reason = answeredReason(result.roundTripMs, command.attempts);
    end(command, result);
}

void OsdLedger::giveUp(OsdCommand &command)
{
    end(command, Outcome::GaveUp, gaveUpReason(QStringLiteral("no reply came within its wait"), command.lastProblem));
}

int OsdLedger::endAll(Outcome outcome, const EndReason &reason)
{
    const int pending = m_commands.pending();
    for (OsdDevice &device : m_devices) {
        if (OsdCommand *command = inFlightTo(device)) {
            end(*command, outcome, reason.whenSent);
        }
    }
    endWaiting(outcome, reason.whenWaiting);
    return pending;
}

void OsdLedger::endWaiting(Outcome outcome, const QString &reason)
{
    const JointEnd<OsdCommand, OsdCommandResult> joint(m_commands.takeAll(), outcome, reason);
    m_waiting = 0;
    {
        const std::lock_guard<std::mutex> lock(m_countersLock);
        for (OsdDevice &device : m_devices) {
            device.statistics.*counterOf(outcome) += static_cast<quint64>(std::exchange(device.waiting, 0));
            device.statistics.setWaiting(0);
        }
        m_totals.*counterOf(outcome) += joint.size();
        m_totals.setWaiting(0);
    }
    m_signals->postRepeated(joint.size(), [joint](biz_OsdHost *host) {
        OsdCommand command = joint.takeNext();
        OsdCommandResult result = joint.resultOf(command);
        result.ip = command.record.qsIp;
        Q_EMIT host->ended(command.ticket, result);
    });
}

void OsdLedger::end(OsdCommand &command, Outcome outcome, const QString &reason)
{
    OsdCommandResult result;
    result.outcome = outcome;
    result.reason = reason;
    end(command, result);
}

void OsdLedger::end(OsdCommand &command, OsdCommandResult result)
{
    OsdDevice &device = deviceOf(command.record.qsIp);
    const Ticket ticket = command.ticket;
    result.ip = device.ip;
    if (command.attempts == 0) {
        changeWaiting(device, -1);
    } else {
        setInFlight(device, 0);
        device.lastEnded = {ticket, result.outcome, Clock::now()};
        device.lastEndedRecord = m_keepsEndedRecords ? command.record : model_OsdParam();
    }
    result = closeHistory(command, std::move(result));
    count(&device, [&result](Statistics &statistics) {
        ++(statistics.*counterOf(result.outcome));
        if (result.outcome == Outcome::Answered) {
            statistics.noteRoundTrip(result.roundTripMs);
        }
    });
    m_commands.remove(ticket);
    m_signals->post(&biz_OsdHost::ended, ticket, result);
}

// --- Counters --------------------------------------------------------------------------------

void OsdLedger::setInFlight(OsdDevice &device, Ticket ticket)
{
    const std::lock_guard<std::mutex> lock(m_countersLock);
    device.inFlight = ticket;
}

Counters OsdLedger::counters() const
{
    const std::lock_guard<std::mutex> lock(m_countersLock);
    return m_totals.snapshot();
}

QVector<biz_OsdHost::DeviceStatus> OsdLedger::status() const
{
    QVector<biz_OsdHost::DeviceStatus> all;
    const std::lock_guard<std::mutex> lock(m_countersLock);
    all.reserve(static_cast<int>(m_devices.size()));
    for (const OsdDevice &device : m_devices) {
        biz_OsdHost::DeviceStatus status;
        status.ip = device.ip;
        status.counters = device.statistics.snapshot();
        status.waiting = status.counters.queueLength;
        status.inFlight = device.inFlight != 0;
        status.roundTripMedianMs = status.counters.roundTripMedianMs;
        status.roundTripMaxMs = status.counters.roundTripMaxMs;
        all.append(status);
    }
    return all;
}

} // namespace biz::host
