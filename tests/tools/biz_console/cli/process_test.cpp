#include <gtest/gtest.h>

#include <csignal>

#include <QtCore/QElapsedTimer>
#include <QtCore/QRegularExpression>

#include <tools/support/console_process.h>

using namespace biz::test;

namespace {

// --- run ------------------------------------------------------------------------------

TEST_F(ConsoleProcess, ExitsWithZeroWhenEveryCommandEndedAsExpected)
{
    FakeDevice device(FakeDevice::echo);
    RunningConsole console(runArguments(session(getVolumeTimes(3)), device.url()));
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_EQ(device.commands(), 3);
    EXPECT_TRUE(console.output().contains("  answered          3\n")) << qPrintable(console.output());
    EXPECT_TRUE(console.output().contains("all 3 commands ended as expected"));
    EXPECT_EQ(console.errors(), "");
}

TEST_F(ConsoleProcess, ShowsEachEventAsALine)
{
    FakeDevice device(FakeDevice::echo);
    RunningConsole console(runArguments(session(getVolume), device.url()));
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_EQ(console.outputLines().filter("F1/08 get volume").size(), 2);
    EXPECT_EQ(console.outputLines().filter(QRegularExpression("^\\d\\d:.*F1/08 get volume +sent$")).size(), 1);
    EXPECT_EQ(console.outputLines().filter(QRegularExpression("F1/08 get volume +answered +[0-9.]+ ms$")).size(), 1);
}

TEST_F(ConsoleProcess, QuietShowsTheSummaryOnly)
{
    FakeDevice device(FakeDevice::echo);
    RunningConsole console(runArguments(session(getVolume), device.url()) + QStringList{"--quiet"});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().startsWith("\nsummary\n")) << qPrintable(console.output());
}

TEST_F(ConsoleProcess, ExitsWithOneAndNamesWhatWasNotAsExpected)
{
    FakeDevice device(FakeDevice::stayAway);
    RunningConsole console(runArguments(session(getVolume), device.url()));
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().contains("get volume: expected answered without events, was gaveUp with resent (no "
                                          "acceptable reply came"))
        << qPrintable(console.output());
    EXPECT_TRUE(console.output().contains("1 of 1 command did not end as expected"));
}

TEST_F(ConsoleProcess, ADuplicateReplyThatIsExpectedIsWaitedFor)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) {
        self.send(command);
        self.sendAfter(300, command);
    });
    RunningConsole console(
        runArguments(session(R"({"head": "F1 08 03 62 01 00", "expect": {"events": ["duplicate"]}})"), device.url()));
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output());
}

TEST_F(ConsoleProcess, AnExpectedReplyThatNeverComesIsNotWaitedForLongerThanTheGraceTime)
{
    FakeDevice device(FakeDevice::echo);
    QElapsedTimer time;
    time.start();
    RunningConsole console(
        runArguments(session(R"({"head": "F1 08 03 62 01 00", "expect": {"events": ["duplicate"]}})"), device.url()));
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().contains("F1/08: expected answered with duplicate, was answered without events"));
    EXPECT_LT(time.elapsed(), 2 * stopLimitMs);
}

TEST_F(ConsoleProcess, ExitsWithThreeWhenTheDeviceCannotBeReached)
{
    RunningConsole console(runArguments(session(getVolumeTimes(4)), "tcp://127.0.0.1:1"));
    EXPECT_EQ(console.exitStatus(), 3);
    EXPECT_TRUE(console.errors().startsWith("biz_console: cannot reach tcp://127.0.0.1:1: "));
    EXPECT_TRUE(console.output().contains("stopped before they ended\n  get volume (4 times)\n"))
        << qPrintable(console.output());
}

