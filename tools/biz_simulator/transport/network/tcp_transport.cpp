#include <biz_simulator/transport/network/tcp_transport.h>

#include <QtCore/QPointer>

namespace biz::simulator {

/** A connection; the socket is the server's. */
class TcpTransport::Connection final : public testkit::Peer
{
public:
    Connection(TcpTransport *transport, QTcpSocket *socket)
        : Peer(std::make_unique<host::DemoFrameCodec>())
        , m_transport(transport)
        , m_socket(socket)
    {
    }

    bool isOpen() const override { return !m_socket.isNull() && m_socket->state() == QAbstractSocket::ConnectedState; }

    void hangUp() override
    {
        if (m_socket) {
            m_socket->disconnectFromHost();
        }
    }

protected:
    void write(const QByteArray &bytes) override
    {
        if (isOpen()) {
            m_socket->write(bytes);
            // At once: what is a write here is to be one on the wire.
            m_socket->flush();
            m_transport->boundUnread(m_socket);
        }
    }

private:
    TcpTransport *m_transport; ///< lives as long as the socket
    QPointer<QTcpSocket> m_socket;
};

TcpTransport::TcpTransport(const ListenAddress &address, const TcpBounds &bounds)
    : m_address(address)
    , m_bounds(bounds)
{
    connect(&m_server, &QTcpServer::newConnection, this, &TcpTransport::accept);
}

TcpTransport::~TcpTransport()
{
    // The sockets, which the server owns, tell their ends to nobody any more.
    for (QTcpSocket *socket : m_server.findChildren<QTcpSocket *>()) {
        socket->disconnect(this);
    }
}

bool TcpTransport::open()
{
    if (!m_server.listen(m_address.host, m_address.port)) {
        return false;
    }
    m_address.port = m_server.serverPort();
    return true;
}

void TcpTransport::close()
{
    m_server.close();
    for (QTcpSocket *socket : m_server.findChildren<QTcpSocket *>()) {
        socket->abort();
    }
}

void TcpTransport::accept()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        const quint16 port = socket->peerPort();
        const QString reason = reasonToRefuse();
        if (!reason.isEmpty()) {
            Q_EMIT told(QStringLiteral("connection from port %1 refused: %2").arg(QString::number(port), reason));
            socket->abort();
            socket->deleteLater();
        } else {
            Q_EMIT told(QStringLiteral("connection from port %1").arg(port));
            serve(socket);
        }
    }
}

QString TcpTransport::reasonToRefuse() const
{
    if (m_address.oneClient && !m_peers.isEmpty()) {
        return QStringLiteral("there is one");
    }
    const bool isFull = m_peers.size() >= m_bounds.connections;
    return isFull ? QStringLiteral("there are %1").arg(m_peers.size()) : QString();
}

void TcpTransport::serve(QTcpSocket *socket)
{
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    applyReading(socket);
    m_peers.insert(socket, std::make_shared<Connection>(this, socket));
    connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
    connect(socket, &QTcpSocket::disconnected, this, [this, socket, port = socket->peerPort()] {
        Q_EMIT told(QStringLiteral("connection from port %1 closed").arg(port));
        forget(socket);
    });
}

void TcpTransport::forget(QTcpSocket *socket)
{
    // Delayed replies may keep the peer for long: what it had begun to send is not kept with it.
    const testkit::PeerPointer peer = m_peers.take(socket);
    peer->codec->reset();
    peer->heldReply.clear();
    socket->deleteLater();
}

/** Keeps what clients leave unread within bounds. A client that reads leaves nothing, and costs nothing here. */
void TcpTransport::boundUnread(QTcpSocket *written)
{
    if (written->bytesToWrite() == 0) {
        return;
    }
    if (written->bytesToWrite() > m_bounds.unreadByOne) {
        drop(written);
        return;
    }
    qint64 all = 0;
    QTcpSocket *most = written;
    for (auto each = m_peers.keyBegin(); each != m_peers.keyEnd(); ++each) {
        all += (*each)->bytesToWrite();
        most = (*each)->bytesToWrite() > most->bytesToWrite() ? *each : most;
    }
    if (all > m_bounds.unreadByAll) {
        drop(most);
    }
}

void TcpTransport::drop(QTcpSocket *socket)
{
    Q_EMIT droppedHost(QStringLiteral("%1: the client at port %2 was disconnected: it left %3 bytes of replies unread")
                           .arg(url(), QString::number(socket->peerPort()), QString::number(socket->bytesToWrite())));
    socket->abort();
}

void TcpTransport::setReading(bool on)
{
    m_isReading = on;
    const QList<QTcpSocket *> sockets = m_peers.keys();
    for (QTcpSocket *socket : sockets) {
        applyReading(socket);
        read(socket);
    }
}

/** A socket cannot be told not to read; one whose buffer is full does not. */
void TcpTransport::applyReading(QTcpSocket *socket) const
{
    constexpr qint64 smallest = 1;
    socket->setReadBufferSize(m_isReading ? mostBytesAtOnce : smallest);
}

void TcpTransport::read(QTcpSocket *socket)
{
    const testkit::PeerPointer peer = m_peers.value(socket); // none: the connection has just ended
    if (peer && m_isReading && socket->bytesAvailable() > 0) {
        Q_EMIT received(peer, socket->readAll());
    }
}

} // namespace biz::simulator
