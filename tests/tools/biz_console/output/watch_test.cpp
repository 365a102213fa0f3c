#include <csignal>

#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

#include <host/support/pseudo_terminal.h>
#include <tools/support/console_process.h>

using namespace biz::test;

namespace {

/** Goes up over what was drawn and clears it. */
const QRegularExpression redrawing("\033\\[[0-9]+A\r\033\\[J");

/** The console with a terminal as its standard output. */
class ConsoleWatch : public ConsoleProcess
{
protected:
    void start(const QStringList &arguments)
    {
        process.setStandardOutputFile(terminal.port());
        process.start(QStringLiteral(BIZ_CONSOLE), arguments);
    }

    template<typename Condition>
    bool waitUntil(Condition condition)
    {
        constexpr int patienceMs = 20'000;
        QElapsedTimer time;
        time.start();
        while (!condition() && !time.hasExpired(patienceMs)) {
            QEventLoop loop;
            QTimer::singleShot(2, &loop, &QEventLoop::quit);
            loop.exec();
            shown += QString::fromUtf8(terminal.read());
        }
        return condition();
    }

    /** The exit status, with all that was shown read. */
    int exitStatus()
    {
        const bool ended = waitUntil([this] { return process.state() == QProcess::NotRunning; });
        shown += QString::fromUtf8(terminal.read());
        return ended && process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    PseudoTerminal terminal;
    QProcess process;
    QString shown;
};

TEST_F(ConsoleWatch, IsDrawnInPlaceAndGivesWayToTheSummary)
{
    FakeDevice device(FakeDevice::echo);
    start(runArguments(session(getVolumeTimes(8)), device.url()) + QStringList{"--watch", "--rate", "10"});
    EXPECT_EQ(exitStatus(), 0) << qPrintable(shown);
    EXPECT_GE(shown.count(redrawing), 2) << qPrintable(shown);
    EXPECT_TRUE(shown.contains(" of 8 ended, ")) << qPrintable(shown);
    EXPECT_TRUE(shown.contains("foreign 0\r\n")) << "no counter is lost at 80 columns: " << qPrintable(shown);
    const QString last = shown.mid(shown.lastIndexOf(redrawing));
    EXPECT_TRUE(last.contains("summary\r\n")) << qPrintable(last);
    EXPECT_TRUE(last.endsWith("  all 8 commands ended as expected\r\n")) << qPrintable(last);
}

TEST_F(ConsoleWatch, AnInterruptLeavesTheSummaryAndATerminalAsItWas)
{
    FakeDevice device(FakeDevice::echo);
    start(runArguments(session(getVolume), device.url()) + QStringList{"--watch", "--repeat", "0", "--rate", "50"});
    ASSERT_TRUE(waitUntil([this] { return shown.contains(redrawing); })) << qPrintable(shown);
    kill(static_cast<pid_t>(process.processId()), SIGINT);
    EXPECT_EQ(exitStatus(), 0) << qPrintable(shown);
    EXPECT_TRUE(shown.contains(QRegularExpression(" commands? ended as expected\r\n$"))) << qPrintable(shown);
    // Nothing was set that would have to be set back: no hidden cursor, no other screen, no colour.
    EXPECT_FALSE(shown.contains("\033[?"));
    EXPECT_FALSE(shown.contains(QRegularExpression("\033\\[[0-9;]*m")));
}

TEST_F(ConsoleWatch, WhereTheOutputIsNoTerminalThereAreLines)
{
    FakeDevice device(FakeDevice::echo);
    RunningConsole console(runArguments(session(getVolume), device.url()) + QStringList{"--watch"});
    EXPECT_EQ(console.exitStatus(), 0);
    EXPECT_TRUE(console.output().startsWith("time          seq  command")) << qPrintable(console.output());
    EXPECT_FALSE(console.output().contains('\033'));
}

TEST_F(ConsoleWatch, IsNotForJson)
{
    RunningConsole console(runArguments(session(getVolume), "tcp://127.0.0.1:1") + QStringList{"--watch", "--json"});
    EXPECT_EQ(console.exitStatus(), 2);
    EXPECT_EQ(console.errors(), "biz_console: --watch: cannot be used beside --json\nTry 'biz_console run --help'.\n");
}

} // namespace
