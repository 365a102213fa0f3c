#include <device/device_host_p.h>

using namespace biz::host;

// --- What the loops report --------------------------------------------------------------

void biz_DeviceHost::Private::drainInbox()
{
    // A link may receive, or close, inside its write(): the command that is being written
    // must still be there afterwards.
    if (draining) {
        return;
    }
    draining = true;
    for (DeviceMessage &message : run.takeMessages()) {
        switch (message.kind) {
        case DeviceMessage::Kind::Announced:
            onAnnounced(message);
            break;
        case DeviceMessage::Kind::QueueSize:
            gate.settle();
            signalsOfHost.post(&biz_DeviceHost::queueSize, message.queueSize);
            break;
        case DeviceMessage::Kind::Accepted:
            onAccepted(std::move(message.record));
            break;
        }
    }
    draining = false;
    watch.schedule();
}

void biz_DeviceHost::Private::onAnnounced(const DeviceMessage &message)
{
    DeviceCommand *const command = ledger.tickets().find(message.record.nTag);
    if (command == nullptr) {
        // Cleared while it was being taken, or answered while it was being resent: it is
        // not sent, and a gate that its take closed has nothing to wait for.
        gate.settle();
        return;
    }
    if (command->attempts == 0) {
        ledger.markInFlight(*command, message.record.ucHead[0], message.gated);
    } else {
        ++command->attempts;
    }
    writeToLink(*command);
}

void biz_DeviceHost::Private::writeToLink(DeviceCommand &command)
{
    command.writtenAt = Clock::now();
    const QByteArray bytes = codec->encode(command.record);
    if (bytes.isEmpty() || !link->write(bytes)) {
        command.lastProblem =
            bytes.isEmpty() ? QStringLiteral("it does not fit into a frame") : QStringLiteral("the link was not open");
        command.history.note(QStringLiteral("not sent: ") + command.lastProblem);
        return;
    }
    const bool isFirst = command.attempts == 1;
    command.history.note(isFirst ? QStringLiteral("sent with sequence byte %1").arg(command.record.ucHead[0])
                                 : QStringLiteral("resent: no acceptable reply had come within its wait"),
                         command.writtenAt);
    ledger.count([isFirst, &bytes](Statistics &totals) {
        ++(isFirst ? totals.sent : totals.resent);
        totals.bytesOut += static_cast<quint64>(bytes.size());
    });
    signalsOfHost.post(&biz_DeviceHost::sent, command.ticket, command.attempts, command.record);
}

void biz_DeviceHost::Private::onAccepted(model_Protocoldata reply)
{
    if (const auto answer = replies.onAccepted(std::move(reply))) {
        gate.beginQuietTime(*answer->command, answer->arrival);
        ledger.endAnswered(*answer->command, answer->reply, answer->arrival);
        gate.settle();
    }
}

// --- What the link brings ----------------------------------------------------------------

void biz_DeviceHost::Private::onReceived(const QByteArray &bytes)
{
    const Decoded decoded = codec->decode(bytes);
    ledger.count([&](Statistics &totals) {
        totals.bytesIn += static_cast<quint64>(bytes.size());
        totals.noteSeen();
        for (const Refusal &refusal : decoded.refusals) {
            totals.noteRefused(refusal.bytes);
        }
    });
    for (const Refusal &refusal : decoded.refusals) {
        signalsOfHost.post(&biz_DeviceHost::refused, refusal.bytes, refusal.reason);
    }
    // A reply can be here before the announcement of its command has been looked at.
    drainInbox();
    if (run.hasLoops()) {
        for (const model_Protocoldata &reply : decoded.records) {
            replies.take(reply);
        }
    }
}
