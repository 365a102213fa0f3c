#include <biz_simulator/transport/tcp_transport.h>

#include <QtCore/QPointer>

namespace biz::simulator {

namespace {

/** A connection; the socket is the server's. */
class TcpPeer final : public Peer
{
public:
    explicit TcpPeer(QTcpSocket *socket)
        : Peer(std::make_unique<host::DemoFrameCodec>())
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
        }
    }

private:
    QPointer<QTcpSocket> m_socket;
};

} // namespace

TcpTransport::TcpTransport(const ListenAddress &address)
    : m_address(address)
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
        if (m_address.oneClient && !m_peers.isEmpty()) {
            Q_EMIT told(QStringLiteral("connection from port %1 refused: there is one").arg(port));
            socket->abort();
            socket->deleteLater();
        } else {
            Q_EMIT told(QStringLiteral("connection from port %1").arg(port));
            serve(socket);
        }
    }
}

void TcpTransport::serve(QTcpSocket *socket)
{
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    applyReading(socket);
    m_peers.insert(socket, std::make_shared<TcpPeer>(socket));
    connect(socket, &QTcpSocket::readyRead, this, [this, socket] { read(socket); });
    connect(socket, &QTcpSocket::disconnected, this, [this, socket, port = socket->peerPort()] {
        Q_EMIT told(QStringLiteral("connection from port %1 closed").arg(port));
        m_peers.remove(socket);
        socket->deleteLater();
    });
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
    constexpr qint64 unlimited = 0;
    constexpr qint64 smallest = 1;
    socket->setReadBufferSize(m_isReading ? unlimited : smallest);
}

void TcpTransport::read(QTcpSocket *socket)
{
    if (m_isReading && socket->bytesAvailable() > 0) {
        const PeerPointer peer = m_peers.value(socket);
        Q_EMIT received(peer, socket->readAll());
    }
}

} // namespace biz::simulator
