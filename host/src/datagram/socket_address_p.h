#ifndef BIZ_HOST_SOCKET_ADDRESS_P_H
#define BIZ_HOST_SOCKET_ADDRESS_P_H

#include <netinet/in.h>
#include <sys/socket.h>

#include <QtNetwork/QHostAddress>

namespace biz::host {

/** An address with a port, as the system takes it. */
struct SocketAddress
{
    sockaddr_storage storage{};
    socklen_t size = sizeof(sockaddr_storage);

    SocketAddress() = default;
    SocketAddress(const QHostAddress &address, quint16 port);

    sa_family_t family() const { return storage.ss_family; }
    sockaddr *get() { return reinterpret_cast<sockaddr *>(&storage); }
    const sockaddr *get() const { return reinterpret_cast<const sockaddr *>(&storage); }

    QHostAddress address() const;
};

} // namespace biz::host

#endif
