#include <biz_simulator/transport/network/osd_sockets.h>

#include <QtNetwork/QNetworkDatagram>

namespace biz::simulator {

bool OsdSockets::bind(int device, const QHostAddress &address, quint16 port)
{
    auto socket = std::make_unique<QUdpSocket>();
    // Not shared: a second simulator on the same port must fail, not take some of the datagrams.
    if (!socket->bind(address, port, QAbstractSocket::DontShareAddress)) {
        m_error = socket->errorString();
        return false;
    }
    connect(socket.get(), &QUdpSocket::readyRead, this, [this, device] { read(device); });
    m_sockets[device] = std::move(socket);
    return true;
}

void OsdSockets::unbind(int device)
{
    const auto bound = m_sockets.find(device);
    if (bound == m_sockets.end()) {
        return;
    }
    // What the device is reading now was read from this socket.
    bound->second->close();
    bound->second.release()->deleteLater();
    m_sockets.erase(bound);
}

bool OsdSockets::send(int device, const QByteArray &datagram, const testkit::ReturnAddress &to)
{
    QUdpSocket &socket = *m_sockets.at(device);
    if (socket.writeDatagram(datagram, to.address, to.port) == datagram.size()) {
        return true;
    }
    m_error = socket.errorString();
    return false;
}

void OsdSockets::read(int device)
{
    // A device that vanishes hears no more.
    while (isBound(device) && m_sockets.at(device)->hasPendingDatagrams()) {
        const QNetworkDatagram datagram = m_sockets.at(device)->receiveDatagram();
        if (datagram.isValid()) {
            Q_EMIT received(device, datagram.data(),
                            {datagram.senderAddress(), static_cast<quint16>(datagram.senderPort())});
        }
    }
}

} // namespace biz::simulator
