#include <gtest/gtest.h>

#include <tools/support/console_process.h>

using namespace biz::test;

namespace {

using ConsoleMetrics = ConsoleProcess;

TEST_F(ConsoleMetrics, EndOfARunIsInTheFile)
{
    FakeDevice device(FakeDevice::echo);
    RunningConsole console(runArguments(session(getVolumeTimes(3)), device.url()) +
                           QStringList{"--metrics", file("wall.prom")});
    EXPECT_EQ(console.exitStatus(), 0) << console.errors().toStdString();
    QFile metrics(file("wall.prom"));
    ASSERT_TRUE(metrics.open(QIODevice::ReadOnly));
    const QByteArray text = metrics.readAll();
    EXPECT_TRUE(text.contains("biz_commands_ended_total{channel=\"device\",outcome=\"answered\"} 3\n"))
        << text.toStdString();
}

TEST_F(ConsoleMetrics, FileIsNotThatOfTheSession)
{
    const QString path = session(getVolume);
    RunningConsole console(runArguments(path, "tcp://127.0.0.1:1") + QStringList{"--metrics", path});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_TRUE(console.errors().contains("--metrics: another file than that of the session expected"))
        << console.errors().toStdString();
}

TEST_F(ConsoleMetrics, FileHasANameAndIsNotTheStandardOutput)
{
    for (const char *option : {"--metrics", "--record", "--record-on-failure", "--junit"}) {
        RunningConsole console(runArguments(session(getVolume), "tcp://127.0.0.1:1") + QStringList{option, "-"}, {},
                               folder.path());
        EXPECT_EQ(console.exitStatus(), 2);
        EXPECT_EQ(console.errors(), QStringLiteral("biz_console: %1: the name of a file expected, not '-': it is not "
                                                   "written to the standard output\n"
                                                   "Try 'biz_console run --help'.\n")
                                        .arg(option));
        EXPECT_FALSE(QFile::exists(file("-")));
    }
}

TEST_F(ConsoleMetrics, FileThatCannotBeWrittenStopsTheRunBeforeItBegins)
{
    FakeDevice device(FakeDevice::echo);
    RunningConsole console(runArguments(session(getVolume), device.url()) +
                           QStringList{"--metrics", "/nowhere/at/all/wall.prom"});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_TRUE(console.errors().contains("--metrics: /nowhere/at/all/wall.prom")) << console.errors().toStdString();
}

} // namespace
