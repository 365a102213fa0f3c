#include <csignal>

#include <gtest/gtest.h>

#include <QtCore/QXmlStreamReader>

#include <tools/support/console_process.h>

using namespace biz::test;

namespace {

class ConsoleJunit : public ConsoleProcess
{
protected:
    QStringList reportArguments(const QString &sessionFile, const QString &url) const
    {
        return runArguments(sessionFile, url) + QStringList{"--junit", file("report.xml")};
    }

    /** The elements of the report: "testcase F1/08 get volume", "failure expected...". */
    QStringList elements() const
    {
        QFile report(file("report.xml"));
        EXPECT_TRUE(report.open(QIODevice::ReadOnly));
        QXmlStreamReader xml(&report);
        QStringList elements;
        while (!xml.atEnd()) {
            if (xml.readNext() == QXmlStreamReader::StartElement) {
                const QXmlStreamAttributes attributes = xml.attributes();
                const QString what = (attributes.value("name").toString() + attributes.value("message").toString());
                elements.append(xml.name().toString() + " " + what);
            }
        }
        EXPECT_FALSE(xml.hasError()) << qPrintable(xml.errorString());
        return elements;
    }
};

TEST_F(ConsoleJunit, EachCommandIsATestCase)
{
    FakeDevice device(FakeDevice::echo);
    RunningConsole console(reportArguments(session(getVolumeTimes(2)), device.url()));
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    EXPECT_EQ(elements(), (QStringList{"testsuite session", "testcase F1/08 get volume (1 of 2)",
                                       "testcase F1/08 get volume (2 of 2)", "testcase the run came to its end"}))
        << qPrintable(elements().join('\n'));
}

TEST_F(ConsoleJunit, ACommandThatDidNotEndAsExpectedFails)
{
    FakeDevice device(FakeDevice::stayAway);
    RunningConsole console(reportArguments(session(getVolume), device.url()));
    EXPECT_EQ(console.exitStatus(), 1);
    ASSERT_EQ(elements().size(), 4) << qPrintable(elements().join('\n'));
    EXPECT_TRUE(elements().at(2).startsWith("failure expected answered without events, was gaveUp with resent ("));
}

TEST_F(ConsoleJunit, ARunThatEndsEarlyIsAnError)
{
    RunningConsole console(reportArguments(session(getVolume), "tcp://127.0.0.1:1"));
    EXPECT_EQ(console.exitStatus(), 3);
    EXPECT_TRUE(elements().last().startsWith("error cannot reach tcp://127.0.0.1:1")) << qPrintable(elements().last());
}

TEST_F(ConsoleJunit, CommandsThatTheUserStoppedAreNoFailures)
{
    FakeDevice device(FakeDevice::stayAway);
    const QString waiting = session(R"({"name": "wait", "head": "01 02 03 62 01 00", "waitMs": 60000})");
    RunningConsole console(reportArguments(waiting, device.url()) + QStringList{"--repeat", "0"});
    ASSERT_TRUE(console.waitForOutput(" sent\n"));
    console.sendSignal(SIGINT);
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    EXPECT_TRUE(elements().filter("failure").isEmpty()) << qPrintable(elements().join('\n'));
    EXPECT_EQ(elements().filter("skipped").size(), 1) << qPrintable(elements().join('\n'));
}

TEST_F(ConsoleJunit, NamesThatXmlCannotSayAreWrittenOut)
{
    FakeDevice device(FakeDevice::echo);
    RunningConsole console(
        reportArguments(session(R"({"name": "<\u001b&\"", "head": "F1 08 03 62 01 00"})"), device.url()));
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_EQ(elements().value(1), "testcase F1/08 <\\x1b&\"");
}

TEST_F(ConsoleJunit, TheSessionIsNeverOverwritten)
{
    const QString path = session(getVolume);
    RunningConsole console(runArguments(path, "tcp://127.0.0.1:1") + QStringList{"--junit", path});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_TRUE(console.errors().startsWith("biz_console: --junit: another file than that of the session expected\n"));
    EXPECT_GT(QFileInfo(path).size(), 0);
}

TEST_F(ConsoleProcess, DeviceAndLogFolderMayComeFromTheEnvironment)
{
    FakeDevice device(FakeDevice::answerShort);
    qputenv("BIZ_DEVICE", device.url().toUtf8());
    qputenv("BIZ_LOG_DIR", file("logs").toUtf8());
    RunningConsole console({"run", session(refusedCommand, "5120")});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.errors());
    qputenv("BIZ_DEVICE", "nowhere");
    RunningConsole wrong({"run", session(getVolume)});
    EXPECT_EQ(wrong.exitStatus(), 2);
    qunsetenv("BIZ_DEVICE");
    qunsetenv("BIZ_LOG_DIR");
    EXPECT_EQ(errorLogs().size(), 1);
    EXPECT_TRUE(wrong.errors().startsWith("biz_console: BIZ_DEVICE: ")) << qPrintable(wrong.errors());
}

} // namespace
