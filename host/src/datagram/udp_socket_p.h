#ifndef BIZ_HOST_UDP_SOCKET_P_H
#define BIZ_HOST_UDP_SOCKET_P_H

#include <array>
#include <functional>
#include <memory>
#include <vector>

#include <datagram/socket_address_p.h>

namespace biz::host {

/** One socket of the system for datagrams; it never blocks. */
class UdpSocket
{
public:
    using OnDatagram = std::function<void(const QHostAddress &sender, const QByteArray &datagram)>;

    /** Where datagrams are read to, a batch for each call of the system. Sockets share it. */
    class ReadBuffer;

    /** Bound to a free port; null, with the problem, when the system gives none. */
    static std::unique_ptr<UdpSocket> open(const QHostAddress &local, QString *problem);

    ~UdpSocket();
    UdpSocket(const UdpSocket &) = delete;
    UdpSocket &operator=(const UdpSocket &) = delete;

    int descriptor() const { return m_descriptor; }

    /** 0, or the error number of the system. */
    int send(const SocketAddress &to, const QByteArray &datagram) const;

    /** Reads what is here, up to a bound; 0, or the error number of the system. */
    int read(ReadBuffer &buffer, const OnDatagram &onDatagram);

    /** What the system lets wait to be read, counted as the system counts it. */
    int receiveRoom() const;

    /** How many datagrams were dropped since the last call: by the system, or for want of memory. */
    quint64 takeDropped();

private:
    explicit UdpSocket(int descriptor)
        : m_descriptor(descriptor)
    {
    }

    const int m_descriptor;
    quint32 m_droppedSoFar = 0; ///< by the system
    quint32 m_noMemory = 0;     ///< datagrams that were read and could not be kept
};

class UdpSocket::ReadBuffer
{
public:
    ReadBuffer();

private:
    friend class UdpSocket;

    static constexpr std::size_t datagrams = 16;
    static constexpr std::size_t datagramSize = 65536; ///< no datagram is longer

    void reset();

    std::vector<char> m_bytes;
    std::array<SocketAddress, datagrams> m_senders;
    std::array<iovec, datagrams> m_parts{};
    std::array<mmsghdr, datagrams> m_messages{};
};

} // namespace biz::host

#endif
