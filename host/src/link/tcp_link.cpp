#include <link/tcp_link_p.h>

#include <QtNetwork/QNetworkProxy>

namespace biz::host {

TcpLink::TcpLink(const QString &host, quint16 port)
    : m_host(host)
    , m_port(port)
{
    // A device on the local network is never behind the proxy that a desktop may name.
    m_socket.setProxy(QNetworkProxy::NoProxy);
    m_connecting.setSingleShot(true);
    // Unbuffered, the socket hands each command to the system within the call, and does not ask
    // the event loop first when it may; what the system does not take at once follows later.
    connect(&m_connecting, &QTimer::timeout, this,
            [this] { m_socket.connectToHost(m_host, m_port, QIODevice::ReadWrite | QIODevice::Unbuffered); });
    connect(&m_socket, &QTcpSocket::connected, this, &TcpLink::onConnected);
    connect(&m_socket, &QTcpSocket::stateChanged, this, &TcpLink::onStateChanged);
    connect(&m_socket, &QTcpSocket::readyRead, this, &TcpLink::onReadyRead);
}

TcpLink::~TcpLink()
{
    close();
}

void TcpLink::open()
{
    if (m_wanted) {
        return;
    }
    m_wanted = true;
    m_connecting.start(0);
}

void TcpLink::close()
{
    m_wanted = false; // first, since the socket tells of its end while it closes
    m_connecting.stop();
    if (m_open) {
        m_open = false;
        m_socket.flush(); // what the system takes at once still goes out
    }
    m_socket.abort();
}

bool TcpLink::isOpen() const
{
    return m_open;
}

bool TcpLink::write(const QByteArray &bytes)
{
    return m_open && m_socket.write(bytes) == bytes.size();
}

QString TcpLink::name() const
{
    QUrl url;
    url.setScheme(QStringLiteral("tcp"));
    url.setHost(m_host);
    url.setPort(m_port);
    return url.toString();
}

void TcpLink::onConnected()
{
    if (!m_wanted) {
        return;
    }
    // Commands are small and each waits for its reply: gathering them would only delay them.
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
    m_open = true;
    Q_EMIT opened();
}

void TcpLink::onStateChanged(QAbstractSocket::SocketState state)
{
    if (state == QAbstractSocket::UnconnectedState) {
        reportEnd();
    }
}

void TcpLink::reportEnd()
{
    if (!m_wanted) {
        return;
    }
    const QString what = m_open ? QStringLiteral("%1 was closed: %2") : QStringLiteral("cannot reach %1: %2");
    m_wanted = false;
    m_open = false;
    Q_EMIT closed(what.arg(name(), m_socket.errorString()));
}

void TcpLink::onReadyRead()
{
    const qint64 count = m_socket.read(m_chunk.data(), static_cast<qint64>(m_chunk.size()));
    if (count < 0) {
        // An unbuffered socket learns of the other side's end by reading, and tells nobody.
        reportEnd();
    } else if (m_open && count > 0) {
        Q_EMIT received(QByteArray(m_chunk.data(), static_cast<int>(count)));
    }
}

} // namespace biz::host
