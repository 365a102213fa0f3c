#include <osd/osd_host_p.h>

#include <QtNetwork/QNetworkDatagram>

#include <host/osd_datagram_codec.h>
#include <osd/osd_channel_p.h>

using namespace biz::host;

namespace {

/**
 * Datagrams that are read in one go: more than a receive buffer of the usual size holds, and
 * an end of it where they come faster than they can be read.
 */
constexpr int datagramsPerTurn = 1000;

} // namespace

// --- What the loops report --------------------------------------------------------------

void biz_OsdHost::Private::drainInbox()
{
    // First the replies that are here: none can be to a command that is only sent now.
    readDatagrams();
    for (const OsdMessage &message : run.takeMessages()) {
        if (message.kind == OsdMessage::Kind::Announced) {
            onAnnounced(message.record.nTag);
        } else {
            signalsOfHost.post(&biz_OsdHost::received, message.record);
        }
    }
    updatePolling();
}

void biz_OsdHost::Private::onAnnounced(quint32 tag)
{
    // Cleared while it was being taken: it is not sent.
    if (OsdCommand *const command = ledger.find(tag)) {
        OsdDevice &device = *ledger.device(command->record.qsIp);
        ledger.markInFlight(device, *command);
        writeToDevice(device, *command);
    }
}

void biz_OsdHost::Private::writeToDevice(OsdDevice &device, OsdCommand &command)
{
    const QByteArray datagram = OsdDatagramCodec::encode(command.record);
    command.writtenAt = Clock::now();
    if (socket.writeDatagram(datagram, device.address, port) != datagram.size()) {
        const QString why = socket.errorString();
        command.lastProblem = QStringLiteral("it could not be sent: ") + why;
        command.history.note(command.lastProblem);
        signalsOfHost.post(&biz_OsdHost::socketError, device.ip + QStringLiteral(": ") + why);
        return;
    }
    command.history.note(QStringLiteral("sent"), command.writtenAt);
    ledger.count(&device, [&datagram](Statistics &statistics) {
        ++statistics.sent;
        statistics.bytesOut += static_cast<quint64>(datagram.size());
    });
    signalsOfHost.post(&biz_OsdHost::sent, command.ticket, command.record);
}

// --- What the socket brings ----------------------------------------------------------------

void biz_OsdHost::Private::readDatagrams()
{
    // The event of what a loop has reported may come behind a stop; Qt complains when a closed socket is asked.
    const auto hasNext = [this] {
        return socket.state() == QAbstractSocket::BoundState && socket.hasPendingDatagrams();
    };
    for (int i = 0; i < datagramsPerTurn && hasNext(); ++i) {
        const QNetworkDatagram datagram = socket.receiveDatagram();
        if (datagram.isValid()) {
            onDatagram(osdDeviceKey(datagram.senderAddress()), datagram.data());
        }
    }
    updatePolling();
}

void biz_OsdHost::Private::onDatagram(const QString &sender, const QByteArray &datagram)
{
    model_OsdParam reply;
    QString why;
    if (!OsdDatagramCodec::decode(datagram, &reply, &why)) {
        onRefused(sender, datagram.size(), why);
        return;
    }
    reply.qsIp = sender;
    OsdDevice *const device = ledger.device(sender);
    if (device == nullptr) {
        onForeign(sender, datagram.size(), reply);
        return;
    }
    ledger.count(device, [&datagram](Statistics &statistics) {
        statistics.bytesIn += static_cast<quint64>(datagram.size());
        statistics.noteSeen();
    });
    OsdCommand *const command = ledger.inFlightTo(*device);
    if (command != nullptr && belongsTo(command->record, reply)) {
        onReply(*command, reply);
        return;
    }
    if (command != nullptr) {
        command->history.note(QStringLiteral("a datagram came that is not its reply"));
    }
    onUnmatchedReply(*device, reply);
}

void biz_OsdHost::Private::onRefused(const QString &sender, int bytes, const QString &why)
{
    ledger.count(nullptr, [bytes](Statistics &totals) {
        totals.bytesIn += static_cast<quint64>(bytes);
        totals.noteRefused(bytes);
    });
    signalsOfHost.post(&biz_OsdHost::refused, sender, bytes, why);
}

void biz_OsdHost::Private::onForeign(const QString &sender, int bytes, const model_OsdParam &reply)
{
    ledger.count(nullptr, [bytes](Statistics &totals) {
        totals.bytesIn += static_cast<quint64>(bytes);
        ++totals.foreign;
    });
    signalsOfHost.post(&biz_OsdHost::foreign, sender, reply);
}

bool biz_OsdHost::Private::belongsTo(const model_OsdParam &command, const model_OsdParam &reply) const
{
    return !matcher || matcher->matches(command, reply);
}

void biz_OsdHost::Private::onReply(OsdCommand &command, const model_OsdParam &reply)
{
    osd_channel::freeDevice(*run.worker(), reply.qsIp, OsdLedger::tagOf(command.ticket));
    ledger.endAnswered(command, reply);
    handOver(reply);
}

/** To the channel's receive queue, for received(): how the command ended has been told. */
void biz_OsdHost::Private::handOver(const model_OsdParam &reply)
{
    const std::size_t dropped = osd_channel::pushReply(reply);
    if (dropped > 0) {
        ledger.count(nullptr, [dropped](Statistics &totals) { totals.dropped += dropped; });
    }
}

/** It frees no device: the channel may be sending to it at this very moment. */
void biz_OsdHost::Private::onUnmatchedReply(OsdDevice &device, const model_OsdParam &reply)
{
    const bool isOfLast = device.lastEnded.ticket != 0 && belongsTo(device.lastEndedRecord, reply);
    const EndedCommand ended = isOfLast ? device.lastEnded : EndedCommand();
    ledger.count(&device, [&ended](Statistics &statistics) { ++(statistics.*counterOfUnmatched(ended)); });
    if (ended.ticket == 0) {
        signalsOfHost.post(&biz_OsdHost::foreign, reply.qsIp, reply);
    } else if (ended.outcome == Outcome::Answered) {
        signalsOfHost.post(&biz_OsdHost::duplicate, ended.ticket, reply);
    } else {
        const double afterEndMs = millisecondsBetween(ended.endedAt, Clock::now());
        signalsOfHost.post(&biz_OsdHost::late, ended.ticket, reply, afterEndMs);
    }
    if (keepUnmatched) {
        handOver(reply);
    }
}

// --- Time ----------------------------------------------------------------------------------

void biz_OsdHost::Private::updatePolling()
{
    const bool anyInFlight = ledger.commands().pending() > ledger.waiting();
    if (!anyInFlight) {
        pollTimer.stop();
    } else if (!pollTimer.isActive()) {
        pollTimer.start();
    }
}

/** Finds the devices that the channel has freed without a reply. */
void biz_OsdHost::Private::poll()
{
    drainInbox();
    for (const QString &ip : osd_channel::freeAmong(ledger.busyDevices())) {
        ledger.giveUp(*ledger.inFlightTo(*ledger.device(ip)));
    }
    updatePolling();
}
