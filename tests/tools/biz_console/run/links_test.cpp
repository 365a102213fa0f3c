#include <csignal>

#include <QtCore/QTimer>

#include <host/support/pseudo_terminal.h>
#include <tools/support/console_process.h>

// Commands over each kind of link. The far ends send back what they get: a command is a good
// reply to itself.

using namespace biz::test;

namespace {

class ConsoleLinks : public ConsoleProcess
{
};

/** A device at the far end of a serial line. */
class SerialEcho
{
public:
    SerialEcho()
    {
        QObject::connect(&m_poll, &QTimer::timeout, &m_poll, [this] { echo(); });
        m_poll.start(1);
    }

    QString url() const { return QStringLiteral("serial://") + m_line.port(); }
    void hangUpAfter(int commands) { m_commandsLeft = commands; }

private:
    void echo()
    {
        const QByteArray bytes = m_line.read();
        if (bytes.isEmpty()) {
            return;
        }
        if (m_commandsLeft-- == 0) {
            m_poll.stop();
            m_line.hangUp();
            return;
        }
        m_line.write(bytes);
    }

    PseudoTerminal m_line;
    QTimer m_poll;
    int m_commandsLeft = -1;
};

TEST_F(ConsoleLinks, ASessionIsPlayedOverUdp)
{
    QUdpSocket device;
    ASSERT_TRUE(device.bind(QHostAddress(QHostAddress::LocalHost), 0));
    QObject::connect(&device, &QUdpSocket::readyRead, &device, [&device] {
        while (device.hasPendingDatagrams()) {
            const QNetworkDatagram datagram = device.receiveDatagram();
            device.writeDatagram(datagram.makeReply(datagram.data()));
        }
    });
    const QString url = QStringLiteral("udp://127.0.0.1:%1").arg(device.localPort());
    RunningConsole console(runArguments(session(getVolumeTimes(3)), url));
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output() + console.errors());
    EXPECT_TRUE(console.output().contains("  answered          3\n"));
}

TEST_F(ConsoleLinks, OverUdpSilenceIsASilentDeviceAndNotALinkThatFailed)
{
    QUdpSocket silent;
    ASSERT_TRUE(silent.bind(QHostAddress(QHostAddress::LocalHost), 0));
    const QString url = QStringLiteral("udp://127.0.0.1:%1").arg(silent.localPort());
    RunningConsole console(runArguments(session(getVolume), url));
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().contains("expected answered without events, was gaveUp with resent"));
}

TEST_F(ConsoleLinks, ASessionIsPlayedOverASerialLine)
{
    SerialEcho device;
    RunningConsole console(runArguments(session(getVolumeTimes(3)), device.url() + "?baud=9600"));
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output() + console.errors());
    EXPECT_TRUE(console.output().contains("  answered          3\n"));
}

TEST_F(ConsoleLinks, ARunOverASerialLineEndsInOrderWhenItsReaderHasGone)
{
    SerialEcho device;
    const QStringList arguments = runArguments(session(getVolume), device.url());
    EXPECT_EQ(statusWithoutReader(arguments + QStringList{"--record", file("recording.jsonl")}), "1\n");
    EXPECT_TRUE(contentOf("recording.jsonl").trimmed().split('\n').last().contains("\"summary\""));
}

TEST_F(ConsoleLinks, ASerialPortThatGoesAwayIsStatusThree)
{
    SerialEcho device;
    device.hangUpAfter(2);
    RunningConsole console(runArguments(session(getVolumeTimes(1000)), device.url()));
    EXPECT_EQ(console.exitStatus(), 3) << qPrintable(console.output());
    EXPECT_TRUE(console.errors().contains("was closed: it hung up")) << qPrintable(console.errors());
}

TEST_F(ConsoleLinks, WithReconnectTheRunStaysThroughAnOutageAndTellsIt)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) {
        if (self.commands() == 2) {
            self.closeLink();
        } else {
            self.send(command);
        }
    });
    RunningConsole console(runArguments(session(getVolumeTimes(4)), device.url()) + QStringList{"--reconnect"});
    EXPECT_EQ(console.exitStatus(), 1) << qPrintable(console.errors());
    EXPECT_EQ(console.errors(), "");
    EXPECT_TRUE(console.output().contains("  link lost: " + device.url() + " was closed"))
        << qPrintable(console.output());
    EXPECT_TRUE(console.output().contains("  link up: after an outage of ")) << qPrintable(console.output());
    EXPECT_TRUE(console.output().contains("get volume (2 of 4): expected answered without events, was unreachable"))
        << qPrintable(console.output());
    EXPECT_TRUE(console.output().contains("  answered          3\n"));
}

TEST_F(ConsoleLinks, AQuietRunTellsOfOutagesToo)
{
    for (const bool isJson : {false, true}) {
        FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) {
            if (self.commands() == 2) {
                self.closeLink();
            } else {
                self.send(command);
            }
        });
        RunningConsole console(runArguments(session(getVolumeTimes(4)), device.url()) +
                               QStringList{"--reconnect", "--quiet"} +
                               (isJson ? QStringList{"--json"} : QStringList()));
        EXPECT_EQ(console.exitStatus(), 1) << qPrintable(console.errors());
        EXPECT_EQ(console.outputLines().filter(isJson ? "\"linkStateChanged\"" : "  link ").size(), 2)
            << qPrintable(console.output());
    }
}

TEST_F(ConsoleLinks, WithReconnectAnInterruptEndsTheWaitForADevice)
{
    RunningConsole console(runArguments(session(getVolume), "tcp://127.0.0.1:1") + QStringList{"--reconnect"});
    ASSERT_TRUE(console.waitForOutput("link lost: cannot reach tcp://127.0.0.1:1"));
    console.sendSignal(SIGINT);
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_EQ(console.errors(), "biz_console: interrupted\n");
}

TEST_F(ConsoleLinks, ASerialPortThatIsNotThereIsStatusThree)
{
    RunningConsole console(runArguments(session(getVolume), "serial:///dev/no-such-port"));
    EXPECT_EQ(console.exitStatus(), 3);
    EXPECT_TRUE(console.errors().startsWith("biz_console: cannot open serial:///dev/no-such-port?"))
        << qPrintable(console.errors());
}

} // namespace
