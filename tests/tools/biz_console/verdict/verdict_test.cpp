#include <csignal>

#include <QtCore/QEventLoop>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QTimer>

#include <tools/support/console_process.h>

// When a run is judged, and what it says when it cannot say all.

using namespace biz::test;

namespace {

class ConsoleVerdict : public ConsoleProcess
{
protected:
    static void answerTwice(FakeDevice &device, const model_Protocoldata &command)
    {
        device.send(command);
        device.send(command);
    }

    /** That a command ends with status 1, and says why, on a full disk. */
    static void expectOutputMissed(const QStringList &arguments)
    {
        QProcess console;
        console.setStandardOutputFile("/dev/full");
        QEventLoop loop;
        QObject::connect(&console, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop, &QEventLoop::quit);
        QTimer::singleShot(20000, &loop, &QEventLoop::quit);
        console.start(BIZ_CONSOLE, arguments);
        loop.exec();
        EXPECT_EQ(console.state(), QProcess::NotRunning) << qPrintable(arguments.join(' '));
        EXPECT_EQ(console.exitCode(), 1) << qPrintable(arguments.join(' '));
        EXPECT_EQ(console.readAllStandardError().count("the output cannot be written"), 1)
            << qPrintable(arguments.join(' '));
        console.kill();
        console.waitForFinished();
    }

    static QString lastEvent(const QByteArray &lines)
    {
        const QByteArray last = lines.trimmed().split('\n').last();
        return QJsonDocument::fromJson(last).object().value("event").toString();
    }
};

TEST_F(ConsoleVerdict, CountsARepliesDuplicateAfterTheLastEndEveryTime)
{
    constexpr int runs = 20;
    const QString played = session(getVolumeTimes(2));
    for (int i = 0; i < runs; ++i) {
        FakeDevice device(answerTwice);
        RunningConsole console(runArguments(played, device.url()));
        ASSERT_EQ(console.exitStatus(), 1) << "run " << i << qPrintable(console.output());
    }
}

TEST_F(ConsoleVerdict, IsTheLastThatIsTold)
{
    FakeDevice device(answerTwice);
    RunningConsole console(runArguments(session(getVolume), device.url()) + QStringList{"--json"});
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_EQ(lastEvent(console.output().toUtf8()), QStringLiteral("summary"));
}

TEST_F(ConsoleVerdict, OverUdpWaitsForRepliesAsLongAsACommandMay)
{
    constexpr int withinTheWaitMs = 60;
    QUdpSocket device;
    ASSERT_TRUE(device.bind(QHostAddress(QHostAddress::LocalHost), 0));
    QObject::connect(&device, &QUdpSocket::readyRead, &device, [&device] {
        const QNetworkDatagram datagram = device.receiveDatagram();
        device.writeDatagram(datagram.makeReply(datagram.data()));
        QTimer::singleShot(withinTheWaitMs, &device,
                           [&device, datagram] { device.writeDatagram(datagram.makeReply(datagram.data())); });
    });
    RunningConsole console(
        runArguments(session(getVolume), QStringLiteral("udp://127.0.0.1:%1").arg(device.localPort())));
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().contains("was answered with duplicate")) << qPrintable(console.output());
}

TEST_F(ConsoleVerdict, OfARunThatNobodyCanHearOfIsNotThatAllWasAsExpected)
{
    FakeDevice device(FakeDevice::echo);
    for (const QStringList &form : {QStringList(), QStringList{"--json"}, QStringList{"--quiet"}}) {
        expectOutputMissed(runArguments(session(getVolume), device.url()) + form);
    }
}

TEST_F(ConsoleVerdict, OfACommandThatOnlyPrintsNeedsAReaderToo)
{
    const QString log = write("some.log", "[ORLIXA2][2024-05-06 14:03:22 517]<f1 05 00 81 00>0000\n");
    for (const QStringList &arguments :
         {QStringList{"--help"}, QStringList{"--version"}, QStringList{"run", "--help"}, QStringList{"rules", "A2"},
          QStringList{"log", log}, QStringList{"log", "--json", log}, QStringList{"log", "--follow", log},
          QStringList{"show", log}, QStringList{"report", log, "--out", file("page.html")}}) {
        expectOutputMissed(arguments);
    }
}

TEST_F(ConsoleVerdict, ARunWithoutEndEndsWhenItsReaderHasGone)
{
    FakeDevice device(FakeDevice::echo);
    EXPECT_EQ(statusWithoutReader(runArguments(session(getVolume), device.url())), "1\n");
}

