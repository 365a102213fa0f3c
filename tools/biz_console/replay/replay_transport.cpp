#include <biz_console/replay/replay_devices.h>

#include <QtNetwork/QNetworkDatagram>

#include <common/errors.h>

namespace biz::console {

namespace {

/** How many ports that are free on the first address are tried on the others. */
constexpr int portAttempts = 50;

/** Addresses for devices that were none of the loopback network: 127.100.0.1 and on. */
constexpr quint32 firstSubstitute = 0x7F640001;

} // namespace

ReplayDevices::ReplayDevices(const Recording &recording)
{
    add({});
    for (const RecordedCommand &command : recording.commands) {
        add(command.device);
    }
    for (const RecordedStep &step : recording.steps) {
        add(step.device);
        m_devices.at(step.device)->script->append(step);
    }
}

void ReplayDevices::add(const QString &recordedAddress)
{
    std::unique_ptr<Device> &device = m_devices[recordedAddress];
    if (device) {
        return;
    }
    device = std::make_unique<Device>();
    device->address = QHostAddress(recordedAddress).isLoopback()
                          ? recordedAddress
                          : QHostAddress(firstSubstitute + static_cast<quint32>(m_devices.size())).toString();
    device->script = std::make_unique<ReplayScript>(
        [this, target = device.get()](const RecordedStep &step) { play(*target, step); });
}

void ReplayDevices::listen()
{
    for (int attempt = 0; attempt < portAttempts; ++attempt) {
        if (bindAll(0)) {
            return;
        }
    }
    throw tools::InputError(QStringLiteral("no UDP port is free on the loopback addresses of all devices"));
}

bool ReplayDevices::bindAll(quint16 port)
{
    m_port = port;
    for (auto &entry : m_devices) {
        Device &device = *entry.second;
        device.socket = std::make_unique<QUdpSocket>();
        if (!device.socket->bind(QHostAddress(device.address), m_port, QAbstractSocket::DontShareAddress)) {
            return false;
        }
        m_port = device.socket->localPort();
        connect(device.socket.get(), &QUdpSocket::readyRead, this, [this, &device] { read(device); });
    }
    return true;
}

void ReplayDevices::start()
{
    for (auto &entry : m_devices) {
        entry.second->script->start();
    }
}

void ReplayDevices::noteEnd(const QString &address)
{
    for (auto &entry : m_devices) {
        if (entry.second->address == address) {
            entry.second->script->noteEnd();
        }
    }
}

void ReplayDevices::read(Device &device)
{
    while (device.socket->hasPendingDatagrams()) {
        const QNetworkDatagram datagram = device.socket->receiveDatagram();
        m_hostAddress = datagram.senderAddress();
        m_hostPort = static_cast<quint16>(datagram.senderPort());
        device.script->noteWrite();
    }
}

void ReplayDevices::play(Device &device, const RecordedStep &step)
{
    if (step.kind == RecordedStep::Kind::Interrupted) {
        Q_EMIT interrupted();
    } else if (m_hostPort != 0) {
        device.socket->writeDatagram(step.bytes, m_hostAddress, m_hostPort);
    }
}

} // namespace biz::console
