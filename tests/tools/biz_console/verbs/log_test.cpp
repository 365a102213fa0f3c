#include <gtest/gtest.h>

#include <csignal>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <biz_console/replies/error_log_file.h>
#include <tools/support/console_process.h>

using namespace biz::test;
using biz::console::errorLogOfToday;

namespace {

/** A refused reply of an A2 to F1/05: the rule asks for 129 bytes. */
QByteArray shortPayload(const char *time, int bytes = 2)
{
    return QByteArray("[ORLIXA2][2024-05-06 ") + time + "]<f1 05 00 81 00>" + QByteArray(bytes * 2, '0') + '\n';
}

QByteArray highIndex(const char *time)
{
    return QByteArray("[ORLIXA2][2024-05-06 ") + time + "]<f1 08 10 62 01>\n";
}

class ConsoleLog : public ConsoleProcess
{
protected:
    QString write(const QByteArray &content, const QString &name = "some.log") const
    {
        return ConsoleProcess::write(name, content);
    }
};

TEST_F(ConsoleLog, TellsWhichClauseEachReplyBroke)
{
    RunningConsole console({"log", write(shortPayload("14:03:22 517") + highIndex("14:03:23 001"))});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_STREQ(qPrintable(console.output()),
                 qPrintable(QString("2024-05-06 14:03:22.517  A2 F1/05 <f1 05 00 81 00> 2 bytes\n"
                                    "    broken: payload holds 2 bytes, needs 129\n"
                                    "    rule:   length 129\n"
                                    "2024-05-06 14:03:23.001  A2 F1/08 <f1 08 10 62 01> 0 bytes\n"
                                    "    broken: index is 16, at most 15 allowed\n"
                                    "    rule:   index at most 15, then length 354\n"
                                    "\n"
                                    "2 rejected replies\n"
                                    "     2  A2\n"
                                    "     1    F1/05: length 129\n"
                                    "     1      payload holds 2 bytes, needs 129\n"
                                    "     1    F1/08: index at most 15, then length 354\n"
                                    "     1      index is 16, at most 15 allowed\n")));
}

TEST_F(ConsoleLog, EqualRepliesInARowAreFolded)
{
    QByteArray log;
    for (int second = 10; second < 22; ++second) {
        log += shortPayload(qPrintable(QString("14:03:%1 517").arg(second)));
    }
    RunningConsole console({"log", write(log + shortPayload("14:04:00 000", 3) + shortPayload("14:05:00 000"))});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().startsWith("2024-05-06 14:03:10.517  A2 F1/05 <f1 05 00 81 00> 2 bytes  x 12, the "
                                            "last at 2024-05-06 14:03:21.517\n    broken: "))
        << qPrintable(console.output());
    // Another payload between two equal ones ends the first group and keeps the second out of it.
    EXPECT_TRUE(console.output().contains("14:04:00.000  A2 F1/05 <f1 05 00 81 00> 3 bytes\n"));
    EXPECT_TRUE(console.output().contains("14:05:00.000  A2 F1/05 <f1 05 00 81 00> 2 bytes\n"));
    EXPECT_TRUE(console.output().endsWith("14 rejected replies\n"
                                          "    14  A2\n"
                                          "    14    F1/05: length 129\n"
                                          "    13      payload holds 2 bytes, needs 129\n"
                                          "     1      payload holds 3 bytes, needs 129\n"))
        << qPrintable(console.output());
}

TEST_F(ConsoleLog, ModelsAreCountedApart)
{
    const QByteArray ofA3 = "[ORLIXA3][2024-05-06 14:03:22 517]<f1 04 00 08 00>\n";
    RunningConsole console({"log", write(ofA3 + shortPayload("14:03:23 000") + ofA3)});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().endsWith("3 rejected replies\n"
                                          "     1  A2\n"
                                          "     1    F1/05: length 129\n"
                                          "     1      payload holds 2 bytes, needs 129\n"
                                          "     2  A3\n"
                                          "     2    F1/04: length at least 9\n"
                                          "     2      declared length is 8, must be at least 9\n"))
        << qPrintable(console.output());
}

