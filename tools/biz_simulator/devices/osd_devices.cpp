#include <biz_simulator/devices/osd_devices.h>

#include <QtCore/QTimer>
#include <QtNetwork/QNetworkDatagram>

#include <biz_simulator/faults/wire_faults.h>
#include <host/osd_datagram_codec.h>

namespace biz::simulator {

namespace {

/** How many free ports of the first address are tried on the others. */
constexpr int portAttempts = 50;

/** Until the next try to listen at an address that somebody else has taken meanwhile. */
constexpr int returnRetryMs = 500;

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

} // namespace

OsdDevices::OsdDevices(const OsdSettings &settings, const EventLog &log, QObject *parent)
    : QObject(parent)
    , m_settings(settings)
    , m_log(log)
{
    m_devices.reserve(static_cast<std::size_t>(settings.count));
    for (int i = 0; i < settings.count; ++i) {
        const QHostAddress address(settings.first + static_cast<quint32>(i));
        m_devices.push_back({address, FaultPlan(settings.faults, address.toString()), nullptr, QDeadlineTimer(0)});
    }
}

OsdDevices::~OsdDevices() = default;

bool OsdDevices::listen()
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

bool OsdDevices::bindAll(quint16 port)
{
    m_port = port;
    for (Device &device : m_devices) {
        if (!bind(device, m_port)) {
            return false;
        }
        m_port = device.socket->localPort();
    }
    return true;
}

bool OsdDevices::bind(Device &device, quint16 port)
{
    auto socket = std::make_unique<QUdpSocket>();
    // Not shared: a second simulator on the same port must fail, not take some of the datagrams.
    if (!socket->bind(device.address, port, QAbstractSocket::DontShareAddress)) {
        m_error = QStringLiteral("%1 port %2: %3")
                      .arg(device.address.toString(), QString::number(port), socket->errorString());
        return false;
    }
    connect(socket.get(), &QUdpSocket::readyRead, this, [this, &device] { read(device); });
    device.socket = std::move(socket);
    return true;
}

void OsdDevices::unbindAll()
{
    for (Device &device : m_devices) {
        device.socket.reset();
    }
}

void OsdDevices::read(Device &device)
{
    // A device that vanishes hears no more.
    while (device.socket && device.socket->hasPendingDatagrams()) {
        const QNetworkDatagram datagram = device.socket->receiveDatagram();
        if (datagram.isValid()) {
            receive(device, datagram.data(), {datagram.senderAddress(), static_cast<quint16>(datagram.senderPort())});
        }
    }
}

void OsdDevices::receive(Device &device, const QByteArray &datagram, const ReturnAddress &from)
{
    const QString ip = device.address.toString();
    model_OsdParam command;
    QString reason;
    if (!host::OsdDatagramCodec::decode(datagram, &command, &reason)) {
        ++m_tally.refused;
        m_log.write(QStringLiteral("osd %1 refused %2 bytes: %3").arg(ip, QString::number(datagram.size()), reason));
        return;
    }
    ++m_tally.received;
    answer(device, command, from);
}

void OsdDevices::answer(Device &device, const model_OsdParam &command, const ReturnAddress &from)
{
    const auto fault = device.plan.next({});
    const QString who =
        QStringLiteral("osd %1 #%2").arg(device.address.toString(), QString::number(device.plan.receptions()));
    // Head, flag and payload come back as they are: the channel has no rules for OSD replies.
    const QByteArray reply = host::OsdDatagramCodec::encode(command);
    if (!device.darkUntil.hasExpired()) {
        return;
    }
    if (fault) {
        answerWith(*fault, device, reply, from, who);
        return;
    }
    m_log.write(QStringLiteral("%1 answers %2 bytes").arg(who, QString::number(command.baData.size())));
    sendAfter(device, m_settings.delayMs, {reply}, from);
}

void OsdDevices::answerWith(const Fault &fault, Device &device, const QByteArray &reply, const ReturnAddress &from,
                            const QString &who)
{
    m_tally.count(fault.kind);
    m_log.write(QStringLiteral("%1 fault %2").arg(who, faultName(fault.kind)));
    if (fault.kind == FaultKind::Silence) {
        return;
    }
    if (fault.kind == FaultKind::Blackout) {
        device.darkUntil.setRemainingTime(fault.measures.outageForMs);
        return;
    }
    if (fault.kind == FaultKind::Vanish) {
        vanish(device, fault.measures.vanishForMs);
        return;
    }
    QVector<QByteArray> datagrams = datagramsWith(fault, reply);
    if (datagrams.isEmpty()) {
        ++m_tally.unfit;
        m_log.write(QStringLiteral("%1 fault %2 does not apply").arg(who, faultName(fault.kind)));
        datagrams = {reply};
    }
    const int delayMs = fault.kind == FaultKind::Late ? fault.measures.lateByMs : m_settings.delayMs;
    sendAfter(device, delayMs, datagrams, from);
}

void OsdDevices::sendAfter(Device &device, int delayMs, const QVector<QByteArray> &datagrams, const ReturnAddress &from)
{
    const auto sendAll = [this, &device, datagrams, from] {
        for (const QByteArray &datagram : datagrams) {
            send(device, datagram, from);
        }
    };
    if (delayMs == 0) {
        sendAll();
    } else {
        QTimer::singleShot(delayMs, Qt::PreciseTimer, this, sendAll);
    }
}

void OsdDevices::send(Device &device, const QByteArray &datagram, const ReturnAddress &from)
{
    const bool isThere = device.socket != nullptr;
    if (isThere && device.socket->writeDatagram(datagram, from.address, from.port) == datagram.size()) {
        ++m_tally.replies;
        return;
    }
    ++m_tally.lost;
    m_log.write(QStringLiteral("osd %1 reply not delivered: %2")
                    .arg(device.address.toString(),
                         isThere ? device.socket->errorString() : QStringLiteral("the device has vanished")));
}

void OsdDevices::vanish(Device &device, int forMs)
{
    // What it is reading now was read from this socket.
    device.socket->close();
    device.socket.release()->deleteLater();
    QTimer::singleShot(forMs, Qt::PreciseTimer, this, [this, &device] { comeBack(device); });
}

void OsdDevices::comeBack(Device &device)
{
    if (bind(device, m_port)) {
        m_log.write(QStringLiteral("osd %1 listens again").arg(device.address.toString()));
        return;
    }
    writeLine(stderr, QStringLiteral("biz_simulator: cannot listen again on udp %1; trying on").arg(m_error));
    QTimer::singleShot(returnRetryMs, this, [this, &device] { comeBack(device); });
}

} // namespace biz::simulator
