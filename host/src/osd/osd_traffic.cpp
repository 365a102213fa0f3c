#include <osd/osd_traffic_p.h>

#include <algorithm>

#include <QtCore/QScopedValueRollback>

#include <byte_count_p.h>
#include <datagram/udp_datagram_transport_p.h>
#include <host/osd_datagram_codec.h>
#include <logging_p.h>
#include <memory_p.h>
#include <osd/channel/osd_channel_p.h>
#include <osd/osd_device_key_p.h>
#include <timing_p.h>

namespace biz::host {

OsdTraffic::OsdTraffic(OsdHost *host, HostSignals<OsdHost> *signalsOfHost, OsdCommands *commands)
    : m_host(host)
    , m_signals(signalsOfHost)
    , m_commands(commands)
    , m_reported(&OsdLoops::instance().inbox())
    , m_askingAgain(host)
    , m_watch(
          commands, [this] { look(); },
          [](const OsdCommand &command) {
              osd_channel::freeDevice(OsdLoops::instance().worker(), command.record.qsIp, tagOf(command.ticket));
          },
          host)
{
    m_askingAgain.setSingleShot(true);
    m_askingAgain.setInterval(timing::fullSystemRetryPeriod);
    QObject::connect(&m_askingAgain, &QTimer::timeout, host, [this] { onWritable(); });
    setTransport(nullptr);
}

void OsdTraffic::setTransport(std::unique_ptr<DatagramTransport> transport)
{
    m_transport = transport != nullptr ? std::move(transport) : std::make_unique<UdpDatagramTransport>();
    m_transport->setParent(m_host); // so that it follows the host to another thread
    const auto on = [this](auto signal, auto slot) {
        QObject::connect(m_transport.get(), signal, m_host, slot);
    };
    on(&DatagramTransport::received,
       [this](const QHostAddress &sender, const QByteArray &datagram) { onDatagram(sender, datagram); });
    on(&DatagramTransport::writable, [this] { onWritable(); });
    on(&DatagramTransport::overflowed, [this](quint64 datagrams) { onOverflowed(datagrams); });
    on(&DatagramTransport::failed, [this](const QString &why) { m_signals->post(&OsdHost::socketError, why); });
}

void OsdTraffic::setMatcher(std::unique_ptr<OsdReplyMatcher> matcher)
{
    m_matcher = std::move(matcher);
    m_commands->setKeepEndedRecords(m_matcher != nullptr);
}

QString OsdTraffic::begin(const QHostAddress &local, quint16 devicePort)
{
    QString problem = m_transport->open(local);
    if (!problem.isEmpty()) {
        return problem;
    }
    m_hasToldOverflow = false;
    m_devicePort = devicePort;
    m_isRunning = true;
    for (OsdDevice &device : m_commands->devices()) {
        advance(device);
    }
    return {};
}

void OsdTraffic::end()
{
    m_unwritten.clear(); // there may be room for them just now
    m_transport->readPending();
    m_isRunning = false;
}

void OsdTraffic::close()
{
    drain();
    m_transport->close();
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
    if (m_isRunning) {
        m_transport->readPending(); // first, since no reply that is here can be to a command that is only sent now
    }
    m_reported.handleAll([this](const OsdMessage &message) {
        switch (message.kind) {
        case OsdMessage::Kind::Announced:
            onAnnounced(message);
            break;
        case OsdMessage::Kind::Received:
            m_signals->post(&OsdHost::received, message.record);
            break;
        }
    });
}

/** A command that has ended since it was handed over, or that a former host has left, is let through. */
void OsdTraffic::onAnnounced(const OsdMessage &message)
{
    OsdDevice *const device = m_commands->device(message.record.qsIp);
    if (device != nullptr && device->aheadTag == message.record.nTag) {
        device->aheadTag = 0;
    }
    OsdCommand *const command = m_isRunning ? m_commands->find(message.record.nTag) : nullptr;
    if (device == nullptr || command == nullptr) {
        OsdLoops::instance().letThrough(message.record);
    } else {
        m_commands->markInFlight(*device, *command);
        command->announcedAt = message.at;
        writeOrLetThrough(*device, *command);
    }
    if (device != nullptr) {
        advance(*device);
    }
}

void OsdTraffic::writeOrLetThrough(OsdDevice &device, OsdCommand &command)
{
    const Ticket ticket = command.ticket;
    if (isWorthWriting(command)) {
        m_watch.add(command);
        write(device, command);
    } else {
        free(device, ticket);
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
                           command.lastProblem.isEmpty()
                               ? QStringLiteral("the host's thread was busy for all of its wait, so it was not sent")
                               : QStringLiteral("there was no room for it in all of its wait"));
        return false;
    }
    return true;
}

