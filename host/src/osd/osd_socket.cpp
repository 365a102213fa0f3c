#include <osd/osd_socket_p.h>

#include <QtNetwork/QNetworkDatagram>

namespace biz::host {

namespace {

/**
 * Datagrams that are read in one go: more than a receive buffer of the usual size holds, and
 * an end of it where they come faster than they can be read.
 */
constexpr int datagramsPerTurn = 1000;

} // namespace

OsdSocket::OsdSocket(QObject *parent)
    : QObject(parent)
{
    connect(&m_socket, &QUdpSocket::readyRead, this, &OsdSocket::readDatagrams);
}

QString OsdSocket::open(const QHostAddress &local)
{
    return m_socket.bind(local, 0) ? QString() : m_socket.errorString();
}

void OsdSocket::close()
{
    m_socket.close();
}

QString OsdSocket::send(const QHostAddress &address, quint16 port, const QByteArray &datagram)
{
    return m_socket.writeDatagram(datagram, address, port) == datagram.size() ? QString() : m_socket.errorString();
}

void OsdSocket::readDatagrams()
{
    for (int i = 0; i < datagramsPerTurn && hasNext(); ++i) {
        const QNetworkDatagram datagram = m_socket.receiveDatagram();
        if (datagram.isValid()) {
            Q_EMIT received(datagram.senderAddress(), datagram.data());
        }
    }
}

/** Qt complains when a closed socket is asked; a slot may have closed it. */
bool OsdSocket::hasNext() const
{
    return m_socket.state() == QAbstractSocket::BoundState && m_socket.hasPendingDatagrams();
}

} // namespace biz::host
