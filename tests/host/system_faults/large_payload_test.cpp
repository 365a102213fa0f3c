#include <map>
#include <memory>
#include <vector>

#include <QtCore/QTimer>
#include <QtNetwork/QNetworkDatagram>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QUdpSocket>

#include <gtest/gtest.h>

#include <host/datagram_transport.h>
#include <host/device_host.h>
#include <host/osd_datagram_codec.h>
#include <host/osd_host.h>
#include <host/outages/tcp_device.h>
#include <host/outages/udp_device.h>
#include <host/support/wait_for.h>

#include "memory_limit.h"

using namespace biz::host;
using namespace biz::test;

// Memory for a large payload cannot be had, while there is enough for all else.

namespace {

constexpr int large = 60000;
const QByteArray largePayload(large, 'x'); // made while there is memory
constexpr std::size_t refusedFrom = 50000;
constexpr int waitMs = 400;

/** A host on a device that answers each command with the command itself. */
template<typename Device>
class LargePayload : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(host.setLink(QUrl(device.url())) && host.setReconnectInterval(10));
        QObject::connect(&host, &DeviceHost::ended, &host,
                         [this](Ticket ticket, const CommandResult &result) { ends[ticket] = result; });
        QObject::connect(&host, &DeviceHost::refused, &host, [this] { ++refused; });
        ASSERT_TRUE(host.start()) << host.errorString().toStdString();
        ASSERT_TRUE(waitFor([this] { return host.linkStatus().state == LinkState::Up; }));
    }

    CommandResult exchange(const QByteArray &payload)
    {
        model_Protocoldata command = makeCommand(0x68, 0x12, payload);
        command.iWaitTime = waitMs;
        const Ticket ticket = host.enqueue(command);
        EXPECT_NE(ticket, 0U) << host.errorString().toStdString();
        EXPECT_TRUE(waitFor([&] { return ends.count(ticket) != 0; }));
        return ends[ticket];
    }

    void expectThatItGoesOn()
    {
        ASSERT_TRUE(waitFor([this] { return host.linkStatus().state == LinkState::Up; }));
        EXPECT_EQ(outcomeName(exchange(largePayload).outcome), "answered");
    }

    Device device;
    DeviceHost host;
    std::map<Ticket, CommandResult> ends;
    int refused = 0;
};

using LargePayloadOverTcp = LargePayload<TcpDevice>;
using LargePayloadOverUdp = LargePayload<UdpDevice>;

/** A network of one device, which answers with what it is told to. */
class OneDevice final : public DatagramTransport
{
    Q_OBJECT

public:
    QString open(const QHostAddress & /*local*/) override { return {}; }
    void close() override {}
    void readPending() override {}

    SendResult send(const QHostAddress &device, quint16 /*port*/, const QByteArray & /*datagram*/) override
    {
        QTimer::singleShot(0, this, [this, device] { Q_EMIT received(device, reply); });
        return {};
    }

    QByteArray reply;
};

/** An OSD host on that network. */
class LargeOsdPayload : public ::testing::Test
{
protected:
    void SetUp() override
    {
        auto transport = std::make_unique<OneDevice>();
        network = transport.get();
        network->reply = OsdDatagramCodec::encode(commandOf(largePayload));
        ASSERT_TRUE(host.setTransport(std::move(transport)));
        QObject::connect(&host, &OsdHost::ended, &host,
                         [this](Ticket ticket, const OsdCommandResult &result) { ends[ticket] = result; });
        ASSERT_TRUE(host.start()) << host.errorString().toStdString();
    }

    static model_OsdParam commandOf(const QByteArray &payload)
    {
        model_OsdParam command;
        command.qsIp = QStringLiteral("10.0.0.1");
        command.iWaitTime = 1000;
        command.baData = payload;
        return command;
    }

    OsdCommandResult exchange(const QByteArray &payload)
    {
        const Ticket ticket = host.enqueue(commandOf(payload));
        EXPECT_NE(ticket, 0U) << host.errorString().toStdString();
        EXPECT_TRUE(waitFor([&] { return ends.count(ticket) != 0; }));
        return ends[ticket];
    }

    OneDevice *network = nullptr;
    OsdHost host;
    std::map<Ticket, OsdCommandResult> ends;
};

} // namespace

TEST_F(LargePayloadOverTcp, ACommandWithoutMemoryForItsFrameIsGivenUpAndTheNextIsAnswered)
{
    {
        const MemoryLimit limit(refusedFrom);
        const CommandResult result = exchange(largePayload);
        EXPECT_EQ(outcomeName(result.outcome), "gaveUp");
        EXPECT_TRUE(result.reason.contains("want of memory")) << result.reason.toStdString();
        EXPECT_EQ(outcomeName(exchange("x").outcome), "answered") << "a small one needs no more than there is";
        EXPECT_GT(limit.refusals(), 0);
    }
    expectThatItGoesOn();
}

TEST_F(LargePayloadOverUdp, ACommandWithoutMemoryForItsDatagramIsGivenUpAndTheNextIsAnswered)
{
    {
        const MemoryLimit limit(refusedFrom);
        EXPECT_EQ(outcomeName(exchange(largePayload).outcome), "gaveUp");
    }
    expectThatItGoesOn();
}

