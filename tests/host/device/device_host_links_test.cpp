#include <QtNetwork/QNetworkDatagram>
#include <QtNetwork/QUdpSocket>

#include "device_host_fixture.h"
#include <host/support/pseudo_terminal.h>

using namespace biz::host;
using namespace biz::test;

namespace {

/** A device host on a link that makeLink() made. */
class DeviceHostLinks : public DeviceHostFixture
{
protected:
    void setLink(const QString &url)
    {
        link = nullptr;
        ASSERT_TRUE(host->setLink(QUrl(url))) << host->errorString().toStdString();
    }

    /** The device answers each whole command in the bytes with the command itself. */
    static QByteArray answersTo(const QByteArray &bytes, FrameCodec &codec)
    {
        QByteArray answers;
        const Decoded decoded = codec.decode(bytes);
        for (const model_Protocoldata &command : decoded.records) {
            answers += codec.encode(command);
        }
        return answers;
    }

    void expectAnswered(const std::set<Ticket> &tickets, const QByteArray &payload)
    {
        for (const Ticket ticket : tickets) {
            EXPECT_EQ(seen.outcomeOf(ticket), "answered");
            EXPECT_EQ(seen.endOf(ticket).reply.baData, payload);
        }
        EXPECT_EQ(host->counters().refusedBytes, 0U);
    }
};

/** All byte values, those that a terminal would take for control characters included. */
QByteArray everyByte()
{
    QByteArray bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes.append(static_cast<char>(byte));
    }
    return bytes;
}

} // namespace

TEST_F(DeviceHostLinks, CommandsAreAnsweredOverUdp)
{
    DemoDatagramCodec codec;
    QUdpSocket device;
    ASSERT_TRUE(device.bind(QHostAddress(QStringLiteral("127.0.0.1")), 0));
    QObject::connect(&device, &QUdpSocket::readyRead, &device, [&] {
        while (device.hasPendingDatagrams()) {
            const QNetworkDatagram datagram = device.receiveDatagram();
            device.writeDatagram(datagram.makeReply(answersTo(datagram.data(), codec)));
        }
    });
    setLink(QStringLiteral("udp://127.0.0.1:%1").arg(device.localPort()));
    start();
    const std::set<Ticket> tickets{enqueue(everyByte()), enqueue(everyByte())};
    ASSERT_TRUE(waitFor([&] { return seen.ends().size() == tickets.size(); }));
    expectAnswered(tickets, everyByte());
}

TEST_F(DeviceHostLinks, CommandsAreAnsweredOverASerialLine)
{
    DemoFrameCodec codec;
    PseudoTerminal line;
    setLink(QStringLiteral("serial://") + line.port());
    start();
    const std::set<Ticket> tickets{enqueue(everyByte()), enqueue(everyByte())};
    ASSERT_TRUE(waitFor([&] {
        const QByteArray answers = answersTo(line.read(), codec);
        if (!answers.isEmpty()) {
            line.write(answers);
        }
        return seen.ends().size() == tickets.size();
    }));
    expectAnswered(tickets, everyByte());
}

TEST_F(DeviceHostLinks, ASerialLineThatIsPulledOutIsToldAndCommandsStillEnd)
{
    PseudoTerminal line;
    setLink(QStringLiteral("serial://") + line.port());
    start();
    const Ticket inFlight = enqueue();
    ASSERT_TRUE(waitFor([&] { return seen.countFor(inFlight, "sent") == 1; }));
    line.hangUp();
    ASSERT_TRUE(waitFor([this] { return seen.count(LinkState::Lost) == 1; }));
    const Ticket next = enqueue();
    ASSERT_TRUE(waitForEnd(next));
    EXPECT_EQ(seen.outcomeOf(inFlight), "unreachable");
    EXPECT_EQ(seen.outcomeOf(next), "unreachable");
    EXPECT_TRUE(host->stop().clean());
}
