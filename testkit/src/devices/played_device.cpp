#include <devices/played_device_p.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include <QtCore/QTimer>

#include <faults/wire_faults_p.h>

namespace biz::testkit {

namespace {

/** Between the pieces of a frame: long enough for a host to read each by itself. */
constexpr int piecePauseMs = 20;

/** What a delayed answer takes in memory beside its replies, with its timer and its host. */
constexpr qint64 aroundAnswerBytes = 2048;

/** What it takes in all, roughly. The replies of a burst share their payload. */
qint64 costOf(const Answer &answer)
{
    const qint64 records = answer.replies.size() * static_cast<qint64>(sizeof(model_Protocoldata));
    return aroundAnswerBytes + records + (answer.replies.isEmpty() ? 0 : answer.replies.constLast().baData.size());
}

bool isSame(const model_Protocoldata &left, const model_Protocoldata &right)
{
    return std::equal(std::begin(left.ucHead), std::end(left.ucHead), std::begin(right.ucHead)) &&
           left.baData == right.baData;
}

QString hexByte(uchar byte)
{
    return QStringLiteral("%1").arg(byte, 2, 16, QLatin1Char('0')).toUpper();
}

/** "F1/08 sn 3 index 15 declares 354 payload 354" */
QString recordText(const model_Protocoldata &record)
{
    return QStringLiteral("%1/%2 sn %3 index %4 declares %5 payload %6")
        .arg(hexByte(record.ucHead[1]), hexByte(record.ucHead[2]))
        .arg(record.ucHead[0])
        .arg(record.ucHead[3])
        .arg(rules::combineTwoByte(record.ucHead[4], record.ucHead[5]))
        .arg(record.baData.size());
}

} // namespace

PlayedDevice::PlayedDevice(const DeviceSettings &settings, std::unique_ptr<Transport> transport, const EventLog &log,
                           QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_plan(settings.faults)
    , m_log(log)
    , m_transport(std::move(transport))
{
    if (m_settings.recorded) {
        m_recorded.emplace(*m_settings.recorded);
    }
    connect(m_transport.get(), &Transport::received, this, &PlayedDevice::read);
    connect(m_transport.get(), &Transport::moved, this, &PlayedDevice::moved);
    connect(m_transport.get(), &Transport::droppedHost, this, &PlayedDevice::droppedHost);
    connect(m_transport.get(), &Transport::told, this, [this](const QString &text) {
        m_log.write([&] { return QStringLiteral("%1 %2").arg(m_settings.label, text); });
    });
}

PlayedDevice::~PlayedDevice() = default;

bool PlayedDevice::listen()
{
    return m_transport->open();
}

void PlayedDevice::read(const PeerPointer &peer, const QByteArray &bytes)
{
    const host::Decoded decoded = peer->codec->decode(bytes);
    for (const host::Refusal &refusal : decoded.refusals) {
        refuse(refusal.bytes, refusal.reason);
    }
    for (const model_Protocoldata &command : decoded.records) {
        // A device that closes its connection or vanishes hears no more, even of what came with it.
        if (!peer->isOpen()) {
            break;
        }
        if (m_isStalled) {
            m_heldCommands.append({peer, command});
        } else {
            receive(peer, command);
        }
    }
}

void PlayedDevice::refuse(int bytes, const QString &reason)
{
    ++m_tally.refused;
    m_log.write([&] {
        return QStringLiteral("%1 refused %2 bytes: %3").arg(m_settings.label, QString::number(bytes), reason);
    });
}

void PlayedDevice::receive(const PeerPointer &peer, const model_Protocoldata &command)
{
    ++m_tally.received;
    Q_EMIT commandReceived(command);
    const auto fault = m_plan.next({command.ucHead[1], command.ucHead[2]});
    const QString who = QStringLiteral("%1 #%2").arg(m_settings.label, QString::number(m_plan.receptions()));
    m_log.write([&] { return QStringLiteral("%1 received %2").arg(who, recordText(command)); });

    const QVector<Delivery> deliveries = deliveriesOf(peer, who, command, fault);
    const Delivery &delivery = deliveries.constFirst();
    if (m_isDark) {
        return;
    }
    if (fault) {
        tellFault(delivery);
    }
    if (delivery.has(FaultKind::Close)) {
        hangUp(peer);
    } else if (delivery.has(FaultKind::Vanish)) {
        vanish(fault->measures.vanishForMs);
    } else if (delivery.has(FaultKind::Stall)) {
        stall(fault->measures.outageForMs);
    } else if (delivery.has(FaultKind::Blackout)) {
        blackOut(fault->measures.outageForMs);
    } else {
        for (const Delivery &each : deliveries) {
            deliverLater(each);
        }
    }
}

/** At least one, with the fault; without replies where the device is silent. */
QVector<PlayedDevice::Delivery> PlayedDevice::deliveriesOf(const PeerPointer &peer, const QString &who,
                                                           const model_Protocoldata &command,
                                                           const std::optional<Fault> &fault)
{
    Delivery delivery{peer, who, {}, fault, m_settings.delayMs};
    if (m_recorded) {
        return recordedDeliveriesOf(delivery, command);
    }
    delivery.answer = answerTo(m_settings.model, command, fault);
    return {delivery};
}

/** A fault strikes the first of several replies. */
QVector<PlayedDevice::Delivery> PlayedDevice::recordedDeliveriesOf(Delivery first, const model_Protocoldata &command)
{
    const tools::RecordedAnswer *const answer = m_recorded->next(tools::recordedKey(command));
    if (answer == nullptr) {
        m_log.write([&] { return QStringLiteral("%1 is not in the recording").arg(first.who); });
    }
    if (answer == nullptr || answer->isEmpty()) {
        return {first};
    }
    QVector<Delivery> deliveries;
    for (const tools::RecordedReply &recorded : *answer) {
        Delivery delivery{first.peer, first.who, {}, {}, recorded.delayMs};
        delivery.fault = deliveries.isEmpty() ? first.fault : std::nullopt;
        delivery.answer = answerWith(m_settings.model, replyTo(command, recorded), delivery.fault);
        deliveries.append(delivery);
    }
    return deliveries;
}

void PlayedDevice::tellFault(const Delivery &delivery)
{
    m_tally.count(delivery.fault->kind);
    const bool applies = delivery.answer.faultApplies;
    m_tally.unfit += applies ? 0 : 1;
    m_log.write([&] {
        return QStringLiteral("%1 fault %2%3")
            .arg(delivery.who, faultName(delivery.fault->kind),
                 applies ? QString() : QStringLiteral(" does not apply"));
    });
}

void PlayedDevice::hangUp(const PeerPointer &peer)
{
    peer->hangUp();
    // A line that was hung up is no line any more; a server goes on without the connection.
    if (!m_transport->isOpen()) {
        QTimer::singleShot(0, this, &PlayedDevice::comeBack);
    }
}

void PlayedDevice::vanish(int forMs)
{
    m_transport->close();
    QTimer::singleShot(forMs, Qt::PreciseTimer, this, &PlayedDevice::comeBack);
}

void PlayedDevice::comeBack()
{
    if (m_transport->open()) {
        m_log.write([&] { return QStringLiteral("%1 listens again").arg(m_settings.label); });
        return;
    }
    Q_EMIT cannotReturn(
        QStringLiteral("cannot listen again on %1: %2; trying on").arg(m_transport->url(), m_transport->errorString()));
    QTimer::singleShot(returnRetryMs, this, &PlayedDevice::comeBack);
}

void PlayedDevice::stall(int forMs)
{
    m_isStalled = true;
    applyReading();
    QTimer::singleShot(forMs, Qt::PreciseTimer, this, &PlayedDevice::readAgain);
}

void PlayedDevice::readAgain()
{
    m_isStalled = false;
    m_log.write([&] { return QStringLiteral("%1 reads again").arg(m_settings.label); });
    QVector<HeldCommand> held;
    held.swap(m_heldCommands);
    for (const HeldCommand &each : qAsConst(held)) {
        if (m_isStalled) {
            m_heldCommands.append(each);
        } else {
            receive(each.peer, each.command);
        }
    }
    applyReading();
}

/** A device whose delayed replies fill its memory leaves further commands on the line. */
void PlayedDevice::applyReading()
{
    m_transport->setReading(!m_isStalled && !isFull());
}

void PlayedDevice::blackOut(int forMs)
{
    m_isDark = true;
    QTimer::singleShot(forMs, Qt::PreciseTimer, this, [this] {
        m_isDark = false;
        m_log.write([&] { return QStringLiteral("%1 answers again").arg(m_settings.label); });
    });
}

void PlayedDevice::deliverLater(const Delivery &delivery)
{
    const int delayMs = delivery.has(FaultKind::Late) ? delivery.fault->measures.lateByMs : delivery.delayMs;
    if (delayMs == 0) {
        deliver(delivery);
        return;
    }
    const qint64 cost = costOf(delivery.answer);
    QTimer::singleShot(delayMs, Qt::PreciseTimer, this, [this, delivery, cost] {
        deliver(delivery);
        const bool wasFull = isFull();
        m_delayedBytes -= cost;
        if (wasFull && !isFull()) {
            applyReading();
        }
    });
    m_delayedBytes += cost;
    if (isFull()) {
        applyReading();
    }
}

void PlayedDevice::deliver(const Delivery &delivery)
{
    QVector<QByteArray> frames = framesOf(delivery);
    if (frames.isEmpty() || m_isDark) {
        return;
    }
    if (delivery.has(FaultKind::MergedFrames) && delivery.peer->heldReply.isEmpty()) {
        hold(delivery, frames.constFirst());
        return;
    }
    if (delivery.has(FaultKind::FlippedBits)) {
        frames.first() = withFlippedBits(frames.constFirst(), delivery.fault->draw);
    } else if (delivery.has(FaultKind::SplitFrames)) {
        frames = piecesOf(frames.constFirst(), delivery.fault->draw);
    } else if (delivery.has(FaultKind::Junk)) {
        frames.prepend(junkBytes(delivery.fault->draw));
    }
    write(delivery, frames);
}

QVector<QByteArray> PlayedDevice::framesOf(const Delivery &delivery)
{
    QVector<QByteArray> frames;
    QByteArray frame;
    const model_Protocoldata *before = nullptr;
    for (const model_Protocoldata &reply : delivery.answer.replies) {
        // The equal replies of a burst are one frame in memory.
        if (before == nullptr || !isSame(*before, reply)) {
            frame = delivery.peer->codec->encode(reply);
        }
        before = &reply;
        if (frame.isEmpty()) {
            ++m_tally.lost;
            m_log.write([&] {
                return QStringLiteral("%1 reply not delivered: its payload cannot be put into a frame")
                    .arg(delivery.who);
            });
        } else {
            frames.append(frame);
        }
    }
    return frames;
}

void PlayedDevice::hold(const Delivery &delivery, const QByteArray &frame)
{
    delivery.peer->heldReply = frame;
    m_log.write([&] { return QStringLiteral("%1 holds its reply for the next one").arg(delivery.who); });
}

void PlayedDevice::write(const Delivery &delivery, const QVector<QByteArray> &parts)
{
    const QByteArray held = std::exchange(delivery.peer->heldReply, {});
    QVector<QByteArray> all = parts;
    all.first().prepend(held);
    const auto replies = static_cast<quint64>(delivery.answer.replies.size()) + (held.isEmpty() ? 0 : 1);

    switch (delivery.peer->send(all, delivery.has(FaultKind::SplitFrames) ? piecePauseMs : 0)) {
    case Peer::Sending::Done:
        m_tally.replies += replies;
        tellReplies(delivery);
        return;
    case Peer::Sending::HostIsGone:
        m_log.write([&] { return QStringLiteral("%1 reply not delivered: the host is gone").arg(delivery.who); });
        break;
    case Peer::Sending::TooMuchWaits:
        m_log.write(
            [&] { return QStringLiteral("%1 reply not delivered: too many wait for their turn").arg(delivery.who); });
        break;
    }
    m_tally.lost += replies;
}

void PlayedDevice::tellReplies(const Delivery &delivery)
{
    const Answer &answer = delivery.answer;
    if (answer.unrequested > 0) {
        m_log.write([&] {
            return QStringLiteral("%1 sends %2 replies that nobody asked for")
                .arg(delivery.who, QString::number(answer.unrequested));
        });
    }
    for (int i = answer.unrequested; i < answer.replies.size(); ++i) {
        m_log.write(
            [&] { return QStringLiteral("%1 answers %2").arg(delivery.who, recordText(answer.replies.at(i))); });
    }
}

} // namespace biz::testkit