TEST_F(ConsoleProcess, ExitsWithThreeWithinTwoSecondsWhenTheLinkCloses)
{
    QElapsedTimer sinceClosed;
    FakeDevice device([&](FakeDevice &self, const model_Protocoldata &command) {
        if (self.commands() < 3) {
            self.send(command);
        } else {
            sinceClosed.start();
            self.closeLink();
        }
    });
    RunningConsole console(runArguments(session(getVolumeTimes(10)), device.url()));
    EXPECT_EQ(console.exitStatus(), 3);
    EXPECT_LT(sinceClosed.elapsed(), stopLimitMs);
    EXPECT_TRUE(console.errors().contains("was closed")) << qPrintable(console.errors());
    EXPECT_TRUE(console.output().contains("  answered          2\n"));
    EXPECT_TRUE(console.output().contains("  unreachable       1\n"));
    EXPECT_TRUE(console.output().contains("  stopped           7\n"));
    EXPECT_TRUE(console.output().contains("  get volume (7 times)\n")) << qPrintable(console.output());
}

class ConsoleInterrupted : public ConsoleProcess, public testing::WithParamInterface<int>
{
};

TEST_P(ConsoleInterrupted, StopsWithinTwoSecondsAndAccountsForEveryCommand)
{
    FakeDevice device(FakeDevice::stayAway);
    const QString sessionFile = session(R"({"name": "get volume", "head": "F1 08 03 62 01 00", "waitMs": 60000,
                                            "repeat": 500000})");
    RunningConsole console(runArguments(sessionFile, device.url()));
    ASSERT_TRUE(console.waitForOutput(" sent\n"));
    QElapsedTimer time;
    time.start();
    console.sendSignal(GetParam());
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_LT(time.elapsed(), stopLimitMs);
    EXPECT_STREQ(qPrintable(console.errors()), qPrintable(QString("biz_console: interrupted\n")));
    EXPECT_TRUE(console.output().contains("stopped before they ended\n  get volume (500000 times)\n"))
        << qPrintable(console.output());
    EXPECT_TRUE(console.output().contains("  stopped           500000\n"));
}

INSTANTIATE_TEST_SUITE_P(Console, ConsoleInterrupted, testing::Values(SIGINT, SIGTERM));

TEST_F(ConsoleProcess, ProgressIsShownAtMostOnceASecondOutsideATerminal)
{
    FakeDevice device(FakeDevice::stayAway);
    const QString sessionFile = session(R"({"head": "F1 08 03 62 01 00", "waitMs": 60000})");
    RunningConsole console(runArguments(sessionFile, device.url()));
    QElapsedTimer time;
    time.start();
    ASSERT_TRUE(console.waitForOutput("... 0 of 1 ended, 0 waiting, 1 awaiting a reply\n"));
    console.sendSignal(SIGTERM);
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_LE(console.outputLines().filter("...").size(), time.elapsed() / 1000 + 1);
}

TEST_F(ConsoleProcess, TheErrorLogIsWrittenBelowTheLogFolderAndCanBeExplained)
{
    FakeDevice device(FakeDevice::answerShort);
    RunningConsole console(runArguments(session(refusedCommand, "5120"), device.url()));
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output());
    ASSERT_EQ(errorLogs().size(), 1);
    const QString log = file("logs/Errorlog/" + errorLogs().first());
    EXPECT_TRUE(console.output().contains("  error log         " + log + "\n")) << qPrintable(console.output());
    EXPECT_TRUE(console.output().contains("rejected               payload holds 128 bytes, needs 129"));

    RunningConsole explain({"log", log});
    EXPECT_EQ(explain.exitStatus(), 0);
    EXPECT_TRUE(explain.output().contains("2 rejected replies\n     2  A2\n     2    F1/05: length 129\n"))
        << qPrintable(explain.output());
}

TEST_F(ConsoleProcess, TraceShowsTheLibrarysDebugMessages)
{
    FakeDevice device(FakeDevice::answerShort);
    const QStringList arguments = runArguments(session(refusedCommand, "5120"), device.url());
    RunningConsole silent(arguments);
    EXPECT_EQ(silent.exitStatus(), 0);
    EXPECT_EQ(silent.errors(), "");

    RunningConsole traced(arguments + QStringList{"--trace"});
    EXPECT_EQ(traced.exitStatus(), 0);
    EXPECT_TRUE(traced.errors().contains("trace: Resend stop")) << qPrintable(traced.errors());
}

// --- Bad input ------------------------------------------------------------------------

struct BadUsage
{
    QStringList arguments;
    const char *message;
};