TEST(LargePayloadOnALink, WhatTcpCannotKeepForLaterEndsTheConnection)
{
    QTcpServer device;
    ASSERT_TRUE(device.listen(QHostAddress::LocalHost));
    const auto link = makeLink(QUrl(QStringLiteral("tcp://127.0.0.1:%1").arg(device.serverPort())), nullptr);
    QString why;
    QObject::connect(link.get(), &DeviceLink::closed, link.get(), [&why](const QString &reason) { why = reason; });
    link->open();
    ASSERT_TRUE(waitFor([&] { return link->isOpen(); }));
    constexpr int moreThanTheSystemTakes = 64 * 1024 * 1024;
    const QByteArray bytes(moreThanTheSystemTakes, 'x');
    {
        const MemoryLimit limit(refusedFrom);
        EXPECT_FALSE(link->write(bytes));
    }
    EXPECT_FALSE(link->isOpen());
    EXPECT_TRUE(why.endsWith("there is no memory for it")) << why.toStdString();
}

TEST(LargePayloadOnALink, ADatagramWithoutMemoryForItIsDroppedAndTheNextIsReceived)
{
    QUdpSocket device;
    ASSERT_TRUE(device.bind(QHostAddress::LocalHost));
    const auto link = makeLink(QUrl(QStringLiteral("udp://127.0.0.1:%1").arg(device.localPort())), nullptr);
    std::vector<int> sizes;
    QObject::connect(link.get(), &DeviceLink::received, link.get(),
                     [&sizes](const QByteArray &bytes) { sizes.push_back(static_cast<int>(bytes.size())); });
    link->open();
    ASSERT_TRUE(waitFor([&] { return link->isOpen(); }));
    ASSERT_TRUE(link->write("here is the host"));
    ASSERT_TRUE(waitFor([&] { return device.hasPendingDatagrams(); }));
    const QNetworkDatagram call = device.receiveDatagram();
    const QNetworkDatagram reply = call.makeReply(largePayload);
    {
        const MemoryLimit limit(refusedFrom);
        device.writeDatagram(reply);
        device.writeDatagram(call.makeReply("small"));
        ASSERT_TRUE(waitFor([&] { return !sizes.empty(); }));
    }
    device.writeDatagram(reply);
    ASSERT_TRUE(waitFor([&] { return sizes.size() == 2; }));
    EXPECT_EQ(sizes, (std::vector<int>{5, large}));
}

TEST_F(LargeOsdPayload, ACommandWithoutMemoryForItsDatagramIsGivenUpAndTheNextIsAnswered)
{
    {
        const MemoryLimit limit(refusedFrom);
        const OsdCommandResult result = exchange(largePayload);
        EXPECT_EQ(outcomeName(result.outcome), "gaveUp");
        EXPECT_TRUE(result.reason.contains("no memory")) << result.reason.toStdString();
    }
    EXPECT_EQ(outcomeName(exchange(largePayload).outcome), "answered");
}

TEST_F(LargeOsdPayload, AReplyWithoutMemoryForItIsRefusedAndTheNextIsTaken)
{
    {
        const MemoryLimit limit(refusedFrom);
        EXPECT_EQ(outcomeName(exchange("x").outcome), "gaveUp");
        EXPECT_EQ(host.counters().refusedFrames, 1U);
        EXPECT_EQ(limit.refusals(), 1);
    }
    EXPECT_EQ(outcomeName(exchange("x").outcome), "answered");
}

namespace {

/** What a decoder makes of a large frame, in parts, while there is no memory for it. */
Decoded decodedWithoutMemory(FrameCodec &codec, const QByteArray &frame, int part)
{
    Decoded all;
    const MemoryLimit limit(refusedFrom);
    const auto size = static_cast<int>(frame.size());
    for (int at = 0; at < size; at += part) {
        const QByteArray bytes = QByteArray::fromRawData(frame.constData() + at, std::min(part, size - at));
        const Decoded decoded = codec.decode(bytes);
        all.records += decoded.records;
        all.refusals += decoded.refusals;
    }
    EXPECT_GT(limit.refusals(), 0);
    return all;
}

void expectRefusedOnce(const Decoded &decoded)
{
    EXPECT_TRUE(decoded.records.isEmpty());
    ASSERT_FALSE(decoded.refusals.isEmpty());
    EXPECT_EQ(decoded.refusals.constFirst().reason, "there is no memory for it");
}

} // namespace

TEST(LargePayloadInADecoder, AFrameInOnePieceIsRefusedAndTheNextIsRead)
{
    DemoFrameCodec codec;
    const QByteArray frame = codec.encode(makeCommand(0x68, 0x12, largePayload));
    expectRefusedOnce(decodedWithoutMemory(codec, frame, static_cast<int>(frame.size())));
    EXPECT_EQ(codec.decode(frame).records.size(), 1);
}

TEST(LargePayloadInADecoder, AFrameInManyPiecesIsRefusedAndTheNextIsRead)
{
    DemoFrameCodec codec;
    const QByteArray frame = codec.encode(makeCommand(0x68, 0x12, largePayload));
    const Decoded decoded = decodedWithoutMemory(codec, frame, 1000);
    expectRefusedOnce(decoded);
    int refused = 0;
    for (const Refusal &refusal : decoded.refusals) {
        refused += refusal.bytes;
    }
    EXPECT_EQ(refused, frame.size() - 1) << "all but the zero at its end";
    EXPECT_EQ(codec.decode(frame).records.size(), 1);
}

TEST(LargePayloadInADecoder, ADatagramIsRefusedAndTheNextIsRead)
{
    DemoDatagramCodec codec;
    const QByteArray datagram = codec.encode(makeCommand(0x68, 0x12, largePayload));
    expectRefusedOnce(decodedWithoutMemory(codec, datagram, static_cast<int>(datagram.size())));
    EXPECT_EQ(codec.decode(datagram).records.size(), 1);
}

#include "large_payload_test.moc"
