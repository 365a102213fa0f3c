#include <gtest/gtest.h>

#include <algorithm>

#include <QtCore/QElapsedTimer>
#include <QtCore/QUrl>
#include <QtNetwork/QTcpSocket>

#include <biz_simulator/transport/network/tcp_transport.h>
#include <devices/played_device_p.h>
#include <devices/played_osd_devices_p.h>
#include <host/osd_datagram_codec.h>
#include <host/support/wait_for.h>

// What clients can make a simulated device keep in memory is bounded, whatever they do.

namespace {

using namespace biz::simulator;
using namespace biz::testkit;
using biz::test::waitFor;

/** More than the buffers of the system hold for a connection. */
constexpr int manyReplies = 2000;
constexpr int replyBytes = 64 << 10;

// --- Connections ------------------------------------------------------------------------

class TcpBoundsTest : public testing::Test
{
protected:
    /** Listens, and from then on notes what the transport says. */
    void listen(const TcpBounds &bounds)
    {
        ListenAddress address;
        address.port = 0;
        transport = std::make_unique<TcpTransport>(address, bounds);
        QObject::connect(transport.get(), &TcpTransport::received,
                         [this](const PeerPointer &peer, const QByteArray &bytes) {
                             peers.append(peer);
                             mostAtOnce = std::max(mostAtOnce, static_cast<qint64>(bytes.size()));
                             received += bytes.size();
                         });
        QObject::connect(transport.get(), &TcpTransport::droppedHost, [this](const QString &why) { dropped = why; });
        ASSERT_TRUE(transport->open());
    }

    /** A client that never reads, once the device knows it. */
    std::unique_ptr<QTcpSocket> connectClient()
    {
        auto client = std::make_unique<QTcpSocket>();
        client->setReadBufferSize(1);
        client->connectToHost(QHostAddress(QHostAddress::LocalHost),
                              static_cast<quint16>(QUrl(transport->url()).port()));
        client->write("x");
        const auto known = peers.size();
        waitFor([&] { return peers.size() > known || client->state() == QAbstractSocket::UnconnectedState; });
        return client;
    }

    std::unique_ptr<TcpTransport> transport;
    QVector<PeerPointer> peers; ///< one for each time that something was received
    qint64 mostAtOnce = 0;
    qint64 received = 0;
    QString dropped;
};

TEST_F(TcpBoundsTest, ClientThatReadsNothingIsDisconnectedWithASentence)
{
    TcpBounds bounds;
    bounds.unreadByOne = 100'000;
    listen(bounds);
    const auto client = connectClient();
    ASSERT_EQ(peers.size(), 1);
    int sent = 0;
    while (sent < manyReplies && peers.at(0)->send({QByteArray(replyBytes, 'r')}, 0) == Peer::Sending::Done) {
        ++sent;
    }
    EXPECT_LT(sent, manyReplies);
    EXPECT_FALSE(peers.at(0)->isOpen());
    EXPECT_TRUE(dropped.startsWith(transport->url() + ": the client at port ")) << dropped.toStdString();
    EXPECT_TRUE(dropped.endsWith(" bytes of replies unread")) << dropped.toStdString();
}

TEST_F(TcpBoundsTest, OfManyThatReadNothingTheOneThatLeftMostIsDisconnected)
{
    TcpBounds bounds;
    bounds.unreadByAll = 4'000'000;
    listen(bounds);
    const auto first = connectClient();
    const auto second = connectClient();
    ASSERT_EQ(peers.size(), 2);
    int sent = 0;
    while (sent < manyReplies && dropped.isEmpty()) {
        // Three times as much for the first.
        peers.at(0)->send({QByteArray(3 * replyBytes, 'r')}, 0);
        peers.at(1)->send({QByteArray(replyBytes, 'r')}, 0);
        ++sent;
    }
    EXPECT_FALSE(peers.at(0)->isOpen());
    EXPECT_TRUE(peers.at(1)->isOpen());
}

TEST_F(TcpBoundsTest, ConnectionBeyondTheMostIsRefusedUntilOneIsGone)
{
    TcpBounds bounds;
    bounds.connections = 2;
    listen(bounds);
    const auto first = connectClient();
    auto second = connectClient();
    const auto third = connectClient();
    EXPECT_EQ(third->state(), QAbstractSocket::UnconnectedState);
    second.reset();
    ASSERT_TRUE(waitFor([&] { return !peers.at(1)->isOpen(); }));
    EXPECT_EQ(connectClient()->state(), QAbstractSocket::ConnectedState);
}

TEST_F(TcpBoundsTest, WhatIsReadAtOnceIsAPortionHoweverMuchWasSent)
{
    constexpr int junkBytes = 4 << 20;
    listen({});
    QTcpSocket client;
    client.connectToHost(QHostAddress(QHostAddress::LocalHost), static_cast<quint16>(QUrl(transport->url()).port()));
    client.write(QByteArray(junkBytes, 'j'));
    EXPECT_TRUE(waitFor([&] { return received == junkBytes; }));
    EXPECT_LE(mostAtOnce, TcpTransport::mostBytesAtOnce);
}

TEST_F(TcpBoundsTest, HalfACommandIsForgottenWithItsConnection)
{
    listen({});
    auto client = connectClient();
    ASSERT_EQ(peers.size(), 1);
    auto &codec = static_cast<biz::host::DemoFrameCodec &>(*peers.at(0)->codec);
    codec.decode("half a command");
    ASSERT_GT(codec.heldBytes(), 0);
    client.reset();
    ASSERT_TRUE(waitFor([&] { return !peers.at(0)->isOpen(); }));
    EXPECT_EQ(codec.heldBytes(), 0);
}

// --- Replies that wait ------------------------------------------------------------------

/** A host that takes everything. */
class TakingPeer final : public Peer
{
public:
    TakingPeer()
        : Peer(std::make_unique<biz::host::DemoFrameCodec>())
    {
    }

