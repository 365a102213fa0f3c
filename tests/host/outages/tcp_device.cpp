#include "tcp_device.h"

#include <algorithm>

#include <sys/socket.h>

#include <QtCore/QScopedValueRollback>
#include <QtNetwork/QNetworkProxy>

#include <gtest/gtest.h>

namespace biz::test {

TcpDevice::TcpDevice(const QHostAddress &address)
    : m_address(address)
{
    m_server.setProxy(QNetworkProxy::NoProxy); // else Qt asks the system for one, on a thread of its own
    QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] { readAll(); });
    switchOn();
}

TcpDevice::~TcpDevice()
{
    switchOff();
}

QString TcpDevice::url() const
{
    return QStringLiteral("tcp://%1:%2").arg(m_address.toString()).arg(m_port);
}

void TcpDevice::switchOn()
{
    ASSERT_TRUE(m_server.listen(m_address, m_port)) << m_server.errorString().toStdString();
    m_port = m_server.serverPort();
}

void TcpDevice::switchOff()
{
    m_server.close();
    hangUp(true);
}

void TcpDevice::hangUp(bool byReset)
{
    for (const auto &connection : m_connections) {
        if (byReset) {
            setResetOnClose(*connection->socket);
        }
        connection->socket->disconnect();
        connection->socket->abort();
    }
    m_connections.clear();
}

void TcpDevice::readAll()
{
    if (m_isReading) {
        return;
    }
    const QScopedValueRollback<bool> reading(m_isReading, true);
    acceptAll();
    for (const auto &connection : m_connections) {
        read(*connection);
    }
    forgetEnded();
}

void TcpDevice::probe()
{
    for (const auto &connection : m_connections) {
        connection->socket->write(QByteArray(1, '\0')); // an end of frame without a frame
    }
}

void TcpDevice::acceptAll()
{
    if (m_server.isListening()) {
        m_server.waitForNewConnection(0);
    }
    while (QTcpSocket *const next = m_server.nextPendingConnection()) {
        next->setParent(nullptr);
        auto connection = std::make_unique<Connection>();
        connection->socket.reset(next);
        if (takesOneClient && !m_connections.empty()) {
            ++m_refused;
            continue;
        }
        QObject::connect(next, &QTcpSocket::readyRead, next, [this] { readAll(); });
        // Its end is looked at later: this may be told within a call of the socket.
        QObject::connect(
            next, &QTcpSocket::disconnected, &m_server, [this] { readAll(); }, Qt::QueuedConnection);
        m_connections.push_back(std::move(connection));
    }
}

/** With a linger of zero the connection ends by one packet that nobody repeats. */
void TcpDevice::setResetOnClose(const QTcpSocket &socket)
{
    const linger none{1, 0};
    setsockopt(static_cast<int>(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &none, sizeof none);
}

void TcpDevice::read(Connection &connection)
{
    if (connection.socket->state() == QAbstractSocket::ConnectedState) {
        connection.socket->waitForReadyRead(0);
    }
    for (const model_Protocoldata &command : connection.codec.decode(connection.socket->readAll()).records) {
        if (onCommand) {
            onCommand(command);
        }
        if (!isMute) {
            connection.socket->write(connection.codec.encode(command));
            connection.socket->flush();
        }
    }
}

void TcpDevice::forgetEnded()
{
    const auto hasEnded = [](const std::unique_ptr<Connection> &connection) {
        return connection->socket->state() == QAbstractSocket::UnconnectedState;
    };
    m_connections.erase(std::remove_if(m_connections.begin(), m_connections.end(), hasEnded), m_connections.end());
}

} // namespace biz::test
