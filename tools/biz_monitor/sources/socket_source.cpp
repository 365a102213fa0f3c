#include <biz_monitor/sources/socket_source.h>

namespace biz::monitor {

namespace {

constexpr int retryPeriodMs = 500;

/** Whatever is longer is no line of a log, and is left out. */
constexpr qint64 longestLine = 1024 * 1024;

/** Who writes faster than the window reads has to wait, or to give up. */
constexpr qint64 bufferSize = 2 * longestLine;

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
    if (m_socket.state() == QLocalSocket::UnconnectedState && m_socket.bytesAvailable() == 0) {
        m_isTooLong = false;
        m_socket.connectToServer(m_name, QIODevice::ReadOnly);
    }
}

bool SocketSource::next(QByteArray *line)
{
    if (!m_socket.isOpen()) {
        return false;
    }
    while (m_socket.canReadLine()) {
        *line = m_socket.readLine();
        line->chop(1);
        if (!m_isTooLong) {
            return true;
        }
        m_isTooLong = false; // only its end is here
    }
    if (m_socket.bytesAvailable() > longestLine || m_socket.state() == QLocalSocket::UnconnectedState) {
        m_isTooLong = true;
        m_socket.readAll();
    }
    return false;
}

QString SocketSource::problem() const
{
    if (m_socket.state() == QLocalSocket::ConnectedState) {
        return {};
    }
    return QStringLiteral("%1: %2").arg(m_name, m_socket.errorString());
}

} // namespace biz::monitor