TEST_F(ConsoleVerdict, ARunOverUdpEndsInOrderWhenItsReaderHasGone)
{
    QUdpSocket device;
    ASSERT_TRUE(device.bind(QHostAddress(QHostAddress::LocalHost), 0));
    QObject::connect(&device, &QUdpSocket::readyRead, &device, [&device] {
        const QNetworkDatagram datagram = device.receiveDatagram();
        device.writeDatagram(datagram.makeReply(datagram.data()));
    });
    const QStringList arguments =
        runArguments(session(getVolume), QStringLiteral("udp://127.0.0.1:%1").arg(device.localPort()));
    EXPECT_EQ(statusWithoutReader(arguments + QStringList{"--record", file("recording.jsonl")}), "1\n");
    EXPECT_EQ(lastEvent(contentOf("recording.jsonl")), QStringLiteral("summary"));
}

TEST_F(ConsoleVerdict, ARecordingHoldsNothingElseWhenTheStandardStreamsAreClosed)
{
    FakeDevice device(FakeDevice::echo);
    QProcess shell;
    QEventLoop loop;
    QObject::connect(&shell, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), &loop, &QEventLoop::quit);
    QTimer::singleShot(20000, &loop, &QEventLoop::quit);
    shell.start("/bin/sh", QStringList{"-c", R"("$0" "$@" <&- >&- 2>&-)", QStringLiteral(BIZ_CONSOLE)} +
                               runArguments(session(getVolume), device.url()) +
                               QStringList{"--record", file("recording.jsonl")});
    loop.exec();
    EXPECT_EQ(shell.exitCode(), 1) << "nobody could hear of it";
    const QList<QByteArray> lines = contentOf("recording.jsonl").trimmed().split('\n');
    for (const QByteArray &line : lines) {
        EXPECT_TRUE(QJsonDocument::fromJson(line).isObject()) << line.constData();
    }
    EXPECT_EQ(lastEvent(lines.last()), QStringLiteral("summary"));
}

TEST_F(ConsoleVerdict, AHangUpOfTheTerminalIsAnInterruption)
{
    FakeDevice device(FakeDevice::stayAway);
    RunningConsole console(runArguments(session(getVolumeTimes(1000)), device.url()) +
                           QStringList{"--record", file("recording.jsonl")});
    ASSERT_TRUE(console.waitForOutput("sent"));
    console.sendSignal(SIGHUP);
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().contains("summary"));
    EXPECT_EQ(lastEvent(contentOf("recording.jsonl")), QStringLiteral("summary"));
}

TEST_F(ConsoleVerdict, SaysThatTheErrorLogCouldNotBeWritten)
{
    FakeDevice device(FakeDevice::answerShort);
    ASSERT_TRUE(QDir().mkpath(file("logs")));
    write("logs/Errorlog", "no folder");
    RunningConsole console(runArguments(session(refusedCommand, "\"0x1400\""), device.url()));
    console.exitStatus();
    EXPECT_TRUE(console.output().contains("error log         could not be written")) << qPrintable(console.output());
}

TEST_F(ConsoleVerdict, OfOneCommandIsWordedForOne)
{
    FakeDevice device(FakeDevice::echo);
    RunningConsole console(runArguments(session(getVolume), device.url()));
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().contains("\n  1 command ended as expected\n")) << qPrintable(console.output());
}

class ConsoleOsdVerdict : public ConsoleOsd
{
};

TEST_F(ConsoleOsdVerdict, ARunEndsInOrderWhenItsReaderHasGone)
{
    const QStringList arguments = osdArguments(osdSession(R"(["127.3.0.2"])")) + QStringList{"--events"};
    EXPECT_EQ(statusWithoutReader(arguments + QStringList{"--record", file("recording.jsonl")}), "1\n");
    EXPECT_TRUE(contentOf("recording.jsonl").trimmed().split('\n').last().contains("\"summary\""));
}

TEST_F(ConsoleOsdVerdict, NamesTheDevicesThatAreSilentAndSinceWhen)
{
    RunningConsole console(osdArguments(osdSession(R"(["127.3.0.2"])")));
    console.exitStatus();
    const QStringList silent =
        console.outputLines().filter(QRegularExpression("^127\\.3\\.0\\.2 .*silent since \\d\\d:"));
    EXPECT_EQ(silent.size(), 1) << qPrintable(console.output());
}

TEST_F(ConsoleOsdVerdict, DoesNotCallDevicesAnsweringThatWereNotReached)
{
    RunningConsole console({"osd", osdSession("[]"), "--port", "9", "--bind", "127.0.0.1"});
    console.exitStatus();
    EXPECT_FALSE(console.output().contains("answering device")) << qPrintable(console.output());
}

} // namespace
