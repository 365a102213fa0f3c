#include <biz_simulator/osd_devices.h>

#include <QtCore/QTimer>
#include <QtNetwork/QNetworkDatagram>

#include <host/frame_codec.h>

namespace biz::simulator {

namespace {

/** How many free ports of the first address are tried on the others. */
constexpr int portAttempts = 50;

} // namespace

OsdDevices::OsdDevices(quint32 firstAddress, int count, const FaultSettings &faults, int delayMs, const EventLog &log,
                       QObject *parent)
    : QObject(parent)
    , m_delayMs(delayMs)
    , m_log(log)
{
    m_devices.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const QHostAddress address(firstAddress + static_cast<quint32>(i));
        m_devices.push_back({address, FaultPlan(faults, address.toString()), nullptr});
    }
}

OsdDevices::~OsdDevices() = default;

bool OsdDevices::listen(quint16 port)
{
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
        auto socket = std::make_unique<QUdpSocket>();
        // Not shared: a second simulator on the same port must fail, not take some of the datagrams.
        if (!socket->bind(device.address, m_port, QAbstractSocket::DontShareAddress)) {
            m_error = QStringLiteral("%1 port %2: %3")
                          .arg(device.address.toString(), QString::number(m_port), socket->errorString());
            return false;
        }
        m_port = socket->localPort();
        connect(socket.get(), &QUdpSocket::readyRead, this, [this, &device] { read(device); });
        device.socket = std::move(socket);
    }
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
    while (device.socket->hasPendingDatagrams()) {
        const QNetworkDatagram datagram = device.socket->receiveDatagram();
        if (datagram.isValid()) {
            receive(device, datagram.data(), {datagram.senderAddress(), static_cast<quint16>(datagram.senderPort())});
        }
    }
}

void OsdDevices::receive(Device &device, const QByteArray &datagram, const Peer &peer)
{
    const QString ip = device.address.toString();
    model_OsdParam command;
    QString reason;
    if (!host::OsdDatagramCodec::decode(datagram, &command, &reason)) {
        ++m_counters.refused;
        m_log.write(QStringLiteral("osd %1 refused %2 bytes: %3").arg(ip, QString::number(datagram.size()), reason));
        return;
    }
    ++m_counters.received;
    answer(device, command, peer);
}

void OsdDevices::answer(Device &device, const model_OsdParam &command, const Peer &peer)
{
    const auto fault = device.plan.next({});
    const QString who =
        QStringLiteral("osd %1 #%2").arg(device.address.toString(), QString::number(device.plan.receptions()));
    // Head, flag and payload come back as they are: the channel has no rules for OSD replies.
    const QByteArray reply = host::OsdDatagramCodec::encode(command);
    if (!fault) {
        m_log.write(QStringLiteral("%1 answers %2 bytes").arg(who, QString::number(command.baData.size())));
        sendAfter(device, m_delayMs, reply, peer);
        return;
    }
    ++m_counters.faults;
    m_log.write(QStringLiteral("%1 fault %2").arg(who, faultName(fault->kind)));
    switch (fault->kind) {
    case FaultKind::Silence:
        break;
    case FaultKind::Late:
        sendAfter(device, fault->lateByMs, reply, peer);
        break;
    case FaultKind::Duplicate:
        sendAfter(device, m_delayMs, reply, peer);
        sendAfter(device, m_delayMs, reply, peer);
        break;
    default:
        ++m_counters.unfit;
        m_log.write(QStringLiteral("%1 fault %2 does not apply").arg(who, faultName(fault->kind)));
        sendAfter(device, m_delayMs, reply, peer);
        break;
    }
}

void OsdDevices::sendAfter(Device &device, int delayMs, const QByteArray &datagram, const Peer &peer)
{
    const auto send = [this, &device, datagram, peer] {
        if (device.socket->writeDatagram(datagram, peer.address, peer.port) == datagram.size()) {
            ++m_counters.replies;
        } else {
            ++m_counters.lost;
            m_log.write(QStringLiteral("osd %1 reply not delivered: %2")
                            .arg(device.address.toString(), device.socket->errorString()));
        }
    };
    if (delayMs == 0) {
        send();
    } else {
        QTimer::singleShot(delayMs, Qt::PreciseTimer, this, send);
    }
}

} // namespace biz::simulator
