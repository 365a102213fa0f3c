#include <biz_simulator/transport/transport.h>

#include <biz_simulator/transport/network/tcp_transport.h>
#include <biz_simulator/transport/network/udp_transport.h>
#include <biz_simulator/transport/pty/pty_transport.h>

namespace biz::simulator {

std::unique_ptr<Transport> makeTransport(const ListenAddress &address)
{
    switch (address.scheme) {
    case Scheme::Tcp:
        return std::make_unique<TcpTransport>(address);
    case Scheme::Udp:
        return std::make_unique<UdpTransport>(address.host, address.port);
    case Scheme::Serial:
        break;
    }
    return std::make_unique<PtyTransport>(address.path);
}

} // namespace biz::simulator
