#include <gtest/gtest.h>

#include <QtCore/QProcess>

namespace {

/** The monitor where there is no screen to show a window on. */
class MonitorWithoutAScreen : public testing::Test
{
protected:
    int exitCodeOf(const QStringList &arguments)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove("DISPLAY");
        environment.remove("WAYLAND_DISPLAY");
        environment.insert("QT_QPA_PLATFORM", "xcb");
        monitor.setProcessEnvironment(environment);
        monitor.start(QStringLiteral(BIZ_MONITOR), arguments);
        EXPECT_TRUE(monitor.waitForFinished());
        EXPECT_EQ(monitor.exitStatus(), QProcess::NormalExit);
        return monitor.exitCode();
    }

    QProcess monitor;
};

} // namespace

TEST_F(MonitorWithoutAScreen, NamesAnUnknownOption)
{
    EXPECT_EQ(exitCodeOf({"--bogus"}), 2);
    EXPECT_EQ(monitor.readAllStandardError(), "biz_monitor: unknown option '--bogus'\nTry 'biz_monitor --help'.\n");
}

TEST_F(MonitorWithoutAScreen, PrintsItsHelp)
{
    EXPECT_EQ(exitCodeOf({"--help"}), 0);
    EXPECT_TRUE(monitor.readAllStandardOutput().contains("--socket <name>"));
}

TEST_F(MonitorWithoutAScreen, SaysThatItsHelpCannotBeWritten)
{
    monitor.setStandardOutputFile("/dev/full");
    EXPECT_EQ(exitCodeOf({"--help"}), 1);
    EXPECT_EQ(monitor.readAllStandardError(), "biz_monitor: the output cannot be written\n");
}
