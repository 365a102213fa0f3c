#include <gtest/gtest.h>

#include <tools/support/console_process.h>

using namespace biz::test;

namespace {

const QString deviceFaults = QStringLiteral(BIZ_RECORDINGS "/device_faults.jsonl");

/** One line of a recording. */
const QByteArray head = R"({"event":"recording","format":2,"link":"tcp://h","utc":"2026-11-22T14:00:00.000Z"})"
                        "\n";

class ConsoleShow : public ConsoleProcess
{
protected:
    void SetUp() override { qputenv("TZ", "UTC"); }
    void TearDown() override { qunsetenv("TZ"); }
};

TEST_F(ConsoleShow, EachLineOfARecordingIsOneForPeople)
{
    RunningConsole console({"show", deviceFaults});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    const QStringList lines = console.outputLines();
    EXPECT_EQ(lines.value(0), "14:14:06.130  recording       " + QString(38, ' ') + "tcp://127.0.0.1:15700");
    EXPECT_EQ(lines.filter("rejected").value(0), "14:14:06.587  rejected          F1/05 get timer, short once         "
                                                 "payload holds 128 bytes, needs 129");
    EXPECT_EQ(lines.filter("bytesOut").value(0), "14:14:06.131  bytesOut        " + QString(38, ' ') + "1 byte: 00");
    EXPECT_TRUE(lines.filter("summary").value(0).endsWith("6 commands, all as expected")) << qPrintable(lines.last());
}

TEST_F(ConsoleShow, FiltersChooseLines)
{
    RunningConsole rejected({"show", deviceFaults, "--event", "rejected", "--command", "f1/05"});
    EXPECT_EQ(rejected.exitStatus(), 0);
    EXPECT_EQ(rejected.outputLines().size(), 2) << qPrintable(rejected.output());
    RunningConsole late({"show", deviceFaults, "--since", "14:14:07.485"});
    EXPECT_EQ(late.exitStatus(), 0);
    EXPECT_TRUE(late.output().startsWith("14:14:07.487  bytesOut")) << qPrintable(late.output());
    RunningConsole dated({"show", deviceFaults, "--since", "2026-11-23 00:00"});
    EXPECT_EQ(dated.exitStatus(), 0);
    EXPECT_EQ(dated.output(), "");
}

TEST_F(ConsoleShow, AnErrorLogIsShownAsLogDoes)
{
    const QString log = write("some.log", "[ORLIXA2][2024-05-06 14:03:22 517]<f1 08 10 62 01>\n"
                                          "[ORLIXA2][2024-05-06 15:03:22 517]<f1 08 11 62 01>\n"
                                          "[ORLIXA3][2024-05-06 15:03:23 517]<f1 04 00 08 00>\n");
    RunningConsole console({"show", log, "--since", "15:00", "--command", "F1/08"});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().startsWith("2024-05-06 15:03:22.517  A2 F1/08")) << qPrintable(console.output());
    EXPECT_TRUE(console.output().contains("\n1 rejected reply\n"));
}

TEST_F(ConsoleShow, AnErrorLogMayBeginWithATornLine)
{
    const QString log = write("some.log", "22 517]<f1 08 10\n\n[ORLIXA2][2024-05-06 14:03:22 517]<f1 08 10 62 01>\n");
    RunningConsole console({"show", log});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    EXPECT_TRUE(console.output().startsWith("2024-05-06 14:03:22.517  A2 F1/08")) << qPrintable(console.output());
}

TEST_F(ConsoleShow, WhatAFileHoldsIsShownEscaped)
{
    RunningConsole console({"show", "-"},
                           head + R"({"event":"sent","name":"\u001b[2J\n","utc":"2026-11-22T14:00:00.000Z"})"
                                  "\n");
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().contains("sent              \\x1b[2J\\x0a\n")) << qPrintable(console.output());
    EXPECT_FALSE(console.output().contains(QChar(0x1b)));
}

TEST_F(ConsoleShow, ALineThatWasCutOffIsTold)
{
    RunningConsole console({"show", "-"}, head + "{\"event\":\"sen");
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().endsWith("standard input:2: the file was cut off in this line\n"));
}

TEST_F(ConsoleShow, AnotherFileIsBadInput)
{
    RunningConsole console({"show", session(getVolume)});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_TRUE(console.errors().endsWith("session.json:1: a recording, the output of --json or an error log expected; "
                                          "sessions are played by 'biz_console run' and 'biz_console osd'\n"))
        << qPrintable(console.errors());
    RunningConsole nothing({"show", "-"});
    EXPECT_EQ(nothing.exitStatus(), 2);
}

TEST_F(ConsoleShow, AFilterThatChoosesNothingForItsSpellingIsRefused)
{
    for (const QStringList &filter :
         {QStringList{"--event", "rejectd"}, QStringList{"--command", "F1"}, QStringList{"--since", "noon"},
          QStringList{"--since", "99:99"}, QStringList{"--since", "2026-13-45 10:00"}}) {
        RunningConsole console(QStringList{"show", deviceFaults} + filter);
        EXPECT_EQ(console.exitStatus(), 2) << qPrintable(filter.join(' '));
        EXPECT_TRUE(console.errors().contains(filter.first() + ": ")) << qPrintable(console.errors());
    }
}

} // namespace
