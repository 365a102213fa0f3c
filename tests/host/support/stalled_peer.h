#ifndef BIZ_TESTS_HOST_STALLED_PEER_H
#define BIZ_TESTS_HOST_STALLED_PEER_H

#include <array>
#include <cerrno>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <gtest/gtest.h>

namespace biz::test {

/** A device's end of TCP that reads only when the test says so, and whose system takes little on its own. */
class StalledPeer
{
public:
    explicit StalledPeer(const char *address = "127.0.0.1")
        : m_address(address)
        , m_listening(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
    {
        const int little = 4096;
        EXPECT_EQ(setsockopt(m_listening, SOL_SOCKET, SO_RCVBUF, &little, sizeof little), 0);
        sockaddr_in at{};
        at.sin_family = AF_INET;
        EXPECT_EQ(inet_pton(AF_INET, address, &at.sin_addr), 1);
        socklen_t size = sizeof at;
        EXPECT_EQ(bind(m_listening, reinterpret_cast<sockaddr *>(&at), size), 0);
        EXPECT_EQ(listen(m_listening, 8), 0);
        EXPECT_EQ(getsockname(m_listening, reinterpret_cast<sockaddr *>(&at), &size), 0);
        m_port = ntohs(at.sin_port);
    }

    ~StalledPeer()
    {
        hangUp();
        ::close(m_listening);
    }
    StalledPeer(const StalledPeer &) = delete;
    StalledPeer &operator=(const StalledPeer &) = delete;

    QString url() const { return QStringLiteral("tcp://%1:%2").arg(QLatin1String(m_address)).arg(m_port); }

    /** Turns to the next connection; false when there is none. */
    bool accept()
    {
        const int next = ::accept4(m_listening, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (next < 0) {
            return false;
        }
        hangUp();
        m_connection = next;
        m_hasEnded = false;
        return true;
    }

    /** What has come on this connection since the last call. */
    QByteArray read()
    {
        QByteArray got;
        std::array<char, 65536> buffer{};
        for (;;) {
            const ssize_t size = ::recv(m_connection, buffer.data(), buffer.size(), 0);
            if (size <= 0) {
                m_hasEnded = size == 0 || errno != EAGAIN;
                return got;
            }
            got.append(buffer.data(), static_cast<int>(size));
        }
    }

    /** Whether read() has found the connection closed or reset. */
    bool hasEnded() const { return m_hasEnded; }

    /** Ends the connection by a reset. */
    void reset()
    {
        const linger none{1, 0};
        EXPECT_EQ(setsockopt(m_connection, SOL_SOCKET, SO_LINGER, &none, sizeof none), 0);
        hangUp();
    }

    void hangUp()
    {
        if (m_connection >= 0) {
            ::close(m_connection);
            m_connection = -1;
        }
    }

private:
    const char *const m_address;
    const int m_listening;
    quint16 m_port = 0;
    int m_connection = -1;
    bool m_hasEnded = false;
};

} // namespace biz::test

#endif