class ConsoleUsage : public testing::TestWithParam<BadUsage>
{
};

TEST_P(ConsoleUsage, IsRefusedWithStatusTwo)
{
    RunningConsole console(GetParam().arguments);
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_EQ(console.output(), "");
    const QString verb = GetParam().arguments.value(0);
    const QString ownHelp =
        verb.isEmpty() || verb == "fly" || verb == "rnu" || verb == "help" || verb.startsWith('-') ? "" : verb + " ";
    EXPECT_STREQ(
        qPrintable(console.errors()),
        qPrintable(QString("biz_console: %1\nTry 'biz_console %2--help'.\n").arg(GetParam().message, ownHelp)));
}

INSTANTIATE_TEST_SUITE_P(
    Console, ConsoleUsage,
    testing::Values(
        BadUsage{{}, "a command is missing"}, BadUsage{{"fly"}, "there is no command 'fly'"},
        BadUsage{{"run"}, "the session is missing"}, BadUsage{{"run", "a", "b"}, "unexpected argument 'b'"},
        BadUsage{{"run", "a"}, "--device is missing, such as --device tcp://127.0.0.1:15700"},
        BadUsage{{"run", "--fast", "a"}, "unknown option '--fast'"},
        BadUsage{{"rnu", "a"}, "there is no command 'rnu'; did you mean 'run'?"},
        BadUsage{{"help", "sned"}, "there is no command 'sned'; did you mean 'send'?"},
        BadUsage{{"help", "run", "osd"}, "unexpected argument 'osd'"},
        BadUsage{{"send", "--device", "tcp://h", "F10803620100", "--log-dir", ""},
                 "--log-dir: the name of a folder expected, not an empty one"},
        BadUsage{{"--version", "run"}, "there is no command '--version'"},
        BadUsage{{"run", "a", "-device", "tcp://h"}, "unknown option '-device'; did you mean '--device'?"},
        BadUsage{{"run", "a", "--devise=tcp://h"}, "unknown option '--devise'; did you mean '--device'?"},
        BadUsage{{"osd", "a", "-v", "--wacth"}, "unknown option '--wacth'; did you mean '--watch'?"},
        BadUsage{{"log", "--help", "-x"}, "unknown option '-x'"},
        BadUsage{{"send", "--model", "A1MXA", "F10803620100", "--device", "tcp://h"},
                 "one of the models A2, A1MAX, A3, PVN410MAX, K250, PVN410MAX2, A5 expected, not 'A1MXA'; did you mean "
                 "'A1MAX'?"},
        BadUsage{{"run", "a", "--device", "tcp://"}, "--device: \"tcp://\" names no host; expected tcp://HOST[:PORT]"},
        BadUsage{{"osd", "a", "--port", "0"}, "--port: a number from 1 to 65535 expected, not '0'"},
        BadUsage{{"run", "a", "--device", "file:///tmp/x"},
                 "--device: \"file:///tmp/x\": there is no link of scheme \"file\"; expected tcp://HOST[:PORT], "
                 "udp://HOST[:PORT] or "
                 "serial:///dev/NAME[?baud=115200&parity=none&data=8&stop=1&flow=none]"},
        BadUsage{{"run", "a", "--device", "tcp://h", "--repeat", "-1"},
                 "--repeat: a number from 0 to 1000000 expected, not '-1'"},
        BadUsage{{"run", "a", "--device"}, "--device: a value expected"},
        BadUsage{{"run", "--quiet=1", "a", "--watch"}, "--quiet: no value expected"},
        BadUsage{{"osd", "a", "--rate", "0"}, "--rate: a number from 0.001 to 100000 expected, not '0'"},
        BadUsage{{"osd", "a", "--rate", "nan"}, "--rate: a number from 0.001 to 100000 expected, not 'nan'"},
        BadUsage{{"send"}, "--device is missing, such as --device tcp://127.0.0.1:15700"},
        BadUsage{{"send", "--device", "tcp://h"}, "the head is missing"},
        BadUsage{{"send", "--device", "tcp://h", "F1 08"},
                 "the head: 6 bytes in hexadecimal such as \"F1 08 03 62 01 00\" expected, not 'F1 08'"},
        BadUsage{{"send", "--device", "tcp://h", "F1", "08"}, "unexpected argument '08'"},
        BadUsage{{"send", "--device", "tcp://h", "F10803620100", "--data", "0"},
                 "--data: at most 65535 bytes in hexadecimal expected, not '0'"},
        BadUsage{{"send", "--device", "tcp://h", "F10803620100", "--wait", "0"},
                 "--wait: a number from 1 to 3600000 expected, not '0'"},
        BadUsage{{"send", "--device", "tcp://h", "F10803620100", "--model", "A9"},
                 "one of the models A2, A1MAX, A3, PVN410MAX, K250, PVN410MAX2, A5 expected, not 'A9'"},
        BadUsage{{"send", "--device", "tcp://h", "F10803620100", "--text", "a"},
                 "--text is for OSD devices, with --osd"},
        BadUsage{{"send", "--osd", "127.1.0.1", "--device", "tcp://h", "F1"}, "--device is not for OSD devices"},
        BadUsage{{"send", "--osd", "127.1", "F1"}, "--osd: an address such as 127.1.0.1 expected, not '127.1'"},
        BadUsage{{"send", "--osd", "127.1.0.1", "F1"},
                 "the head: 11 bytes in hexadecimal such as \"0D 01 00 00 00 00 00 00 00 00 00\" expected, not 'F1'"},
        BadUsage{{"send", "--osd", "127.1.0.1", "--flag", "256", "0D0100000000000000000000"},
                 "the head: 11 bytes in hexadecimal such as \"0D 01 00 00 00 00 00 00 00 00 00\" expected, not "
                 "'0D0100000000000000000000'"},
        BadUsage{{"send", "--osd", "127.1.0.1", "--flag", "256", "0D01000000000000000000"},
                 "--flag: a number from 0 to 255 expected, not '256'"},
        BadUsage{{"send", "--osd", "127.1.0.1", "--log-dir", "x", "0D01000000000000000000"},
                 "--log-dir is not for OSD devices"},
        BadUsage{{"check", "[ORLIXA2][2024-05-06 14:03:22 517]<f1 08 10 62 01>", "--size", "3"},
                 "--size is not for a line of the error log, which has its payload"},
        BadUsage{{"serve", "--device", "tcp://h", "--pipelined", "--settle", "9"},
                 "--settle is not for a pipelined host, which waits for no reply"},
        BadUsage{{"osd", "a", "--bind", "here"}, "--bind: a local address expected, not 'here'"},
        BadUsage{{"rules"}, "the model is missing"}));

