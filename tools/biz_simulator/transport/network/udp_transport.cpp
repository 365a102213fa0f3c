#include <biz_simulator/transport/network/udp_transport.h>

#include <algorithm>

#include <QtNetwork/QNetworkDatagram>

namespace biz::simulator {

namespace {

/** Maximum number of remembered hosts; the least recently heard are evicted. */
constexpr int mostPeers = 64;

constexpr qint64 mostDatagramBytes = 65535;

} // namespace

class UdpTransport::Sender final : public testkit::Peer
{
public:
    Sender(QUdpSocket *socket, const QHostAddress &address, quint16 port)
        : Peer(std::make_unique<host::DemoDatagramCodec>())
        , m_socket(socket)
        , m_address(address)
        , m_port(port)
    {
    }

    bool isAt(const QHostAddress &address, quint16 port) const { return m_port == port && m_address == address; }

    bool isOpen() const override { return m_socket->state() == QAbstractSocket::BoundState; }
    void hangUp() override {}

protected:
    // A datagram that the system does not take is a lost one, as many are on their way.
    void write(const QByteArray &bytes) override { m_socket->writeDatagram(bytes, m_address, m_port); }

private:
    QUdpSocket *m_socket;
    QHostAddress m_address;
    quint16 m_port;
};

UdpTransport::UdpTransport(const QHostAddress &address, quint16 port)
    : m_address(address)
    , m_port(port)
{
    connect(&m_socket, &QUdpSocket::readyRead, this, &UdpTransport::read);
}

UdpTransport::~UdpTransport() = default;

bool UdpTransport::open()
{
    // Not shared: a second simulator on the same port must fail, not take some of the datagrams.
    if (!m_socket.bind(m_address, m_port, QAbstractSocket::DontShareAddress)) {
        return false;
    }
    m_port = m_socket.localPort();
    return true;
}

void UdpTransport::close()
{
    m_socket.close();
}

void UdpTransport::setReading(bool on)
{
    m_isReading = on;
    read();
}

void UdpTransport::read()
{
    while (m_isReading && isOpen()) {
        // Of a size of its own choice, the socket would not read when nothing is there, and give no notice after that.
        const QNetworkDatagram datagram = m_socket.receiveDatagram(mostDatagramBytes);
        if (!datagram.isValid()) {
            return;
        }
        Q_EMIT received(peerAt(datagram.senderAddress(), static_cast<quint16>(datagram.senderPort())), datagram.data());
    }
}

std::shared_ptr<UdpTransport::Sender> UdpTransport::peerAt(const QHostAddress &address, quint16 port)
{
    const auto isSender = [&](const std::shared_ptr<Sender> &peer) {
        return peer->isAt(address, port);
    };
    const auto known = std::find_if(m_peers.begin(), m_peers.end(), isSender);
    auto peer = known != m_peers.end() ? *known : std::make_shared<Sender>(&m_socket, address, port);
    if (known != m_peers.end()) {
        m_peers.erase(known);
    } else if (m_peers.size() == mostPeers) {
        m_peers.removeFirst();
    }
    m_peers.append(peer);
    return peer;
}

} // namespace biz::simulator