    bool isOpen() const override { return true; }
    void hangUp() override {}

    int writes = 0;

protected:
    void write(const QByteArray &) override { ++writes; }
};

TEST(SimulatorPeer, TakesABoundedAmountThatWaitsForPauses)
{
    TakingPeer peer;
    ASSERT_EQ(peer.send({"a", "b"}, 3'000'000), Peer::Sending::Done); // "b" waits, and all behind it
    qint64 waiting = 0;
    const QByteArray part(1 << 20, 'p');
    while (waiting <= 2 * Peer::mostWaitingBytes && peer.send({part}, 0) == Peer::Sending::Done) {
        waiting += part.size();
    }
    EXPECT_LE(waiting, Peer::mostWaitingBytes);
    EXPECT_EQ(peer.send({part}, 0), Peer::Sending::TooMuchWaits);
}

TEST(SimulatorPeer, BurstThatNeedNotWaitMayBeLarger)
{
    TakingPeer peer;
    const QVector<QByteArray> burst(10, QByteArray(1 << 20, 'p'));
    EXPECT_EQ(peer.send(burst, 0), Peer::Sending::Done);
    EXPECT_EQ(peer.writes, burst.size());
}

/** A line that says whether it is read. */
class NotedTransport final : public Transport
{
public:
    bool open() override { return true; }
    void close() override {}
    bool isOpen() const override { return true; }
    void setReading(bool on) override { isReading = on; }
    QString url() const override { return QStringLiteral("noted:"); }
    QString errorString() const override { return {}; }

    bool isReading = true;
};

TEST(SimulatedDeviceBounds, DeviceFullOfDelayedRepliesReadsNoMoreUntilOneHasLeft)
{
    DeviceSettings settings;
    settings.delayMs = 50;
    settings.mostDelayed = 100'000;
    const EventLog log(false);
    auto *const transport = new NotedTransport;
    PlayedDevice device(settings, std::unique_ptr<Transport>(transport), log);
    const auto peer = std::make_shared<TakingPeer>();
    model_Protocoldata command;
    command.ucHead[1] = 0x01; // no rule: it comes back as it is
    command.baData = QByteArray(30'000, 'x');
    const QByteArray frame = peer->codec->encode(command);

    int commands = 0;
    while (transport->isReading && commands < 100) {
        Q_EMIT transport->received(peer, frame);
        ++commands;
    }
    EXPECT_EQ(commands, 4);
    EXPECT_TRUE(waitFor([&] { return transport->isReading; }));
    EXPECT_TRUE(waitFor([&] { return peer->writes == commands; }));
    EXPECT_EQ(device.tally().lost, 0U);
}

/** A network that takes every datagram. */
class TakingNetwork final : public OsdNetwork
{
public:
    bool bind(int, const QHostAddress &, quint16) override { return true; }
    quint16 portOf(int) const override { return 1; }
    bool isBound(int) const override { return true; }
    void unbind(int) override {}
    bool send(int, const QByteArray &, const ReturnAddress &) override { return true; }
    QString errorString() const override { return {}; }
};

TEST(SimulatedDeviceBounds, OsdDevicesFullOfDelayedRepliesLoseFurtherOnes)
{
    OsdSettings settings;
    settings.first = QHostAddress(QStringLiteral("127.1.0.1")).toIPv4Address();
    settings.count = 1;
    settings.delayMs = 50;
    settings.mostDelayed = 10'000;
    const EventLog log(false);
    auto *const network = new TakingNetwork;
    PlayedOsdDevices devices(settings, std::unique_ptr<OsdNetwork>(network), log);
    const QByteArray datagram = biz::host::OsdDatagramCodec::encode({});
    constexpr quint64 commands = 100;
    for (quint64 i = 0; i < commands; ++i) {
        Q_EMIT network->received(0, datagram, {});
    }
    EXPECT_GT(devices.tally().lost, commands / 2);
    EXPECT_TRUE(waitFor([&] { return devices.tally().replies + devices.tally().lost == commands; }));
}

} // namespace