TEST_F(ConsoleProcess, ABadSessionIsNamedWithFileAndLine)
{
    const QString bad = write("bad.json", "{\n  \"deviceType\": 5120,\n  \"commands\": [}\n}\n");
    RunningConsole console(runArguments(bad, "tcp://127.0.0.1:1"));
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_STREQ(qPrintable(console.errors()),
                 qPrintable(QString("biz_console: " + bad + ":3:16: JSON expected: a value, not '}'\n")));
    EXPECT_FALSE(QDir(file("logs")).exists());
}

TEST_F(ConsoleProcess, EveryProblemOfABadSessionIsALineWithItsPlace)
{
    const QString bad = write("bad.json", R"({"deviceType": "A2", "commands": [
  {"head": "F1", "heat": 1},
  {"head": "F1 08 03 62 01 00", "head": "F1 08 03 62 01 00"}]})");
    RunningConsole console(runArguments(bad, "tcp://127.0.0.1:1"));
    EXPECT_EQ(console.exitStatus(), 2);
    const QString start = "biz_console: " + bad;
    EXPECT_STREQ(
        qPrintable(console.errors()),
        qPrintable(
            start +
            ":2:12: commands[0].head: 6 bytes in hexadecimal such as \"F1 08 03 62 01 00\" expected, not \"F1\"\n" +
            start + ":2:18: commands[0].heat: unknown key; did you mean \"head\"?\n" + start +
            ":3:33: \"head\" stands twice in one object, first at " + bad + ":3:4\n"));
}

