#include <datagram/socket_address_p.h>

#include <cstring>

#include <QtCore/QtEndian>
#include <QtNetwork/QNetworkInterface>

namespace biz::host {

SocketAddress::SocketAddress(const QHostAddress &address, quint16 port)
{
    bool isIpv4 = false;
    const quint32 ipv4 = address.toIPv4Address(&isIpv4);
    if (isIpv4 && address.protocol() != QAbstractSocket::IPv6Protocol) {
        auto &own = reinterpret_cast<sockaddr_in &>(storage);
        own.sin_family = AF_INET;
        own.sin_port = qToBigEndian(port);
        own.sin_addr.s_addr = qToBigEndian(ipv4);
        size = sizeof(sockaddr_in);
        return;
    }
    auto &own = reinterpret_cast<sockaddr_in6 &>(storage);
    const Q_IPV6ADDR ipv6 = address.toIPv6Address();
    own.sin6_family = AF_INET6;
    own.sin6_port = qToBigEndian(port);
    std::memcpy(&own.sin6_addr, &ipv6, sizeof(own.sin6_addr));
    if (!address.scopeId().isEmpty()) {
        own.sin6_scope_id = static_cast<quint32>(QNetworkInterface::interfaceIndexFromName(address.scopeId()));
    }
    size = sizeof(sockaddr_in6);
}

QHostAddress SocketAddress::address() const
{
    QHostAddress address(get());
    if (family() == AF_INET6) {
        const quint32 scope = reinterpret_cast<const sockaddr_in6 &>(storage).sin6_scope_id;
        if (scope != 0) {
            address.setScopeId(QNetworkInterface::interfaceNameFromIndex(static_cast<int>(scope)));
        }
    }
    return address;
}

} // namespace biz::host
