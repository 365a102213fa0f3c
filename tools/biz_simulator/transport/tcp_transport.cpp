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

TcpTransport::TcpTransport(const QHostAddress &address, quint16 port)
    : m_address(address)
    , m_port(port)
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
    if (!m_server.listen(m_address, m_port)) {
        return false;
    }
    m_port = m_server.serverPort();
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
        Q_EMIT told(QStringLiteral("connection from port %1").arg(port));
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);

        const auto peer = std::make_shared<TcpPeer>(socket);
        connect(socket, &QTcpSocket::readyRead, this,
                [this, socket, peer] { Q_EMIT received(peer, socket->readAll()); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket, port] {
            Q_EMIT told(QStringLiteral("connection from port %1 closed").arg(port));
            socket->deleteLater();
        });
    }
}

} // namespace biz::simulator
