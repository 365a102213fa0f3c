#include <biz_monitor/sources/socket_source.h>

#include <utility>

namespace biz::monitor {

namespace {

constexpr int retryPeriodMs = 500;

/** Whatever is longer is no line of a log, and is left out. */
constexpr int longestLine = 1024 * 1024;

/** Who writes faster than the window reads has to wait, or to give up. */
constexpr qint64 bufferSize = 256 * 1024;

} // namespace

SocketSource::SocketSource(const QString &socket)
    : m_name(socket)
{
    m_socket.setReadBufferSize(bufferSize);
    QObject::connect(&m_retry, &QTimer::timeout, &m_retry, [this] { connectAgain(); });
    m_retry.start(retryPeriodMs);
    connectAgain();
}

void SocketSource::connectAgain()
{
    const bool isReadToItsEnd = m_socket.bytesAvailable() == 0 && m_read.indexOf('\n', m_taken) < 0;
    if (m_socket.state() == QLocalSocket::UnconnectedState && isReadToItsEnd) {
        m_read.clear();
        m_taken = 0;
        m_isTooLong = false;
        m_socket.connectToServer(m_name, QIODevice::ReadOnly);
    }
}

bool SocketSource::next(QByteArray *line)
{
    while (!takeLine(line)) {
        m_read.remove(0, std::exchange(m_taken, 0));
        if (m_read.size() > longestLine) {
            m_isTooLong = true;
            m_read.clear();
        }
        // All of it: a socket whose buffer was full goes on only when it is asked for more than it has.
        const QByteArray more = m_socket.isOpen() ? m_socket.readAll() : QByteArray();
        if (more.isEmpty()) {
            return false;
        }
        m_read += more;
    }
    return true;
}

bool SocketSource::takeLine(QByteArray *line)
{
    for (;;) {
        const auto end = static_cast<int>(m_read.indexOf('\n', m_taken));
        if (end < 0) {
            return false;
        }
        *line = m_read.mid(m_taken, end - m_taken);
        m_taken = end + 1;
        if (!std::exchange(m_isTooLong, false)) { // else only its end is here
            return true;
        }
    }
}

QString SocketSource::problem() const
{
    if (m_socket.state() == QLocalSocket::ConnectedState) {
        return {};
    }
    return QStringLiteral("%1: %2").arg(m_name, m_socket.errorString());
}

} // namespace biz::monitor
