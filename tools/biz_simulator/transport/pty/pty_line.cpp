#include <biz_simulator/transport/pty/pty_line.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <biz_simulator/address/cannot_listen.h>

namespace biz::simulator {

namespace {

constexpr std::size_t longestPortName = 128;
constexpr std::size_t readSize = 4096;

/** More than any burst of usual replies. A line that nobody reads loses what goes beyond it, as real ones do. */
constexpr int mostPendingBytes = 1 << 24;

void closeEnd(int *end)
{
    if (*end >= 0) {
        ::close(*end);
        *end = -1;
    }
}

/** Bytes pass as they are, and come back to nobody. */
bool makeRaw(int end)
{
    termios settings{};
    if (::tcgetattr(end, &settings) != 0) {
        return false;
    }
    ::cfmakeraw(&settings);
    return ::tcsetattr(end, TCSANOW, &settings) == 0;
}

/** Its notifications may be what is being handled. */
void retire(std::unique_ptr<QSocketNotifier> *notifier)
{
    if (*notifier) {
        (*notifier)->setEnabled(false);
        notifier->release()->deleteLater();
    }
}

} // namespace

PtyLine::PtyLine()
    : testkit::Peer(std::make_unique<host::DemoFrameCodec>())
{
}

PtyLine::~PtyLine()
{
    hangUp();
}

void PtyLine::open()
{
    if (!openBothEnds()) {
        const QString problem = qt_error_string(errno);
        hangUp();
        throw CannotListen(problem);
    }
    m_readable = std::make_unique<QSocketNotifier>(m_far, QSocketNotifier::Read);
    connect(m_readable.get(), &QSocketNotifier::activated, this, &PtyLine::read);
    m_writable = std::make_unique<QSocketNotifier>(m_far, QSocketNotifier::Write);
    m_writable->setEnabled(false);
    connect(m_writable.get(), &QSocketNotifier::activated, this, &PtyLine::writePending);
}

bool PtyLine::openBothEnds()
{
    std::array<char, longestPortName> name{};
    m_far = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_far < 0 || ::grantpt(m_far) != 0 || ::unlockpt(m_far) != 0 ||
        ::ptsname_r(m_far, name.data(), name.size()) != 0) {
        return false;
    }
    m_near = ::open(name.data(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    m_port = QString::fromLocal8Bit(name.data());
    return m_near >= 0 && makeRaw(m_near);
}

void PtyLine::hangUp()
{
    retire(&m_readable);
    retire(&m_writable);
    closeEnd(&m_near);
    closeEnd(&m_far);
    m_pending.clear();
}

void PtyLine::setReading(bool on)
{
    if (m_readable) {
        m_readable->setEnabled(on);
    }
}

void PtyLine::read()
{
    std::array<char, readSize> buffer{};
    const ssize_t size = ::read(m_far, buffer.data(), buffer.size());
    if (size > 0) {
        // A host that ends without closing its port leaves it locked for the next one.
        ::ioctl(m_near, TIOCNXCL);
        Q_EMIT received(QByteArray(buffer.data(), static_cast<int>(size)));
    }
}

void PtyLine::write(const QByteArray &bytes)
{
    if (m_pending.size() + bytes.size() <= mostPendingBytes) {
        m_pending.append(bytes);
        writePending();
    }
}

void PtyLine::writePending()
{
    if (!isOpen()) {
        return;
    }
    const ssize_t written = ::write(m_far, m_pending.constData(), static_cast<std::size_t>(m_pending.size()));
    if (written > 0) {
        m_pending.remove(0, static_cast<int>(written));
    }
    m_writable->setEnabled(!m_pending.isEmpty());
}

} // namespace biz::simulator
