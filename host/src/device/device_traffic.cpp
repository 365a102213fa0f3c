#include <device/device_traffic_p.h>

#include <algorithm>

#include <QtCore/QScopedValueRollback>

#include <byte_count_p.h>
#include <device/channel/device_channel_p.h>
#include <logging_p.h>
#include <timing_p.h>

namespace biz::host {

DeviceTraffic::DeviceTraffic(DeviceHost *host, HostSignals<DeviceHost> *signalsOfHost, DeviceCommands *commands,
                             LinkSupervisor *link)
    : m_signals(signalsOfHost)
    , m_commands(commands)
    , m_link(link)
    , m_askingAgain(host)
    , m_reported(&DeviceLoops::instance().inbox())
    , m_replies(commands, signalsOfHost)
    , m_gate(
          commands, [this] { return mayHandOver(); }, host)
    , m_watch(
          commands, &m_gate, [this] { look(); }, host)
{
    commands->setWhenUnanswered([link] { link->discardHeld(); });
    m_askingAgain.setSingleShot(true);
    m_askingAgain.setInterval(timing::heldBackAskPeriod);
    QObject::connect(&m_askingAgain, &QTimer::timeout, host, [this] { askAgain(); });
    QObject::connect(link, &LinkSupervisor::up, host, [this] { onUp(); });
    QObject::connect(link, &LinkSupervisor::lost, host, [this] { onLost(); });
    QObject::connect(link, &LinkSupervisor::received, host, [this](const QByteArray &bytes) { onReceived(bytes); });
    QObject::connect(link, &LinkSupervisor::writable, host, [this] { m_gate.advance(); });
}

void DeviceTraffic::begin()
{
    m_isRunning = true;
}

void DeviceTraffic::end()
{
    m_isRunning = false;
    m_askingAgain.stop();
    drain();
    codec().reset();
    m_replies.forget();
    m_gate.reset();
}

// --- Codec and policy ---------------------------------------------------------------------

FrameCodec &DeviceTraffic::codec()
{
    if (m_ownCodec) {
        return *m_ownCodec;
    }
    const bool isDatagrams = m_link->link() != nullptr && m_link->link()->keepsMessageBoundaries();
    return isDatagrams ? static_cast<FrameCodec &>(m_datagramCodec) : m_streamCodec;
}

void DeviceTraffic::setWhileDown(WhileDown policy)
{
    m_whileDown = policy;
    if (isFailingFast()) {
        m_commands->endUnwritten(Outcome::Unreachable, unreachableReason());
    }
}

bool DeviceTraffic::isFailingFast() const
{
    return m_whileDown == WhileDown::FailFast && m_link->status().state == LinkState::Lost;
}

QString DeviceTraffic::unreachableReason() const
{
    return QStringLiteral("the link is down: ") + m_link->status().reason;
}

/** Not while the application holds writes back, either: each command that the channel takes uses up a number. */
bool DeviceTraffic::mayHandOver() const
{
    return m_isRunning && m_link->mayWrite() && !m_askingAgain.isActive();
}

// --- What the loops report ------------------------------------------------------------------

void DeviceTraffic::drain()
{
    // A link may receive, or close, inside its write(): what is being handled is finished first.
    if (m_isDraining) {
        return;
    }
    const QScopedValueRollback<bool> draining(m_isDraining, true);
    m_reported.handleAll([this](DeviceMessage message) {
        switch (message.kind) {
        case DeviceMessage::Kind::Announced:
            onAnnounced(message);
            break;
        case DeviceMessage::Kind::Accepted:
            onAccepted(std::move(message.record));
            break;
        }
    });
    if (m_isRunning) {
        m_gate.advance();
        m_watch.schedule();
    }
}

void DeviceTraffic::onAnnounced(const DeviceMessage &message)
{
    DeviceCommand *const command = m_commands->find(message.record.nTag);
    if (m_gate.isTake(message.record)) {
        onTake(message);
    } else if (command != nullptr && command->isTaken) {
        onResend(*command, message);
    }
}

/** The first announcement. A command that has ended since it was handed over is let through. */
void DeviceTraffic::onTake(const DeviceMessage &message)
{
    if (DeviceCommand *const before = m_commands->gated()) {
        // Nothing is taken behind a closed gate: the library has opened it.
        m_gate.noteGiveUp();
        m_commands->giveUp(*before, QStringLiteral("no acceptable reply came, nor after the resend"));
    }
    m_gate.noteTake(message.record, message.closedGate);
    DeviceCommand *const command = m_commands->find(message.record.nTag);
    if (command == nullptr || !m_isRunning) {
        return;
    }
    m_commands->markInFlight(*command, message.record, message.closedGate);
    command->announcedAt = message.at;
    if (isWorthWriting(*command, message)) {
        write(*command);
    }
}

/** Not every command that was taken is written: it may be too late, or the link cannot take it now. */
bool DeviceTraffic::isWorthWriting(DeviceCommand &command, const DeviceMessage &message)
{
    if (command.isExpired(Clock::now())) {
        m_commands->end(command, Outcome::Expired, expiredReason());
        return false;
    }
    if (message.closedGate && !device_channel::isGateClosed()) {
        m_gate.noteGiveUp();
        m_commands->giveUp(command,
                           QStringLiteral("the host's thread was busy for all of its wait, so it was not sent"));
        return false;
    }
    // Pipelined, others are ahead of one that was put back.
    if (!m_link->mayWrite() || m_commands->isOvertaking(command)) {
        if (isFailingFast()) {
            m_commands->end(command, Outcome::Unreachable, unreachableReason());
        } else {
            m_commands->putBack(command);
        }
        return false;
    }
    if (!mayWriteNow()) {
        m_askingAgain.start();
        m_commands->putBack(command);
        return false;
    }
    return true;
}

void DeviceTraffic::setMayWrite(DeviceHost::MayWrite mayWrite)
{
    m_mayWrite = std::move(mayWrite);
    m_askingAgain.stop();
    m_gate.advance();
}

void DeviceTraffic::askAgain()
{
    m_askingAgain.start(); // first: the application's function may throw
    if (mayWriteNow()) {
        m_askingAgain.stop();
        m_gate.advance();
    }
}

bool DeviceTraffic::mayWriteNow() const
{
    return !m_mayWrite || m_mayWrite();
}

void DeviceTraffic::onResend(DeviceCommand &command, const DeviceMessage &message)
{
    ++command.attempts;
    command.announcedAt = message.at;
    if (!m_isRunning) {
        return;
    }
    if (command.isAnswerUnderWay) {
        command.history.note(QStringLiteral("not resent: its reply had been accepted"));
    } else if (message.at <= command.writtenAt) {
        command.history.note(QStringLiteral("not resent: the resend was due before the first copy had been written"));
    } else if (command.isWritten && m_link->bytesHeld() > 0) {
        command.history.note(QStringLiteral("not resent: the first copy had not left this machine"));
    } else if (!m_link->mayWrite()) {
        command.history.note(QStringLiteral("not resent: the link could not take it"));
    } else if (mayWriteNow()) {
        write(command);
    } else {
        command.history.note(QStringLiteral("not resent: the application was not ready for it"));
    }
}

void DeviceTraffic::write(DeviceCommand &command)
{
    const QByteArray bytes = codec().encode(command.record);
    if (bytes.isEmpty()) {
        // Its size was looked at when it was given.
        m_commands->end(command, Outcome::GaveUp,
                        QStringLiteral("no frame could be made of it, as for want of memory"));
        return;
    }
    // What the link does inside its write() may end the command.
    const Ticket ticket = command.ticket;
    const int attempt = command.attempts;
    const model_Protocoldata record = command.record;
    const bool wasWritten = command.isWritten;
    command.writtenAt = Clock::now();
    command.isWritten = true;
    m_link->setWaitInFlight(longestWaitInFlight());
    m_commands->taps().tellWriting(ticket, attempt, record);
    if (m_link->write(bytes)) {
        noteWritten(ticket, attempt, record, byteCount(bytes));
    } else if (DeviceCommand *const left = m_commands->find(ticket)) {
        left->isWritten = wasWritten;
        left->lastProblem = m_link->writeProblem();
        left->history.note(QStringLiteral("not sent: ") + left->lastProblem);
    }
}

/** Pipelined, a patient command may be in flight before one that is in a hurry. */
std::chrono::milliseconds DeviceTraffic::longestWaitInFlight() const
{
    int longest = 0;
    for (const Ticket ticket : m_commands->allInFlight()) {
        longest = std::max(longest, m_commands->find(ticket)->record.iWaitTime);
    }
    return std::chrono::milliseconds(longest);
}

void DeviceTraffic::noteWritten(Ticket ticket, int attempt, const model_Protocoldata &record, int bytes)
{
    const bool isFirst = attempt == 1;
    m_commands->count([isFirst, bytes](Statistics &totals) {
        ++(isFirst ? totals.sent : totals.resent);
        totals.bytesOut += static_cast<quint64>(bytes);
    });
    DeviceCommand *const command = m_commands->find(ticket);
    if (command == nullptr) {
        return; // its end has been told, and is the last that is told of it
    }
    command->history.note(isFirst ? QStringLiteral("sent with sequence byte %1").arg(record.ucHead[0])
                                  : QStringLiteral("resent: no acceptable reply had come within its wait"),
                          command->writtenAt);
    m_signals->post(&DeviceHost::sent, ticket, attempt, record);
}

void DeviceTraffic::onAccepted(model_Protocoldata reply)
{
    if (const auto answer = m_replies.onAccepted(std::move(reply))) {
        m_gate.beginQuietTime(answer->arrival);
        m_commands->endAnswered(*answer->command, answer->reply, answer->arrival);
        if (m_isRunning) {
            m_gate.advance();
        }
    }
}

void DeviceTraffic::look()
{
    drain();
    m_watch.endOverdue();
    m_gate.advance();
    m_watch.schedule();
}

// --- What the link tells ----------------------------------------------------------------------

void DeviceTraffic::onUp()
{
    codec().reset();
    const QByteArray preamble = codec().preamble();
    if (!preamble.isEmpty() && !m_link->write(preamble)) {
        qCWarning(hostLog).noquote() << "the codec's preamble was not sent:" << m_link->writeProblem();
    }
    m_gate.advance();
}

void DeviceTraffic::onLost()
{
    codec().reset();
    const QString reason = m_link->status().reason;
    for (const Ticket ticket : m_commands->allInFlight()) {
        DeviceCommand &command = *m_commands->find(ticket);
        m_commands->end(command, Outcome::Unreachable,
                        QStringLiteral("the link was lost after it had been sent: ") + reason);
    }
    if (isFailingFast()) {
        m_commands->endUnwritten(Outcome::Unreachable, unreachableReason());
    }
    m_gate.advance();
}

void DeviceTraffic::onReceived(const QByteArray &bytes)
{
    const Decoded decoded = codec().decode(bytes);
    m_commands->count([&](Statistics &totals) {
        totals.bytesIn += static_cast<quint64>(bytes.size());
        totals.noteSeen();
        for (const Refusal &refusal : decoded.refusals) {
            totals.noteRefused(refusal.bytes);
        }
    });
    for (const Refusal &refusal : decoded.refusals) {
        m_signals->post(&DeviceHost::refused, refusal.bytes, refusal.reason);
    }
    // A reply can be here before the announcement of its command has been looked at.
    drain();
    if (m_isRunning) {
        for (const model_Protocoldata &reply : decoded.records) {
            m_replies.take(reply);
        }
    }
}

} // namespace biz::host