TEST_F(ConsoleLog, ReadsSeveralFiles)
{
    const QString first = write(shortPayload("14:03:22 517"), "first.log");
    const QString second = write(highIndex("15:00:00 000"), "second.log");
    RunningConsole console({"log", first, second});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().contains("14:03:22.517  A2 F1/05"));
    EXPECT_TRUE(console.output().contains("15:00:00.000  A2 F1/08"));
    EXPECT_TRUE(console.output().contains("\n2 rejected replies\n"));
}

TEST_F(ConsoleLog, ReadsTodaysLogBelowTheWorkingDirectoryByDefault)
{
    const QString today = errorLogOfToday(folder.path());
    ASSERT_TRUE(QDir(folder.path()).mkpath("Errorlog"));
    ASSERT_EQ(QFileInfo(today).path(), folder.filePath("Errorlog"));
    write(shortPayload("14:03:22 517"), "Errorlog/" + QFileInfo(today).fileName());
    RunningConsole console({"log"}, {}, folder.path());
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    EXPECT_TRUE(console.output().contains("\n1 rejected reply\n")) << qPrintable(console.output());
}

TEST_F(ConsoleLog, WithoutALogItNamesTheFileThatItLookedFor)
{
    RunningConsole console({"log"}, {}, folder.path());
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_EQ(console.output(), "");
    EXPECT_EQ(console.errors(), "biz_console: " + errorLogOfToday(QFileInfo(folder.path()).canonicalFilePath()) +
                                    ": cannot be read: No such file or directory\n");
}

TEST_F(ConsoleLog, LinesThatAreTornOrForeignAreCountedAndTheFirstIsNamed)
{
    const QByteArray whole = shortPayload("14:03:22 517");
    const QString log = write(whole + whole.left(30) + '\n' + "kernel: out of paper\n" + whole.chopped(2));
    RunningConsole console({"log", log});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().contains("\n1 rejected reply\n")) << qPrintable(console.output());
    EXPECT_TRUE(console.output().endsWith("3 lines are torn or not of this log, the first is " + log + ":2\n"))
        << qPrintable(console.output());
}

TEST_F(ConsoleLog, TimesOfAnotherTimeZoneAreTrueInThisOne)
{
    qputenv("TZ", "Europe/Berlin");
    RunningConsole console({"log", write("[ORLIXA2][2026-03-29 02:30:00 000]<f1 08 10 62 01>\n")});
    EXPECT_EQ(console.exitStatus(), 0);
    qunsetenv("TZ");
    EXPECT_TRUE(console.output().startsWith("2026-03-29 02:30:00.000  A2 F1/08")) << qPrintable(console.output());
    EXPECT_FALSE(console.output().contains("torn"));
}

TEST_F(ConsoleLog, AFileThatWentThroughAnEditorIsReadAllTheSame)
{
    const QByteArray line = highIndex("14:03:23 001").trimmed();
    RunningConsole console({"log", write("\xEF\xBB\xBF" + line + "\r\n" + line + "\r\n")});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().contains("\n2 rejected replies\n")) << qPrintable(console.output());
    EXPECT_FALSE(console.output().contains("torn"));
}

TEST_F(ConsoleLog, AFileThatIsNoLogIsBadInput)
{
    const QString file = write("hello\nworld\n", "hello.txt");
    RunningConsole console({"log", file});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_EQ(console.output(), "");
    EXPECT_EQ(console.errors(),
              "biz_console: " + file + ": an error log expected, but none of its lines is one of a log\n");
}