TEST_F(ConsoleProcess, WhatAFileHoldsNeverReachesTheTerminalAsItIs)
{
    const QString bad = write("bad.json", R"({"deviceType": "\u001b]0;owned\u0007", "\u001b[2J": 1})");
    RunningConsole console(runArguments(bad, "tcp://127.0.0.1:1"));
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_FALSE(console.errors().contains(QChar(0x1b)));
    EXPECT_TRUE(console.errors().contains("\\x1b[2J: unknown key")) << qPrintable(console.errors());
    EXPECT_TRUE(console.errors().contains("not \"\\x1b]0;owned\\x07\"")) << qPrintable(console.errors());
}

TEST_F(ConsoleProcess, NamesOfCommandsAreShownEscaped)
{
    FakeDevice device(FakeDevice::stayAway);
    const QString hostile = session(R"({"name": "\u001b[2J\u202ea", "head": "F1 08 03 62 01 00"})");
    RunningConsole console(runArguments(hostile, device.url()));
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_FALSE(console.output().contains(QChar(0x1b)) || console.output().contains(QChar(0x202e)));
    EXPECT_EQ(console.outputLines().filter("F1/08 \\x1b[2J\\u202ea").size(), 3) << qPrintable(console.output());
    EXPECT_TRUE(console.output().contains("\n  \\x1b[2J\\u202ea: expected answered")) << qPrintable(console.output());
}

TEST_F(ConsoleProcess, AFolderOrAnEmptyNameIsNoSession)
{
    RunningConsole ofFolder(runArguments(folder.path(), "tcp://127.0.0.1:1"));
    EXPECT_EQ(ofFolder.exitStatus(), 2);
    EXPECT_EQ(ofFolder.errors(), "biz_console: " + folder.path() + ": cannot be read: it is a folder\n");
    RunningConsole ofNoName(runArguments("", "tcp://127.0.0.1:1"));
    EXPECT_EQ(ofNoName.exitStatus(), 2);
    EXPECT_EQ(ofNoName.errors(), "biz_console: the name of a file expected, not an empty one\n");
}

TEST_F(ConsoleProcess, ASessionMayComeFromTheStandardInput)
{
    FakeDevice device(FakeDevice::echo);
    RunningConsole console(runArguments("-", device.url()),
                           R"({"deviceType": -1, "commands": [{"head": "F1 08 03 62 01 00"}]})");
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    EXPECT_EQ(device.commands(), 1);
}

TEST_F(ConsoleProcess, ALogFolderThatCannotBeMadeIsBadInput)
{
    const QString plainFile = write("file", "");
    RunningConsole console({"run", session(getVolume), "--device", "tcp://127.0.0.1:1", "--log-dir", plainFile});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_STREQ(qPrintable(console.errors()),
                 qPrintable(QString("biz_console: " + plainFile + ": cannot be made or entered\n")));
}

TEST(ConsoleHelp, GoesToTheStandardOutput)
{
    for (const QStringList &arguments :
         {QStringList{"--help"}, QStringList{"run", "--help"}, QStringList{"osd", "-h"}, QStringList{"log", "--help"},
          QStringList{"help"}, QStringList{"help", "help"}, QStringList{"help", "run"}}) {
        RunningConsole console(arguments);
        EXPECT_EQ(console.exitStatus(), 0);
        EXPECT_TRUE(console.output().startsWith("Usage: biz_console ")) << qPrintable(console.output());
        EXPECT_EQ(console.errors(), "");
    }
}

TEST(ConsoleHelp, OfAVerbIsTheSameAsItsOwn)
{
    RunningConsole help({"help", "osd"});
    RunningConsole own({"osd", "--help"});
    EXPECT_EQ(help.exitStatus(), 0);
    EXPECT_EQ(own.exitStatus(), 0);
    EXPECT_EQ(help.output(), own.output());
}

TEST(ConsoleHelp, TheVersionIsTheProjectsAlsoBehindACommand)
{
    for (const QStringList &arguments : {QStringList{"--version"}, QStringList{"run", "--version"},
                                         QStringList{"send", "-v"}, QStringList{"check", "--version"}}) {
        RunningConsole console(arguments);
        EXPECT_EQ(console.exitStatus(), 0);
        EXPECT_STREQ(qPrintable(console.output()), qPrintable(QString("biz_console " BIZ_VERSION "\n")));
    }
}

// --- osd ------------------------------------------------------------------------------

TEST_F(ConsoleOsd, SilentDevicesAreExpectedToBeGivenUp)
{
    RunningConsole console(osdArguments(osdSession(R"(["127.3.0.2"])")));
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output());
    EXPECT_TRUE(console.output().contains("127.3.0.2                        2         0         2         0"));
    EXPECT_TRUE(console.output().contains("127.3.0.3                        2         2         0         0"));
    EXPECT_TRUE(console.output().contains("2 answering devices done after 0."));
}

