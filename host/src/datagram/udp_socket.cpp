#include <datagram/udp_socket_p.h>

#include <cerrno>

#include <linux/sock_diag.h>
#include <unistd.h>

#include <memory_p.h>

namespace biz::host {

namespace {

/**
 * Batches that are read in one go: more than a receive buffer of the usual size holds, and an end of it
 * where datagrams come faster than they can be read.
 */
constexpr int batchesPerTurn = 64;

QString bindTo(int descriptor, const QHostAddress &local)
{
    constexpr int yes = 1;
    const SocketAddress address(local, 0);
    // IPv4 has sockets of its own.
    if (address.family() == AF_INET6 && ::setsockopt(descriptor, IPPROTO_IPV6, IPV6_V6ONLY, &yes, sizeof(yes)) != 0) {
        return qt_error_string(errno);
    }
    return ::bind(descriptor, address.get(), address.size) == 0 ? QString() : qt_error_string(errno);
}

} // namespace

UdpSocket::ReadBuffer::ReadBuffer()
    : m_bytes(datagrams * datagramSize)
{
    for (std::size_t i = 0; i < datagrams; ++i) {
        m_parts[i] = {m_bytes.data() + i * datagramSize, datagramSize};
        m_messages[i].msg_hdr.msg_iov = &m_parts[i];
        m_messages[i].msg_hdr.msg_iovlen = 1;
        m_messages[i].msg_hdr.msg_name = m_senders[i].get();
    }
}

/** The system has written the sizes of the last senders over those of the room for them. */
void UdpSocket::ReadBuffer::reset()
{
    for (mmsghdr &message : m_messages) {
        message.msg_hdr.msg_namelen = sizeof(sockaddr_storage);
    }
}

std::unique_ptr<UdpSocket> UdpSocket::open(const QHostAddress &local, QString *problem)
{
    const int family = SocketAddress(local, 0).family();
    const int descriptor = ::socket(family, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        *problem = qt_error_string(errno);
        return nullptr;
    }
    std::unique_ptr<UdpSocket> socket(new UdpSocket(descriptor));
    *problem = bindTo(descriptor, local);
    return problem->isEmpty() ? std::move(socket) : nullptr;
}

UdpSocket::~UdpSocket()
{
    ::close(m_descriptor);
}

int UdpSocket::send(const SocketAddress &to, const QByteArray &datagram) const
{
    const ssize_t sent = ::sendto(m_descriptor, datagram.constData(), static_cast<std::size_t>(datagram.size()),
                                  MSG_NOSIGNAL, to.get(), to.size);
    return sent >= 0 ? 0 : errno;
}

int UdpSocket::read(ReadBuffer &buffer, const OnDatagram &onDatagram)
{
    for (int batch = 0; batch < batchesPerTurn; ++batch) {
        buffer.reset();
        const int count =
            ::recvmmsg(m_descriptor, buffer.m_messages.data(), ReadBuffer::datagrams, MSG_DONTWAIT, nullptr);
        if (count < 0) {
            return errno == EAGAIN || errno == EINTR ? 0 : errno;
        }
        const auto read = static_cast<std::size_t>(count);
        for (std::size_t i = 0; i < read; ++i) {
            const char *const bytes = buffer.m_bytes.data() + i * ReadBuffer::datagramSize;
            QByteArray datagram;
            if (memorySuffices([&] { datagram = QByteArray(bytes, static_cast<int>(buffer.m_messages[i].msg_len)); })) {
                onDatagram(buffer.m_senders[i].address(), datagram);
            } else {
                ++m_noMemory;
            }
        }
        if (read < ReadBuffer::datagrams) {
            return 0;
        }
    }
    return 0;
}

int UdpSocket::receiveRoom() const
{
    int room = 0;
    socklen_t size = sizeof(room);
    return ::getsockopt(m_descriptor, SOL_SOCKET, SO_RCVBUF, &room, &size) == 0 ? room : 0;
}

quint64 UdpSocket::takeDropped()
{
    std::array<quint32, SK_MEMINFO_VARS> memory{};
    socklen_t size = sizeof(memory);
    const quint32 droppedHere = std::exchange(m_noMemory, 0);
    if (::getsockopt(m_descriptor, SOL_SOCKET, SO_MEMINFO, memory.data(), &size) != 0) {
        return droppedHere; // an old system does not tell
    }
    const quint32 dropped = memory[SK_MEMINFO_DROPS];
    return droppedHere + (dropped - std::exchange(m_droppedSoFar, dropped));
}

} // namespace biz::host
