#include <link/tcp_link_p.h>

#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <QtCore/QSignalBlocker>
#include <QtNetwork/QNetworkProxy>

#include <memory_p.h>
#include <timing_p.h>

namespace biz::host {

TcpLink::TcpLink(const QString &host, quint16 port)
    : m_host(host)
    , m_port(port)
{
    // A device on the local network is never behind the proxy that a desktop may name.
    m_socket.setProxy(QNetworkProxy::NoProxy);
    m_connecting.setSingleShot(true);
    connect(&m_connecting, &QTimer::timeout, this, &TcpLink::connectToNext);
    m_connectLimit.setSingleShot(true);
    connect(&m_connectLimit, &QTimer::timeout, this, [this] { giveUp(QStringLiteral("nobody answers there")); });
    connect(&m_socket, &QTcpSocket::connected, this, &TcpLink::onConnected);
    connect(&m_socket, &QTcpSocket::stateChanged, this, &TcpLink::onStateChanged);
    connect(&m_socket, &QTcpSocket::readyRead, this, &TcpLink::onReadyRead);
    connect(&m_window, &WriteWindow::drained, this, [this] { guardHeldBytes(false); });
    connect(&m_window, &WriteWindow::roomAgain, this, &TcpLink::writable);
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
    QHostAddress address;
    if (address.setAddress(m_host)) {
        m_addresses = {address};
        m_connecting.start(0);
    } else {
        m_lookUp = QHostInfo::lookupHost(m_host, this, &TcpLink::onFound);
    }
}

void TcpLink::close()
{
    m_wanted = false; // first, since the socket tells of its end while it closes
    QHostInfo::abortHostLookup(m_lookUp);
    m_addresses.clear();
    m_connecting.stop();
    m_connectLimit.stop();
    m_window.reset();
    if (m_open) {
        m_open = false;
        setResetOnClose(false);
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
    if (!m_open || m_hasEndedWriting) {
        return false;
    }
    if (!m_isGuarded) {
        guardHeldBytes(true);
    }
    qint64 taken = 0;
    if (!memorySuffices([&] { taken = m_socket.write(bytes); })) {
        end(noMemoryReason()); // a part of the frame may have gone out
        return false;
    }
    if (taken != bytes.size()) {
        // An unbuffered socket that finds the connection broken while it writes tells nobody.
        end(m_socket.errorString());
        return false;
    }
    m_window.add(bytes.size());
    return true;
}

bool TcpLink::canWrite() const
{
    return m_open && !m_hasEndedWriting && m_window.hasRoom();
}

qint64 TcpLink::bytesHeld() const
{
    if (!m_open) {
        return 0;
    }
    int unacknowledged = 0;
    ioctl(static_cast<int>(m_socket.socketDescriptor()), SIOCOUTQ, &unacknowledged);
    return m_socket.bytesToWrite() + unacknowledged;
}

void TcpLink::discard()
{
    const qint64 held = bytesHeld();
    if (held > 0) {
        end(QStringLiteral("%1 undelivered bytes were thrown away").arg(held));
    }
}

QString TcpLink::name() const
{
    QUrl url;
    url.setScheme(QStringLiteral("tcp"));
    url.setHost(m_host);
    url.setPort(m_port);
    return url.toString();
}

bool TcpLink::endWriting()
{
    if (!m_open || m_socket.bytesToWrite() > 0) {
        return false;
    }
    m_hasEndedWriting = ::shutdown(static_cast<int>(m_socket.socketDescriptor()), SHUT_WR) == 0;
    return m_hasEndedWriting;
}

void TcpLink::onFound(const QHostInfo &found)
{
    if (!m_wanted || found.lookupId() != m_lookUp) {
        return;
    }
    m_addresses = found.addresses();
    if (m_addresses.isEmpty()) {
        end(found.errorString());
    } else {
        connectToNext();
    }
}

/**
 * Unbuffered, the socket hands each command to the system within the call, and does not ask the event loop first when
 * it may; what the system does not take at once follows later.
 */
void TcpLink::connectToNext()
{
    m_socket.connectToHost(m_addresses.takeFirst(), m_port, QIODevice::ReadWrite | QIODevice::Unbuffered);
}

/** A name may have several addresses, of which only one leads to the device: each has a limit of its own. */
void TcpLink::giveUp(const QString &why)
{
    if (m_addresses.isEmpty()) {
        end(why);
        return;
    }
    m_connectLimit.stop();
    const QSignalBlocker quiet(m_socket);
    m_socket.abort();
    m_connecting.start(0);
}

void TcpLink::onConnected()
{
    if (!m_wanted) {
        return;
    }
    m_connectLimit.stop();
    m_addresses.clear();
    // Commands are small and each waits for its reply: gathering them would only delay them.
    setOption(IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(IPPROTO_TCP, TCP_KEEPIDLE, static_cast<int>(timing::keepAliveIdle.count()));
    setOption(IPPROTO_TCP, TCP_KEEPINTVL, static_cast<int>(timing::keepAlivePeriod.count()));
    setOption(IPPROTO_TCP, TCP_KEEPCNT, timing::keepAliveProbes);
    m_isGuarded = false;
    m_hasEndedWriting = false;
    m_open = true;
    Q_EMIT opened();
}

void TcpLink::onStateChanged(QAbstractSocket::SocketState state)
{
    if (state == QAbstractSocket::ConnectingState) {
        m_connectLimit.start(timing::tcpConnectLimit);
    } else if (state == QAbstractSocket::UnconnectedState) {
        giveUp(m_socket.errorString());
    }
}

void TcpLink::onReadyRead()
{
    const qint64 count = m_socket.read(m_chunk.data(), static_cast<qint64>(m_chunk.size()));
    if (count < 0) {
        // An unbuffered socket learns of the other side's end by reading, and tells nobody.
        end(m_socket.errorString());
    } else if (m_open && count > 0) {
        take(m_chunk.data(), static_cast<int>(count));
    }
}

void TcpLink::take(const char *bytes, int count)
{
    QByteArray chunk;
    if (memorySuffices([&] { chunk = QByteArray(bytes, count); })) {
        Q_EMIT received(chunk);
    } else {
        end(noMemoryReason()); // what has been read is lost
    }
}

/** Drops the connection, or the attempt, and says why; a slot may open the link anew. */
void TcpLink::end(const QString &why)
{
    if (!m_wanted) {
        return;
    }
    const QString what = m_open ? QStringLiteral("%1 was closed: %2") : QStringLiteral("cannot reach %1: %2");
    m_wanted = false;
    m_open = false;
    m_addresses.clear();
    m_connectLimit.stop();
    m_window.reset();
    m_socket.abort();
    Q_EMIT closed(what.arg(name(), why));
}

void TcpLink::setOption(int level, int option, int value)
{
    setsockopt(static_cast<int>(m_socket.socketDescriptor()), level, option, &value, sizeof value);
}

/** With a linger of zero, closing the socket resets the connection, and the system forgets what it holds. */
void TcpLink::setResetOnClose(bool isOn)
{
    const linger choice{isOn ? 1 : 0, 0};
    setsockopt(static_cast<int>(m_socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &choice, sizeof choice);
}

/**
 * While bytes are held, the end of the connection forgets them, whoever ends it; only a close on request
 * lets them go out. The system's own limit for silence stands for that time only, since it would also
 * take the place of the number of probes after which an idle connection is given up.
 */
void TcpLink::guardHeldBytes(bool isOn)
{
    m_isGuarded = isOn;
    setResetOnClose(isOn);
    setOption(IPPROTO_TCP, TCP_USER_TIMEOUT, isOn ? static_cast<int>(timing::systemSilenceLimit.count()) : 0);
}

} // namespace biz::host