TEST_F(ConsoleLog, AFileThatIsMissingKeepsNothingOfTheOthersBack)
{
    const QString first = write(shortPayload("14:03:22 517"), "first.log");
    const QString last = write(highIndex("14:03:23 001"), "last.log");
    RunningConsole console({"log", first, file("missing.log"), last});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_TRUE(console.errors().contains("missing.log: cannot be read")) << qPrintable(console.errors());
    EXPECT_TRUE(console.output().contains("\n2 rejected replies\n")) << qPrintable(console.output());
}

TEST_F(ConsoleLog, AnEmptyLogHasNoRejectedReply)
{
    RunningConsole console({"log", write("")});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_EQ(console.output(), "0 rejected replies\n");
}

TEST_F(ConsoleLog, AFileThatCannotBeReadToItsEndIsBadInput)
{
    RunningConsole console({"log", "/proc/self/mem"});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_EQ(console.errors(), "biz_console: /proc/self/mem: cannot be read: Input/output error\n");
}

TEST_F(ConsoleLog, AStandardInputThatIsClosedIsBadInput)
{
    QProcess shell;
    shell.start("/bin/sh", {"-c", R"("$0" log - <&-)", QStringLiteral(BIZ_CONSOLE)});
    ASSERT_TRUE(shell.waitForFinished());
    EXPECT_EQ(shell.exitCode(), 2);
    EXPECT_EQ(shell.readAllStandardError(), "biz_console: standard input: cannot be read: Bad file descriptor\n");
}

TEST_F(ConsoleLog, ALineWithoutAnEndDoesNotTakeAllMemory)
{
    constexpr int tooLong = 5'000'000;
    RunningConsole console({"log", "-"}, shortPayload("14:03:22 517") + QByteArray(tooLong, 'a'));
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_EQ(console.errors(), "biz_console: standard input:2: a line of at most 4194304 bytes expected\n");
}

// Each byte of a payload is whole by itself: the line would be judged by what was written by then.
TEST_F(ConsoleLog, ALastLineWithoutAnEndIsNotJudged)
{
    const QString log = write(shortPayload("14:03:22 517") + shortPayload("14:03:23 000").chopped(1));
    RunningConsole console({"log", log});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().contains("\n1 rejected reply\n")) << qPrintable(console.output());
    EXPECT_TRUE(console.output().endsWith("1 line is torn or not of this log: " + log + ":2\n"));
}

TEST_F(ConsoleLog, AReplyThatBreaksNoRuleOfThisVersionIsShownAsSuch)
{
    RunningConsole console({"log", write("[UnknownType][2024-05-06 14:03:22 517]<01 02 00 00 00>\n")});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().contains("UnknownType 01/02 <01 02 00 00 00> 0 bytes\n"
                                          "    broken: breaks no rule of this version\n\n"))
        << qPrintable(console.output());
}

TEST_F(ConsoleLog, FollowingItShowsEachReplyWhenItIsLogged)
{
    const QString log = folder.filePath("later.log");
    RunningConsole console({"log", "--follow", log});
    const auto append = [&log](const QByteArray &text) {
        QFile target(log);
        ASSERT_TRUE(target.open(QIODevice::Append));
        target.write(text);
    };
    append(shortPayload("14:03:22 517") + highIndex("14:03:23 001").left(40));
    ASSERT_TRUE(console.waitForOutput("14:03:22.517  A2 F1/05"));
    EXPECT_FALSE(console.output().contains("14:03:23.001"));
    append(highIndex("14:03:23 001").mid(40));
    ASSERT_TRUE(console.waitForOutput("14:03:23.001  A2 F1/08"));
    console.sendSignal(SIGINT);
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().contains("\n2 rejected replies\n")) << qPrintable(console.output());
}

TEST_F(ConsoleLog, FollowingSaysThatTheFileIsNotThereYet)
{
    const QString log = file("missing/later.log");
    RunningConsole console({"log", "--follow", log});
    ASSERT_TRUE(console.waitForErrors("biz_console: " + log + ": not there yet\n"));
    console.sendSignal(SIGINT);
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_EQ(console.errors().count("not there yet"), 1);
}

