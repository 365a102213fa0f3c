#include <gtest/gtest.h>

#include <tools/support/console_process.h>

using namespace biz::test;

namespace {

class ConsoleReport : public ConsoleProcess
{
protected:
    /** What the command printed, once it has ended with the status that is expected. */
    QString report(const QStringList &files, int status = 0) const
    {
        RunningConsole console(QStringList{"report", "--out", file("page.html")} + files);
        EXPECT_EQ(console.exitStatus(), status);
        return console.output() + console.errors();
    }

    QString page() const
    {
        QFile html(file("page.html"));
        return html.open(QIODevice::ReadOnly) ? QString::fromUtf8(html.readAll()) : QString();
    }

    static QByteArray start(const char *event = "start")
    {
        return QByteArray(R"({"atMs":0,"channel":"device","deviceType":5120,"event":")") + event +
               R"(","link":"tcp://10.0.0.1:15700","tool":"biz_console 9","utc":"2026-05-06T14:00:00.000Z"})" + "\n";
    }

    static QByteArray gaveUp()
    {
        return R"({"atMs":1,"event":"sent","name":"get scene","ticket":1,"utc":"2026-05-06T14:00:00.001Z","waitMs":500})"
               "\n"
               R"({"atMs":700,"event":"gaveUp","name":"get scene","ticket":1,"utc":"2026-05-06T14:00:00.700Z"})"
               "\n";
    }
};

TEST_F(ConsoleReport, PrintsTheVerdictThatStandsOnThePage)
{
    const QString printed = report({write("log.jsonl", start() + gaveUp())});
    EXPECT_TRUE(printed.contains("A2 at tcp://10.0.0.1:15700 never replied")) << printed.toStdString();
    EXPECT_TRUE(page().contains("A2 at tcp://10.0.0.1:15700 never replied"));
}

TEST_F(ConsoleReport, CommandWhoseLogWasRotatedMeanwhileCountsOnceBesideAnotherLog)
{
    const QByteArrayList lines = (start() + gaveUp()).split('\n');
    const QByteArray sent = lines.at(1) + '\n';
    const QByteArray end = lines.at(2) + '\n';
    QByteArray other = start().replace("14:00:00.000", "14:00:00.100").replace("10.0.0.1", "10.0.0.2");
    other += R"({"atMs":1,"event":"summary","utc":"2026-05-06T14:00:00.101Z"})"
             "\n";
    const QString printed =
        report({write("a.jsonl", start() + end), write("b.jsonl", other), write("a.jsonl.1", start() + sent)});
    EXPECT_TRUE(printed.contains("1 command")) << printed.toStdString();
    EXPECT_FALSE(printed.contains("2 commands")) << printed.toStdString();
}

TEST_F(ConsoleReport, TextsOfALogAreShownEscaped)
{
    const QString printed = report({write("log.jsonl", start().replace("10.0.0.1", "\\u001b[31m") + gaveUp())});
    EXPECT_FALSE(printed.contains(QChar(0x1b))) << printed.toStdString();
    EXPECT_TRUE(printed.contains("never replied")) << printed.toStdString();
}

TEST_F(ConsoleReport, MixesEventLogsRecordingsAndErrorLogs)
{
    report({write("20240506.log", "[ORLIXA2][2024-05-06 14:03:22 517]<f1 05 00 81 00>0000\n"),
            write("recording.jsonl", start("recording") + gaveUp()), write("log.jsonl", start() + gaveUp())});
    for (const char *kind : {"<td>error log</td>", "<td>recording</td>", "<td>event log</td>"}) {
        EXPECT_TRUE(page().contains(kind)) << kind;
    }
}

TEST_F(ConsoleReport, OfAPipeIsThatOfItsFile)
{
    QByteArray log = start();
    for (int i = 0; i < 2000; ++i) {
        log += gaveUp();
    }
    const QString ofFile = report({write("log.jsonl", log)});
    RunningConsole piped({"report", "--out", file("page.html"), "-"}, log);
    EXPECT_EQ(piped.exitStatus(), 0);
    EXPECT_EQ(piped.output(), ofFile) << piped.errors().toStdString();
}

TEST_F(ConsoleReport, MayGoToTheStandardOutput)
{
    const QString log = write("log.jsonl", start() + gaveUp());
    RunningConsole dash({"report", "--out", "-", log}, {}, folder.path());
    EXPECT_EQ(dash.exitStatus(), 0) << dash.errors().toStdString();
    EXPECT_TRUE(dash.output().startsWith("<!DOCTYPE html>") && dash.output().endsWith("</html>\n"));
    EXPECT_TRUE(dash.errors().contains("never replied")) << dash.errors().toStdString();
    EXPECT_FALSE(QFile::exists(file("-")));
}

TEST_F(ConsoleReport, APipeIsWrittenToAndNotReplaced)
{
    RunningConsole named({"report", "--out", "/dev/stdout", write("log.jsonl", start() + gaveUp())});
    EXPECT_EQ(named.exitStatus(), 0) << named.errors().toStdString();
    EXPECT_TRUE(named.output().startsWith("<!DOCTYPE html>")) << named.output().left(100).toStdString();
}

TEST_F(ConsoleReport, AFileThatIsNamedTwiceCountsOnce)
{
    const QString log = write("log.jsonl", start() + gaveUp());
    report({log});
    const auto rows = page().count("<td>event log</td>");
    ASSERT_TRUE(QFile::link(log, file("link.jsonl")));
    const QString printed = report({log, file("link.jsonl"), log});
    EXPECT_TRUE(printed.contains("link.jsonl: named twice; it counts once\n")) << printed.toStdString();
    EXPECT_EQ(page().count("<td>event log</td>"), rows);
}

TEST_F(ConsoleReport, FileOfAnotherKindIsNamedAndNothingIsWritten)
{
    const QString printed = report({write("shopping.txt", "milk\n")}, 2);
    EXPECT_TRUE(printed.contains("shopping.txt: an event log, a recording or an error log expected"));
    EXPECT_EQ(printed.count('\n'), 1);
    EXPECT_FALSE(QFile::exists(file("page.html")));
}

TEST_F(ConsoleReport, AnEmptyFileIsCountedAmongOthersAndRefusedAlone)
{
    const QString empty = write("empty.jsonl", "");
    const QString printed = report({empty, write("log.jsonl", start() + gaveUp())});
    EXPECT_TRUE(printed.contains("never replied")) << printed.toStdString();
    EXPECT_TRUE(page().contains("empty.jsonl"));
    EXPECT_TRUE(report({empty}, 2).contains("empty.jsonl: an event log, a recording or an error log expected"));
}

TEST_F(ConsoleReport, MissingFileIsNamed)
{
    EXPECT_TRUE(report({file("nowhere.jsonl")}, 2).contains("nowhere.jsonl: cannot be read"));
}

TEST_F(ConsoleReport, APageNeverTakesThePlaceOfALog)
{
    const QString log = write("page.html", start() + gaveUp());
    EXPECT_TRUE(report({log}, 2).contains("--out: another file than those that are read expected"));
    EXPECT_TRUE(page().startsWith("{"));
}

TEST_F(ConsoleReport, NeedsAFile)
{
    EXPECT_TRUE(report({}, 2).contains("a file is missing"));
}

} // namespace
