#include <devices/played_osd_devices_p.h>

#include <utility>

#include <QtCore/QTimer>

#include <faults/wire_faults_p.h>
#include <host/osd_datagram_codec.h>

namespace biz::testkit {

namespace {

/** How many free ports of the first address are tried on the others. */
constexpr int portAttempts = 50;

/** A reply with the fault in it, as the datagrams that leave; empty when the fault is none of an OSD device's. */
QVector<QByteArray> datagramsWith(const Fault &fault, const QByteArray &reply)
{
    switch (fault.kind) {
    case FaultKind::Late:
        return {reply};
    case FaultKind::Duplicate:
        return {reply, reply};
    case FaultKind::FlippedBits:
        return {withFlippedBits(reply, fault.draw)};
    case FaultKind::Junk:
        return {junkBytes(fault.draw), reply};
    case FaultKind::Burst: {
        // No number tells OSD replies apart: those that nobody asked for are copies.
        const QVector<QByteArray> copies(fault.measures.burstSize + 1, reply);
        return copies;
    }
    case FaultKind::Silence:
    case FaultKind::DeclaredLength:
    case FaultKind::ShortPayload:
    case FaultKind::IndexOutOfRange:
    case FaultKind::WrongSequence:
    case FaultKind::SplitFrames:
    case FaultKind::MergedFrames:
    case FaultKind::Close:
    case FaultKind::Vanish:
    case FaultKind::Stall:
    case FaultKind::Blackout:
        break;
    }
    return {};
}

/** What delayed datagrams take in memory beside their bytes, with their timer. */
constexpr qint64 aroundDatagramsBytes = 1024;

/** What they take in all, roughly. The datagrams of a burst share their bytes. */
qint64 costOf(const QVector<QByteArray> &datagrams)
{
    return aroundDatagramsBytes + datagrams.size() * static_cast<qint64>(sizeof(QByteArray)) +
           datagrams.constLast().size();
}

} // namespace

PlayedOsdDevices::PlayedOsdDevices(const OsdSettings &settings, std::unique_ptr<OsdNetwork> network,
                                   const EventLog &log, QObject *parent)
    : QObject(parent)
    , m_network(std::move(network))
    , m_settings(settings)
    , m_log(log)
{
    connect(m_network.get(), &OsdNetwork::received, this,
            [this](int device, const QByteArray &datagram, const ReturnAddress &from) {
                receive(m_devices[static_cast<std::size_t>(device)], datagram, from);
            });
    m_devices.reserve(static_cast<std::size_t>(settings.count));
    for (int i = 0; i < settings.count; ++i) {
        const QHostAddress address = settings.addressAt(i);
        m_devices.push_back(
            {i, address, FaultPlan(settings.faults, address.toString()), QDeadlineTimer(0), {}, true, 0});
        if (!settings.recorded.isEmpty()) {
            m_devices.back().recorded.emplace(settings.recorded.at(i));
        }
    }
}

PlayedOsdDevices::~PlayedOsdDevices() = default;

bool PlayedOsdDevices::listen()
{
    const quint16 port = m_settings.port;
    for (int attempt = 0; attempt < (port == 0 ? portAttempts : 1); ++attempt) {
        if (bindAll(port)) {
            return true;
        }
        unbindAll();
    }
    return false;
}

bool PlayedOsdDevices::addFault(const ScriptEntry &entry)
{
    Device *const device = deviceAt(entry.device);
    if (device != nullptr) {
        device->plan.add(entry);
    }
    return device != nullptr;
}

bool PlayedOsdDevices::failNext(const QString &address, FaultKind kind, int times)
{
    Device *const device = deviceAt(address);
    if (device != nullptr) {
        device->plan.failNext(kind, times);
    }
    return device != nullptr;
}

bool PlayedOsdDevices::setPower(const QString &address, bool on)
{
    Device *const device = deviceAt(address);
    if (device == nullptr || device->hasPower == on) {
        return device != nullptr;
    }
    device->hasPower = on;
    if (on) {
        comeBack(*device);
    } else {
        ++device->timesOff;
        device->darkUntil = QDeadlineTimer(0);
        m_network->unbind(device->number);
    }
    return true;
}

PlayedOsdDevices::Device *PlayedOsdDevices::deviceAt(const QString &address)
{
    const int place = m_settings.placeOf(address);
    return place < 0 ? nullptr : &m_devices[static_cast<std::size_t>(place)];
}

bool PlayedOsdDevices::bindAll(quint16 port)
{
    m_port = port;
    for (Device &device : m_devices) {
        if (!bind(device, m_port)) {
            return false;
        }
        m_port = m_network->portOf(device.number);
    }
    return true;
}

bool PlayedOsdDevices::bind(Device &device, quint16 port)
{
    if (m_network->bind(device.number, device.address, port)) {
        return true;
    }
    m_error = QStringLiteral("%1 port %2: %3")
                  .arg(device.address.toString(), QString::number(port), m_network->errorString());
    return false;
}

void PlayedOsdDevices::unbindAll()
{
    for (const Device &device : m_devices) {
        m_network->unbind(device.number);
    }
}

void PlayedOsdDevices::receive(Device &device, const QByteArray &datagram, const ReturnAddress &from)
{
    const QString ip = device.address.toString();
    model_OsdParam command;
    QString reason;
    if (!host::OsdDatagramCodec::decode(datagram, &command, &reason)) {
        ++m_tally.refused;
        m_log.write([&] {
            return QStringLiteral("osd %1 refused %2 bytes: %3").arg(ip, QString::number(datagram.size()), reason);
        });
        return;
    }
    ++m_tally.received;
    Q_EMIT commandReceived(ip, command);
    answer(device, command, from);
}

void PlayedOsdDevices::answer(Device &device, const model_OsdParam &command, const ReturnAddress &from)
{
    const auto fault = device.plan.next({});
    const QString who =
        QStringLiteral("osd %1 #%2").arg(device.address.toString(), QString::number(device.plan.receptions()));
    const QVector<DelayedReply> replies = repliesOf(device, command, who);
    if (!device.darkUntil.hasExpired() || (fault && sendsNothingBy(*fault, device, who))) {
        return;
    }
    bool isFirst = true;
    for (const DelayedReply &reply : replies) {
        // A fault strikes the first of several replies.
        const bool isStruck = fault && std::exchange(isFirst, false);
        if (!isStruck) {
            m_log.write(
                [&] { return QStringLiteral("%1 answers %2 bytes").arg(who, QString::number(reply.payloadSize)); });
        }
        const bool isLate = isStruck && fault->kind == FaultKind::Late;
        sendAfter(device, isLate ? fault->measures.lateByMs : reply.delayMs,
                  isStruck ? datagramsBy(*fault, reply.datagram, who) : QVector<QByteArray>{reply.datagram}, from);
    }
}

/** In the order in which they leave; none where a recorded device was silent. */
QVector<PlayedOsdDevices::DelayedReply> PlayedOsdDevices::repliesOf(Device &device, const model_OsdParam &command,
                                                                    const QString &who)
{
    QVector<DelayedReply> replies;
    if (!device.recorded) {
        // Head, flag and payload come back as they are: the channel has no rules for OSD replies.
        replies.append(
            {host::OsdDatagramCodec::encode(command), static_cast<int>(command.baData.size()), m_settings.delayMs});
        return replies;
    }
    const tools::RecordedAnswer *const answer = device.recorded->next(tools::recordedKey(command));
    if (answer == nullptr) {
        m_log.write([&] { return QStringLiteral("%1 is not in the recording").arg(who); });
        return replies;
    }
    for (const tools::RecordedReply &recorded : *answer) {
        replies.append({host::OsdDatagramCodec::encode(osdReplyOf(recorded)), static_cast<int>(recorded.data.size()),
                        recorded.delayMs});
    }
    return replies;
}

bool PlayedOsdDevices::sendsNothingBy(const Fault &fault, Device &device, const QString &who)
{
    m_tally.count(fault.kind);
    m_log.write([&] { return QStringLiteral("%1 fault %2").arg(who, faultName(fault.kind)); });
    if (fault.kind == FaultKind::Blackout) {
        device.darkUntil.setRemainingTime(fault.measures.outageForMs);
    } else if (fault.kind == FaultKind::Vanish) {
        vanish(device, fault.measures.vanishForMs);
    } else {
        return fault.kind == FaultKind::Silence;
    }
    return true;
}

QVector<QByteArray> PlayedOsdDevices::datagramsBy(const Fault &fault, const QByteArray &reply, const QString &who)
{
    const QVector<QByteArray> datagrams = datagramsWith(fault, reply);
    if (!datagrams.isEmpty()) {
        return datagrams;
    }
    ++m_tally.unfit;
    m_log.write([&] { return QStringLiteral("%1 fault %2 does not apply").arg(who, faultName(fault.kind)); });
    return {reply};
}

void PlayedOsdDevices::sendAfter(Device &device, int delayMs, const QVector<QByteArray> &datagrams,
                                 const ReturnAddress &from)
{
    const auto sendAll = [this, &device, datagrams, from, timesOff = device.timesOff] {
        if (device.timesOff != timesOff) {
            lose(device, static_cast<int>(datagrams.size()), QStringLiteral("the device was switched off"));
            return;
        }
        for (const QByteArray &datagram : datagrams) {
            send(device, datagram, from);
        }
    };
    if (delayMs == 0) {
        sendAll();
        return;
    }
    const qint64 cost = costOf(datagrams);
    if (m_delayedBytes + cost > m_settings.mostDelayed) {
        lose(device, static_cast<int>(datagrams.size()), QStringLiteral("too many wait for their time"));
        return;
    }
    m_delayedBytes += cost;
    QTimer::singleShot(delayMs, Qt::PreciseTimer, this, [this, sendAll, cost] {
        m_delayedBytes -= cost;
        sendAll();
    });
}

void PlayedOsdDevices::lose(const Device &device, int replies, const QString &why)
{
    m_tally.lost += static_cast<quint64>(replies);
    m_log.write([&] { return QStringLiteral("osd %1 reply not delivered: %2").arg(device.address.toString(), why); });
}

void PlayedOsdDevices::send(Device &device, const QByteArray &datagram, const ReturnAddress &from)
{
    if (!device.darkUntil.hasExpired()) {
        lose(device, 1, QStringLiteral("the device says nothing for a while"));
        return;
    }
    const bool isThere = m_network->isBound(device.number);
    if (isThere && m_network->send(device.number, datagram, from)) {
        ++m_tally.replies;
        return;
    }
    lose(device, 1, isThere ? m_network->errorString() : QStringLiteral("the device has vanished"));
}

void PlayedOsdDevices::vanish(Device &device, int forMs)
{
    m_network->unbind(device.number);
    QTimer::singleShot(forMs, Qt::PreciseTimer, this, [this, &device] { comeBack(device); });
}

void PlayedOsdDevices::comeBack(Device &device)
{
    if (!device.hasPower || m_network->isBound(device.number)) {
        return;
    }
    if (bind(device, m_port)) {
        m_log.write([&] { return QStringLiteral("osd %1 listens again").arg(device.address.toString()); });
        return;
    }
    Q_EMIT cannotReturn(QStringLiteral("cannot listen again on udp %1; trying on").arg(m_error));
    QTimer::singleShot(returnRetryMs, this, [this, &device] { comeBack(device); });
}

} // namespace biz::testkit
