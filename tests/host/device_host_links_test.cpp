#include <QtNetwork/QNetworkDatagram>
#include <QtNetwork/QUdpSocket>

#include "device_host_fixture.h"
#include "pseudo_terminal.h"

using namespace biz::host;
using namespace biz::test;

namespace {

/** A device host on a link that makeLink() made. */
class DeviceHostLinks : public DeviceHostFixture
{
protected:
    void setLink(const QString &url)
    {
        QString error;
        link = nullptr;
        host->setLink(makeLink(QUrl(url), &error));
        ASSERT_EQ(error, QString());
    }

    /** The device answers each whole command in the bytes with the command itself. */
    QByteArray answersTo(const QByteArray &bytes)
    {
        QByteArray answers;
        const Decoded decoded = m_device.decode(bytes);
        for (const model_Protocoldata &command : decoded.records) {
            answers += m_device.encode(command);
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

private:
    DemoFrameCodec m_device;
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
    QUdpSocket device;
    ASSERT_TRUE(device.bind(QHostAddress(QStringLiteral("127.0.0.1")), 0));
    QObject::connect(&device, &QUdpSocket::readyRead, &device, [&] {
        while (device.hasPendingDatagrams()) {
            const QNetworkDatagram datagram = device.receiveDatagram();
            device.writeDatagram(datagram.makeReply(answersTo(datagram.data())));
        }
    });
    setLink(QStringLiteral("udp://127.0.0.1:%1").arg(device.localPort()));
    start();
    const std::set<Ticket> tickets{enqueue(command(longWaitMs, everyByte())),
                                   enqueue(command(longWaitMs, everyByte()))};
    ASSERT_TRUE(waitFor([&] { return seen.ends().size() == tickets.size(); }));
    expectAnswered(tickets, everyByte());
}

TEST_F(DeviceHostLinks, CommandsAreAnsweredOverASerialLine)
{
    PseudoTerminal line;
    setLink(QStringLiteral("serial://") + line.port());
    start();
    const std::set<Ticket> tickets{enqueue(command(longWaitMs, everyByte())),
                                   enqueue(command(longWaitMs, everyByte()))};
    ASSERT_TRUE(waitFor([&] {
        const QByteArray answers = answersTo(line.read());
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
    const Ticket inFlight = enqueue(shortWaitMs);
    ASSERT_TRUE(waitFor([&] { return !line.read().isEmpty(); }));
    line.hangUp();
    ASSERT_TRUE(waitFor([this] { return seen.count("linkClosed") == 1; }));
    const Ticket next = enqueue(shortWaitMs);
    ASSERT_TRUE(waitForEnd(next));
    EXPECT_EQ(seen.outcomeOf(inFlight), "gaveUp");
    EXPECT_EQ(seen.outcomeOf(next), "gaveUp");
    EXPECT_TRUE(host->stop().clean());
}