/** A log that is followed, and what becomes of it. */
class ConsoleFollowedLog : public ConsoleLog
{
protected:
    void append(const QByteArray &text) const
    {
        QFile target(log);
        ASSERT_TRUE(target.open(QIODevice::Append));
        target.write(text);
    }

    void expectTold(const char *reply) const
    {
        EXPECT_TRUE(console->waitForOutput(reply)) << qPrintable(console->output() + console->errors());
    }

    void SetUp() override
    {
        log = write(shortPayload("14:03:22 517"), "followed.log");
        console = std::make_unique<RunningConsole>(QStringList{"log", "--follow", log});
        expectTold("14:03:22.517  A2 F1/05");
    }

    QString log;
    std::unique_ptr<RunningConsole> console;
};

TEST_F(ConsoleFollowedLog, IsReadOnWhereAnotherFileTookItsName)
{
    ASSERT_TRUE(QFile::rename(log, file("followed.log.1")));
    append(highIndex("14:03:23 001"));
    expectTold("14:03:23.001  A2 F1/08");
    append(highIndex("14:03:24 001"));
    expectTold("14:03:24.001  A2 F1/08");
}

TEST_F(ConsoleFollowedLog, IsReadFromItsBeginningWhenItWasEmptied)
{
    ASSERT_TRUE(QFile::resize(log, 0));
    append(highIndex("14:03:23 001"));
    expectTold("14:03:23.001  A2 F1/08");
}

TEST_F(ConsoleFollowedLog, ALineThatWillNotBeFinishedIsToldAsTorn)
{
    append(highIndex("14:03:23 001").chopped(3));
    ASSERT_TRUE(QFile::rename(log, file("followed.log.1")));
    append(highIndex("14:03:24 001"));
    expectTold("14:03:24.001  A2 F1/08");
    console->sendSignal(SIGINT);
    EXPECT_EQ(console->exitStatus(), 0);
    EXPECT_TRUE(console->output().endsWith("1 line is torn or not of this log: " + log + ":2\n"))
        << qPrintable(console->output());
}

TEST_F(ConsoleLog, FollowingIsOfOneFile)
{
    RunningConsole console({"log", "--follow", "a", "b"});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_TRUE(console.errors().startsWith("biz_console: --follow: one file, or none for today's log, expected\n"));
}

TEST_F(ConsoleLog, AsJsonHasAnObjectForEachReplyAndASummary)
{
    const QByteArray reply = shortPayload("14:03:22 517");
    const QString log = write(reply + reply + "torn\n");
    RunningConsole console({"log", "--json", log});
    EXPECT_EQ(console.exitStatus(), 0);
    const QStringList lines = console.outputLines();
    ASSERT_EQ(lines.size(), 4) << qPrintable(console.output());
    const QJsonObject expected{{"time", "2024-05-06 14:03:22.517"},
                               {"model", "A2"},
                               {"command", "F1/05"},
                               {"head", "f1 05 00 81 00"},
                               {"data", "0000"},
                               {"rule", "length 129"},
                               {"broken", "payload holds 2 bytes, needs 129"}};
    EXPECT_EQ(QJsonDocument::fromJson(lines.at(0).toUtf8()).object(), expected) << qPrintable(lines.at(0));
    EXPECT_EQ(lines.at(1), lines.at(0));
    const QJsonObject rule{{"model", "A2"}, {"command", "F1/05"}, {"rule", "length 129"}, {"replies", 2}};
    const QJsonObject summary{
        {"rejected", 2}, {"byRule", QJsonArray{rule}}, {"notUnderstood", 1}, {"firstNotUnderstood", log + ":3"}};
    EXPECT_EQ(QJsonDocument::fromJson(lines.at(2).toUtf8()).object(), (QJsonObject{{"summary", summary}}))
        << qPrintable(lines.at(2));
}

} // namespace
