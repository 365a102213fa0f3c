#ifndef BIZ_TESTS_HOST_PSEUDO_TERMINAL_H
#define BIZ_TESTS_HOST_PSEUDO_TERMINAL_H

#include <array>
#include <cstdlib>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <gtest/gtest.h>

namespace biz::test {

/** A serial line whose far end is the test, and none of the processes that it starts. */
class PseudoTerminal
{
public:
    PseudoTerminal()
        : m_far(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
    {
        EXPECT_GE(m_far, 0);
        EXPECT_EQ(grantpt(m_far), 0);
        EXPECT_EQ(unlockpt(m_far), 0);
    }

    ~PseudoTerminal() { hangUp(); }
    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    /** The port's name, such as "/dev/pts/3". */
    QString port() const
    {
        std::array<char, 128> name{};
        EXPECT_EQ(ptsname_r(m_far, name.data(), name.size()), 0);
        return QString::fromLocal8Bit(name.data());
    }

    void write(const QByteArray &bytes)
    {
        EXPECT_EQ(::write(m_far, bytes.constData(), static_cast<std::size_t>(bytes.size())), bytes.size());
    }

    /** What has come since the last call. */
    QByteArray read()
    {
        std::array<char, 4096> buffer{};
        const ssize_t size = ::read(m_far, buffer.data(), buffer.size());
        return size > 0 ? QByteArray(buffer.data(), static_cast<int>(size)) : QByteArray();
    }

    /** How the line is set; both ends share it. */
    termios settings() const
    {
        termios current{};
        EXPECT_EQ(tcgetattr(m_far, &current), 0);
        return current;
    }

    /** As when an adapter is pulled out. */
    void hangUp()
    {
        if (m_far >= 0) {
            ::close(m_far);
            m_far = -1;
        }
    }

private:
    int m_far;
};

} // namespace biz::test

#endif