TEST_F(ConsoleOsd, ADeviceThatIsSilentUnexpectedlyIsNamed)
{
    RunningConsole console(osdArguments(osdSession("[]")) + QStringList{"--events"});
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(
        console.output().contains("show text (127.3.0.2, 1 of 2): expected answered without events, was gaveUp"))
        << qPrintable(console.output());
    EXPECT_EQ(console.outputLines().filter(QRegularExpression("show text \\(127.3.0.1, . of 2\\) +answered")).size(),
              2);
}

TEST_F(ConsoleOsd, AnInterruptAccountsForEveryCommandWithinTwoSeconds)
{
    RunningConsole console(osdArguments(osdSession(R"(["127.3.0.2"])")) + QStringList{"--events"});
    ASSERT_TRUE(console.waitForOutput("(127.3.0.3, 2 of 2)"));
    QElapsedTimer time;
    time.start();
    console.sendSignal(SIGINT);
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_LT(time.elapsed(), stopLimitMs);
    EXPECT_TRUE(console.output().contains("stopped before they ended\n  show text (2 times)\n"))
        << qPrintable(console.output());
}

TEST_F(ConsoleOsd, OptionsThatWouldDoNothingAreRefused)
{
    for (const QStringList &refused : {QStringList{"--quiet", "--events"}, QStringList{"--json", "--events"},
                                       QStringList{"--json", "--all-devices"}}) {
        RunningConsole console(osdArguments(osdSession("[]")) + refused);
        EXPECT_EQ(console.exitStatus(), 2) << qPrintable(refused.join(' '));
        EXPECT_TRUE(console.errors().startsWith("biz_console: " + refused.at(1) + " is "))
            << qPrintable(console.errors());
    }
}

TEST_F(ConsoleOsd, ADeviceThatCannotBeReachedFromTheLocalAddressIsToldWithAdvice)
{
    const QString elsewhere = write("osd.json", R"({"devices": ["192.0.2.1"], "defaultWaitMs": 1000, "commands":
                                                   [{"head": "0D 01 00 00 00 00 00 00 00 00 00"}]})");
    RunningConsole console({"osd", elsewhere, "--bind", "127.0.0.1"});
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().contains("; can it be reached from 127.0.0.1? --bind names the local address"))
        << qPrintable(console.output());
}

TEST_F(ConsoleOsd, SendsFromAnyAddressByDefault)
{
    RunningConsole console(osdArguments(osdSession(R"(["127.3.0.2"])")) + QStringList{"--json", "--quiet"});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    EXPECT_TRUE(console.output().contains(QString("\"link\":\"any address, UDP port %1\"").arg(port)))
        << qPrintable(console.output());
}

TEST_F(ConsoleOsd, ExitsWithThreeWhenItCannotSendFromTheAddress)
{
    RunningConsole console(osdArguments(osdSession("[]")) + QStringList{"--bind", "192.0.2.1"});
    EXPECT_EQ(console.exitStatus(), 3);
    EXPECT_TRUE(console.errors().startsWith("biz_console: ")) << qPrintable(console.errors());
}

// --- rules ----------------------------------------------------------------------------

TEST(ConsoleRules, AreTheModelsOwn)
{
    RunningConsole console({"rules", "PVN410MAX"});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().contains("68 / 08, 09")) << qPrintable(console.output());
    EXPECT_TRUE(console.output().contains(" value of bytes 3 and 4 from 1 to 22\n"));
}

} // namespace
