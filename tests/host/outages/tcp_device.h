#ifndef BIZ_TESTS_HOST_OUTAGES_TCP_DEVICE_H
#define BIZ_TESTS_HOST_OUTAGES_TCP_DEVICE_H

#include <functional>
#include <memory>
#include <vector>

#include <QtNetwork/QHostAddress>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include <host/frame_codec.h>

namespace biz::test {

/** A device that answers each command with the command itself, and runs from the test's event loop. */
class TcpDevice
{
public:
    explicit TcpDevice(const QHostAddress &address = QHostAddress(QHostAddress::LocalHost));
    ~TcpDevice();
    TcpDevice(const TcpDevice &) = delete;
    TcpDevice &operator=(const TcpDevice &) = delete;

    QString url() const;

    /** Listens; on the same port as before. */
    void switchOn();

    /** Loses its power: it is gone, and none of its connections is closed on a line that is cut. */
    void switchOff();

    /** Ends every connection, by a reset or in good order, and goes on listening. */
    void hangUp(bool byReset);

    /** A device that takes one client closes the connection of each further one. */
    bool takesOneClient = false;
    int refused() const { return m_refused; }

    /** Reads, and answers nothing. */
    bool isMute = false;

    /** Called for each command that arrives, before it is answered. */
    std::function<void(const model_Protocoldata &)> onCommand;

    /** Acts on all that has reached the device's system. */
    void readAll();

    /** Sends something harmless on each connection; those that the other side has forgotten end by it. */
    void probe();

    int connections() const { return static_cast<int>(m_connections.size()); }

private:
    /** A socket may end within its own signal. */
    struct DeleteLater
    {
        void operator()(QTcpSocket *socket) const
        {
            socket->disconnect();
            socket->deleteLater();
        }
    };

    struct Connection
    {
        std::unique_ptr<QTcpSocket, DeleteLater> socket;
        host::DemoFrameCodec codec;
    };

    void acceptAll();
    static void setResetOnClose(const QTcpSocket &socket);
    void read(Connection &connection);
    void forgetEnded();

    const QHostAddress m_address;
    quint16 m_port = 0;
    QTcpServer m_server;
    std::vector<std::unique_ptr<Connection>> m_connections;
    int m_refused = 0;
    bool m_isReading = false;
};

} // namespace biz::test

#endif
