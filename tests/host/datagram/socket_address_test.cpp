#include <datagram/socket_address_p.h>

#include <QtNetwork/QNetworkInterface>

#include <gtest/gtest.h>

using biz::host::SocketAddress;

namespace {

QString thereAndBack(const QString &address)
{
    return SocketAddress(QHostAddress(address), 1234).address().toString();
}

} // namespace

TEST(SocketAddressTest, IsTheAddressThatItWasMadeOf)
{
    EXPECT_EQ(thereAndBack(QStringLiteral("127.1.2.3")), QStringLiteral("127.1.2.3"));
    EXPECT_EQ(thereAndBack(QStringLiteral("fd00::7")), QStringLiteral("fd00::7"));
}

TEST(SocketAddressTest, KeepsTheInterfaceOfALinkLocalAddress)
{
    const QString name = QNetworkInterface::allInterfaces().value(0).name();
    ASSERT_FALSE(name.isEmpty());
    const QString address = QStringLiteral("fe80::1%") + name;
    EXPECT_EQ(thereAndBack(address), address);
}

TEST(SocketAddressTest, HasThePortInTheNetworksOrder)
{
    const SocketAddress address(QHostAddress(QStringLiteral("127.0.0.1")), 0x1234);
    const auto &bytes = reinterpret_cast<const sockaddr_in &>(address.storage);
    EXPECT_EQ(bytes.sin_port, htons(0x1234));
    EXPECT_EQ(address.family(), AF_INET);
}
