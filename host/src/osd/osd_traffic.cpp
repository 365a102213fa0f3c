#include <osd/osd_traffic_p.h>

#include <QtCore/QScopedValueRollback>

#include <host/osd_datagram_codec.h>
#include <osd/osd_channel_p.h>
#include <osd/osd_device_key_p.h>

namespace biz::host {

OsdTraffic::OsdTraffic(OsdHost *host, HostSignals<OsdHost> *signalsOfHost, OsdCommands *commands)
    : m_signals(signalsOfHost)
    , m_commands(commands)
    , m_socket(host)
    , m_watch(
          commands, [this] { look(); }, host)
{
    QObject::connect(&m_socket, &OsdSocket::received, host,
                     [this](const QHostAddress &sender, const QByteArray &datagram) { onDatagram(sender, datagram); });
}

void OsdTraffic::setMatcher(std::unique_ptr<OsdReplyMatcher> matcher)
{
    m_matcher = std::move(matcher);
    m_commands->setKeepEndedRecords(m_matcher != nullptr);
}

QString OsdTraffic::begin(const QHostAddress &local, quint16 devicePort)
{
    const QString problem = m_socket.open(local);
    if (!problem.isEmpty()) {
        return problem;
    }
    m_devicePort = devicePort;
    m_isRunning = true;
    for (OsdDevice &device : m_commands->devices()) {
        advance(device);
    }
    return {};
}

void OsdTraffic::end()
{
    m_socket.readDatagrams();
    m_isRunning = false;
}

void OsdTraffic::close()
{
    drain();
    m_socket.close();
}

// --- To the channel ---------------------------------------------------------------------------

void OsdTraffic::advance(OsdDevice &device)
{
    if (!m_isRunning || device.aheadTag != 0 || device.inFlight != 0) {
        return;
    }
    if (const OsdCommand *const command = m_commands->handOver(device.lane)) {
        model_OsdParam record = command->record;
        record.nTag = tagOf(command->ticket);
        device.aheadTag = record.nTag;
        osd_channel::push(record);
    }
}

void OsdTraffic::free(const OsdDevice &device, Ticket ticket)
{
    osd_channel::freeDevice(OsdLoops::instance().worker(), device.ip, tagOf(ticket));
}

// --- What the loops report --------------------------------------------------------------------

void OsdTraffic::drain()
{
    if (m_isDraining) {
        return;
    }
    const QScopedValueRollback<bool> draining(m_isDraining, true);
    // First the replies that are here: none can be to a command that is only sent now.
    m_socket.readDatagrams();
    for (const OsdMessage &message : OsdLoops::instance().inbox().takeAll()) {
        switch (message.kind) {
        case OsdMessage::Kind::Announced:
            onAnnounced(message);
            break;
        case OsdMessage::Kind::Received:
            m_signals->post(&OsdHost::received, message.record);
            break;
        }
    }
}

/** A command that has ended since it was handed over, or that a former host has left, is let through. */
void OsdTraffic::onAnnounced(const OsdMessage &message)
{
    OsdDevice *const device = m_commands->device(message.record.qsIp);
    if (device != nullptr && device->aheadTag == message.record.nTag) {
        device->aheadTag = 0;
    }
    OsdCommand *const command = m_isRunning ? m_commands->find(message.record.nTag) : nullptr;
    if (command == nullptr) {
        OsdLoops::instance().letThrough(message.record);
    } else {
        m_commands->markInFlight(*device, *command);
        command->announcedAt = message.at;
        if (isWorthWriting(*command)) {
            m_watch.add(*command);
            write(*device, *command);
        } else {
            free(*device, message.record.nTag);
        }
    }
    if (device != nullptr) {
        advance(*device);
    }
}

bool OsdTraffic::isWorthWriting(OsdCommand &command)
{
    if (command.isExpired(Clock::now())) {
        m_commands->end(command, Outcome::Expired, expiredReason());
        return false;
    }
    if (osd_channel::isFree(command.record.qsIp)) {
        m_commands->giveUp(command,
                           QStringLiteral("the host's thread was busy for all of its wait, so it was not sent"));
        return false;
    }
    return true;
}

void OsdTraffic::write(OsdDevice &device, OsdCommand &command)
{
    const QByteArray datagram = OsdDatagramCodec::encode(command.record);
    command.writtenAt = Clock::now();
    const QString problem = m_socket.send(device.address, m_devicePort, datagram);
    if (!problem.isEmpty()) {
        command.lastProblem = QStringLiteral("it could not be sent: ") + problem;
        command.history.note(command.lastProblem);
        m_signals->post(&OsdHost::socketError, device.ip + QStringLiteral(": ") + problem);
        return;
    }
    command.isWritten = true;
    command.history.note(QStringLiteral("sent"), command.writtenAt);
    m_commands->statistics().count(&device.statistics, [&datagram](Statistics &statistics) {
        ++statistics.sent;
        statistics.bytesOut += static_cast<quint64>(datagram.size());
    });
    m_signals->post(&OsdHost::sent, command.ticket, command.record);
}

// --- What the socket brings -------------------------------------------------------------------

void OsdTraffic::onDatagram(const QHostAddress &sender, const QByteArray &datagram)
{
    model_OsdParam reply;
    QString why;
    const QString key = osdDeviceKey(sender);
    if (!OsdDatagramCodec::decode(datagram, &reply, &why)) {
        onRefused(key, datagram.size(), why);
        return;
    }
    reply.qsIp = key;
    OsdDevice *const device = m_commands->device(key);
    if (device == nullptr) {
        onForeign(datagram.size(), reply);
        return;
    }
    m_commands->statistics().count(&device->statistics, [&datagram](Statistics &statistics) {
        statistics.bytesIn += static_cast<quint64>(datagram.size());
        statistics.noteSeen();
    });
    OsdCommand *const command = m_commands->inFlightTo(*device);
    if (command != nullptr && belongsTo(command->record, reply)) {
        onReply(*device, *command, reply);
        return;
    }
    if (command != nullptr) {
        command->history.note(QStringLiteral("a datagram came that is not its reply"));
    }
    onUnmatchedReply(*device, reply);
}

void OsdTraffic::onRefused(const QString &sender, int bytes, const QString &why)
{
    m_commands->statistics().count(nullptr, [bytes](Statistics &totals) {
        totals.bytesIn += static_cast<quint64>(bytes);
        totals.noteRefused(bytes);
    });
    m_signals->post(&OsdHost::refused, sender, bytes, why);
}

void OsdTraffic::onForeign(int bytes, const model_OsdParam &reply)
{
    m_commands->statistics().count(nullptr, [bytes](Statistics &totals) {
        totals.bytesIn += static_cast<quint64>(bytes);
        ++totals.foreign;
    });
    m_signals->post(&OsdHost::foreign, reply.qsIp, reply);
}

bool OsdTraffic::belongsTo(const model_OsdParam &command, const model_OsdParam &reply) const
{
    return !m_matcher || m_matcher->matches(command, reply);
}

void OsdTraffic::onReply(OsdDevice &device, OsdCommand &command, const model_OsdParam &reply)
{
    free(device, command.ticket);
    m_commands->endAnswered(command, reply);
    passOn(reply);
    advance(device);
}

/** To the channel's receive queue, for received(): how the command ended has been told. */
void OsdTraffic::passOn(const model_OsdParam &reply)
{
    const std::size_t dropped = osd_channel::pushReply(reply);
    if (dropped > 0) {
        m_commands->statistics().count(nullptr, [dropped](Statistics &totals) { totals.dropped += dropped; });
    }
}

/** It frees no device: the channel may be sending to it at this very moment. */
void OsdTraffic::onUnmatchedReply(OsdDevice &device, const model_OsdParam &reply)
{
    const bool isOfLast = device.lastEnded.ticket != 0 && belongsTo(device.lastEndedRecord, reply);
    const EndedCommand ended = isOfLast ? device.lastEnded : EndedCommand();
    m_commands->statistics().count(&device.statistics,
                                   [&ended](Statistics &statistics) { ++(statistics.*counterOfUnmatched(ended)); });
    if (ended.ticket == 0) {
        m_signals->post(&OsdHost::foreign, reply.qsIp, reply);
    } else if (ended.outcome == Outcome::Answered) {
        m_signals->post(&OsdHost::duplicate, ended.ticket, reply);
    } else {
        const double afterEndMs = millisecondsBetween(ended.endedAt, Clock::now());
        m_signals->post(&OsdHost::late, ended.ticket, reply, afterEndMs);
    }
    if (m_keepsUnmatched) {
        passOn(reply);
    }
}

// --- Time ---------------------------------------------------------------------------------------

void OsdTraffic::look()
{
    drain();
    for (OsdDevice *const device : m_watch.endOverdue()) {
        advance(*device);
    }
}

} // namespace biz::host
