#include <osd/osd_commands_p.h>

#include <algorithm>

namespace biz::host {

OsdCommands::OsdCommands(OsdHost *host, Outbox *outbox, TicketSource *tickets)
    : CommandBook(host, outbox, tickets,
                  [this](const OsdCommand &command, Outcome outcome) { noteEnd(command, outcome); })
{
}

// --- Devices ------------------------------------------------------------------------------

OsdDevice &OsdCommands::knownDevice(const QString &ip)
{
    OsdDevice *&device = m_devicesByIp[ip];
    if (device == nullptr) {
        // All of it under the lock: status() copies the devices on any thread.
        device = statistics().locked([this, &ip] {
            OsdDevice &created = m_devices.emplace_back();
            created.ip = ip;
            created.address = QHostAddress(ip);
            created.lane.share = &created.statistics;
            return &created;
        });
    }
    return *device;
}

QStringList OsdCommands::busyDevices() const
{
    QStringList busy;
    for (const OsdDevice &device : m_devices) {
        if (device.inFlight != 0) {
            busy.append(device.ip);
        }
    }
    return busy;
}

void OsdCommands::forget(OsdDevice &device)
{
    m_devicesByIp.remove(device.ip);
    const auto found = std::find_if(m_devices.begin(), m_devices.end(),
                                    [&device](const OsdDevice &known) { return &known == &device; });
    statistics().locked([this, found] { m_devices.erase(found); });
}

QVector<OsdDeviceStatus> OsdCommands::status() const
{
    return statistics().locked([this] {
        QVector<OsdDeviceStatus> all;
        all.reserve(static_cast<int>(m_devices.size()));
        for (const OsdDevice &device : m_devices) {
            all.append({device.ip, device.statistics.snapshot(), device.inFlight != 0, device.isReachable,
                        device.isReachable ? 0 : device.unheardSinceUtcMs});
        }
        return all;
    });
}

// --- In flight ----------------------------------------------------------------------------

void OsdCommands::markInFlight(OsdDevice &device, OsdCommand &command)
{
    noteTaken(command);
    command.attempts = 1;
    setInFlight(device, command.ticket);
}

void OsdCommands::noteWritten(OsdDevice &device, int bytes)
{
    statistics().count(&device.statistics, [bytes](Statistics &statistics) {
        ++statistics.sent;
        statistics.bytesOut += static_cast<quint64>(bytes);
    });
    statistics().locked([&device] {
        if (device.unheardSinceUtcMs == 0) {
            device.unheardSinceUtcMs = QDateTime::currentMSecsSinceEpoch();
        }
    });
}

void OsdCommands::noteHeard(OsdDevice &device, int bytes)
{
    statistics().count(&device.statistics, [bytes](Statistics &statistics) {
        statistics.bytesIn += static_cast<quint64>(bytes);
        statistics.noteSeen();
    });
    statistics().locked([&device] {
        device.isReachable = true;
        device.unheardSinceUtcMs = 0;
    });
}

void OsdCommands::setInFlight(OsdDevice &device, Ticket ticket)
{
    statistics().locked([&device, ticket] { device.inFlight = ticket; });
}

// --- Ended --------------------------------------------------------------------------------

void OsdCommands::endAnswered(OsdCommand &command, const model_OsdParam &reply)
{
    OsdCommandResult result;
    result.outcome = Outcome::Answered;
    result.reply = reply;
    result.roundTripMs = millisecondsBetween(command.writtenAt, Clock::now());
    result.reason = answeredReason(result.roundTripMs, command.attempts);
    end(command, std::move(result));
}

void OsdCommands::giveUp(OsdCommand &command, const QString &what)
{
    OsdDevice &device = *this->device(command.record.qsIp);
    statistics().locked([&device] { device.isReachable = device.isReachable && device.unheardSinceUtcMs == 0; });
    end(command, Outcome::GaveUp, gaveUpReason(what, command.lastProblem));
}

void OsdCommands::endAll(OsdDevice &device, Outcome outcome, const EndReason &reason)
{
    for (OsdCommand *const command : {find(device.aheadTag), inFlightTo(device)}) {
        if (command != nullptr) {
            end(*command, outcome, command->isWritten ? reason.whenSent : reason.whenWaiting);
        }
    }
    endWaiting(device.lane, outcome, reason.whenWaiting);
}

/** Of commands that the channel has taken: what still comes from their device is told apart by the last of them. */
void OsdCommands::noteEnd(const OsdCommand &command, Outcome outcome)
{
    if (!command.isTaken) {
        return;
    }
    OsdDevice &device = *this->device(command.record.qsIp);
    setInFlight(device, 0);
    if (m_whenTakenEnds) {
        m_whenTakenEnds(command);
    }
    device.lastEnded = {command.ticket, outcome, Clock::now()};
    device.lastEndedRecord = m_keepsEndedRecords ? command.record : model_OsdParam();
}

} // namespace biz::host