void OsdTraffic::write(OsdDevice &device, OsdCommand &command)
{
    if (m_mayWrite && !m_mayWrite()) {
        holdBack(command, QStringLiteral("the application was not ready for it"));
        m_askingAgain.start();
        return;
    }
    const QByteArray datagram = OsdDatagramCodec::encode(command.record);
    if (datagram.isEmpty()) { // its size was looked at when it was given
        onProblem(device, command, noMemoryReason());
        return;
    }
    command.writtenAt = Clock::now();
    m_commands->taps().tellWriting(command.ticket, command.attempts, command.record);
    const DatagramTransport::SendResult result = m_transport->send(device.address, m_devicePort, datagram);
    switch (result.sent) {
    case DatagramTransport::Sent::Yes:
        onWritten(device, command, byteCount(datagram));
        break;
    case DatagramTransport::Sent::Later:
        holdBack(command, result.problem);
        break;
    case DatagramTransport::Sent::No:
        onProblem(device, command, result.problem);
        break;
    }
}

/** One of each device waits at most; those of commands that have ended meanwhile are dropped now and then. */
void OsdTraffic::holdBack(OsdCommand &command, const QString &problem)
{
    if (command.lastProblem.isEmpty()) {
        command.lastProblem = QStringLiteral("it had to wait to be sent: ") + problem;
        command.history.note(command.lastProblem);
    }
    if (m_unwritten.size() > 2 * m_commands->devices().size()) {
        const auto hasEnded = [this](Ticket unwritten) {
            return m_commands->find(unwritten) == nullptr;
        };
        m_unwritten.erase(std::remove_if(m_unwritten.begin(), m_unwritten.end(), hasEnded), m_unwritten.end());
    }
    m_unwritten.push_back(command.ticket);
}

void OsdTraffic::onWritten(OsdDevice &device, OsdCommand &command, int bytes)
{
    command.isWritten = true;
    command.history.note(QStringLiteral("sent"), command.writtenAt);
    m_commands->noteWritten(device, bytes);
    m_signals->post(&OsdHost::sent, command.ticket, command.record);
}

void OsdTraffic::onProblem(OsdDevice &device, OsdCommand &command, const QString &problem)
{
    command.lastProblem = QStringLiteral("it could not be sent: ") + problem;
    command.history.note(command.lastProblem);
    m_signals->post(&OsdHost::socketError, device.ip + QStringLiteral(": ") + problem);
}

void OsdTraffic::onWritable()
{
    for (const Ticket ticket : std::exchange(m_unwritten, {})) {
        if (OsdCommand *const command = m_commands->find(ticket)) {
            OsdDevice &device = *m_commands->device(command->record.qsIp);
            writeOrLetThrough(device, *command);
            advance(device);
        }
    }
}

// --- What the devices send ------------------------------------------------------------------------

void OsdTraffic::onDatagram(const QHostAddress &sender, const QByteArray &datagram)
{
    model_OsdParam reply;
    QString why;
    const QString key = osdDeviceKey(sender);
    if (!OsdDatagramCodec::decode(datagram, &reply, &why)) {
        onRefused(key, byteCount(datagram), why);
        return;
    }
    reply.qsIp = key;
    OsdDevice *const device = m_commands->device(key);
    if (device == nullptr) {
        onForeign(byteCount(datagram), reply);
        return;
    }
    m_commands->noteHeard(*device, byteCount(datagram));
    OsdCommand *const command = m_commands->inFlightTo(*device);
    const bool isAwaited = command != nullptr && command->isWritten; // else it waits for room in the transport
    if (isAwaited && belongsTo(command->record, reply)) {
        onReply(*device, *command, reply);
        return;
    }
    if (isAwaited) {
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

/** Told once for each start: it goes on as long as its cause does. */
void OsdTraffic::onOverflowed(quint64 datagrams)
{
    m_commands->statistics().count(nullptr, [datagrams](Statistics &totals) { totals.overflowed += datagrams; });
    if (!std::exchange(m_hasToldOverflow, true)) {
        const QString text = QStringLiteral("datagrams came faster than they were read, and the system dropped %1 of "
                                            "them; counters() has what follows")
                                 .arg(datagrams);
        qCWarning(hostLog).noquote() << "OSD:" << text;
        m_signals->post(&OsdHost::socketError, text);
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
