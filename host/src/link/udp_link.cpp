#include <link/udp_link_p.h>

#include <QtNetwork/QNetworkProxy>

#include <memory_p.h>

namespace biz::host {

namespace {

/** Read in one go; what is left then waits for the event loop's next turn. */
constexpr int datagramsPerTurn = 1000;

} // namespace

UdpLink::UdpLink(const QString &host, quint16 port)
    : m_host(host)
    , m_port(port)
{
    m_socket.setProxy(QNetworkProxy::NoProxy);
    m_opening.setSingleShot(true);
    connect(&m_opening, &QTimer::timeout, this, &UdpLink::lookUp);
    connect(&m_socket, &QUdpSocket::readyRead, this, &UdpLink::onReadyRead);
    m_lookUp.setProxy(QNetworkProxy::NoProxy);
    // Queued: whoever hears of the end may close, or destroy, the link.
    connect(&m_lookUp, &QUdpSocket::stateChanged, this, &UdpLink::onLookUpMoved, Qt::QueuedConnection);
}

UdpLink::~UdpLink()
{
    close();
}

void UdpLink::open()
{
    if (m_wanted) {
        return;
    }
    m_wanted = true;
    m_opening.start(0);
}

void UdpLink::close()
{
    m_wanted = false;
    m_open = false;
    m_opening.stop();
    m_lookingUp = false;
    m_lookUp.abort();
    m_socket.close();
}

bool UdpLink::isOpen() const
{
    return m_open;
}

bool UdpLink::write(const QByteArray &bytes)
{
    return m_open && m_socket.writeDatagram(bytes, m_device, m_port) == bytes.size();
}

bool UdpLink::keepsMessageBoundaries() const
{
    return true;
}

QString UdpLink::name() const
{
    QUrl url;
    url.setScheme(QStringLiteral("udp"));
    url.setHost(m_host);
    url.setPort(m_port);
    return url.toString();
}

void UdpLink::lookUp()
{
    const QHostAddress address(m_host);
    if (address.isNull()) {
        m_lookingUp = true;
        m_lookUp.connectToHost(m_host, m_port);
    } else {
        bindFor(address);
    }
}

void UdpLink::onLookUpMoved()
{
    // News of a look-up that a close() has ended may still be on its way.
    const bool isFound = m_lookUp.state() == QAbstractSocket::ConnectedState;
    if (!m_lookingUp || (!isFound && m_lookUp.state() != QAbstractSocket::UnconnectedState)) {
        return;
    }
    m_lookingUp = false;
    const QHostAddress device = m_lookUp.peerAddress();
    const QString problem = m_lookUp.errorString();
    m_lookUp.abort();
    if (isFound) {
        bindFor(device);
    } else {
        fail(problem);
    }
}

void UdpLink::bindFor(const QHostAddress &device)
{
    m_device = device;
    const bool isIpv6 = device.protocol() == QAbstractSocket::IPv6Protocol;
    // A socket of the device's own family shows senders in the spelling of `m_device`.
    if (!m_socket.bind(QHostAddress(isIpv6 ? QHostAddress::AnyIPv6 : QHostAddress::AnyIPv4), 0)) {
        fail(m_socket.errorString());
        return;
    }
    m_open = true;
    Q_EMIT opened();
}

void UdpLink::fail(const QString &why)
{
    m_wanted = false;
    m_socket.close();
    Q_EMIT closed(QStringLiteral("cannot reach %1: %2").arg(name(), why));
}

void UdpLink::onReadyRead()
{
    for (int i = 0; i < datagramsPerTurn && m_open; ++i) {
        // Read even when nothing is there: the socket gives no further notice after one that led to no reading.
        QHostAddress sender;
        quint16 port = 0;
        const qint64 size =
            m_socket.readDatagram(m_datagram.data(), static_cast<qint64>(m_datagram.size()), &sender, &port);
        if (size < 0) {
            return;
        }
        QByteArray bytes;
        const bool isFromDevice = sender == m_device && port == m_port;
        if (isFromDevice && size > 0 &&
            memorySuffices([&] { bytes = QByteArray(m_datagram.data(), static_cast<int>(size)); })) {
            Q_EMIT received(bytes);
        }
    }
    // The socket gives notice of datagrams that come from now on, not of those left here.
    if (m_open && m_socket.hasPendingDatagrams()) {
        QMetaObject::invokeMethod(this, &UdpLink::onReadyRead, Qt::QueuedConnection);
    }
}

} // namespace biz::host
