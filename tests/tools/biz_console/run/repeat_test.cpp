#include <csignal>

#include <QtCore/QElapsedTimer>

#include <tools/support/console_process.h>

using namespace biz::test;

namespace {

class ConsoleRepeat : public ConsoleOsd
{
};

TEST_F(ConsoleRepeat, TheSessionIsPlayedAsOftenAsAsked)
{
    FakeDevice device(FakeDevice::echo);
    RunningConsole console(runArguments(session(getVolumeTimes(2)), device.url()) + QStringList{"--repeat", "3"});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output());
    EXPECT_EQ(device.commands(), 6);
    EXPECT_TRUE(console.output().contains("all 6 commands ended as expected"));
}

TEST_F(ConsoleRepeat, AMismatchNamesItsRound)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) {
        if (self.commands() == 1) {
            self.send(command);
        }
    });
    RunningConsole console(runArguments(session(getVolume), device.url()) + QStringList{"--repeat", "2"});
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().contains("not as expected\n  get volume (round 2): expected answered without events"))
        << qPrintable(console.output());
    EXPECT_TRUE(console.output().contains("1 of 2 commands did not end as expected"));
}

TEST_F(ConsoleRepeat, WithoutEndAnInterruptIsItsProperEnd)
{
    RunningConsole *running = nullptr;
    FakeDevice device([&running](FakeDevice &self, const model_Protocoldata &command) {
        self.send(command);
        if (self.commands() == 9) {
            running->sendSignal(SIGINT);
        }
    });
    RunningConsole console(runArguments(session(getVolumeTimes(2)), device.url()) + QStringList{"--repeat", "0"});
    running = &console;
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output());
    EXPECT_EQ(console.errors(), "");
    EXPECT_FALSE(console.output().contains("stopped before they ended"));
    EXPECT_TRUE(console.output().contains(QRegularExpression("all [0-9]+ commands ended as expected\n$")))
        << qPrintable(console.output());
}

TEST_F(ConsoleRepeat, WithoutEndAMismatchIsStillOneAtTheInterrupt)
{
    FakeDevice device([](FakeDevice &self, const model_Protocoldata &command) {
        if (self.commands() > 2) {
            self.send(command);
        }
    });
    RunningConsole console(runArguments(session(getVolume), device.url()) + QStringList{"--repeat", "0"});
    ASSERT_TRUE(console.waitForOutput("answered"));
    console.sendSignal(SIGTERM);
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().contains("get volume (round 1): expected answered without events, was gaveUp"))
        << qPrintable(console.output());
}

TEST_F(ConsoleRepeat, AnInterruptOfAFiniteRunAccountsForTheRoundsThatWereLeft)
{
    FakeDevice device(FakeDevice::stayAway);
    RunningConsole console(runArguments(session(getVolumeTimes(5)), device.url()) + QStringList{"--repeat", "1000000"});
    ASSERT_TRUE(console.waitForOutput("get volume                    sent"));
    console.sendSignal(SIGINT);
    EXPECT_EQ(console.exitStatus(), 1);
    EXPECT_TRUE(console.output().contains(QRegularExpression("  get volume \\((5000000|4999999) times\\)\n")))
        << qPrintable(console.output());
}

TEST_F(ConsoleRepeat, AnOsdSessionIsRepeatedAsAWhole)
{
    RunningConsole console(osdArguments(osdSession(R"(["127.3.0.2"])")) + QStringList{"--repeat", "2"});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output());
    EXPECT_TRUE(console.output().contains("127.3.0.1                        4         4         0         0"));
    EXPECT_TRUE(console.output().contains("127.3.0.2                        4         0         4         0"));
    EXPECT_TRUE(console.output().contains("all 12 commands ended as expected"));
}

TEST_F(ConsoleRepeat, ARateKeepsCommandsApart)
{
    QElapsedTimer time;
    qint64 lastMs = 0;
    FakeDevice device([&](FakeDevice &self, const model_Protocoldata &command) {
        lastMs = time.elapsed();
        self.send(command);
    });
    time.start();
    RunningConsole console(runArguments(session(getVolumeTimes(6)), device.url()) + QStringList{"--rate", "10"});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output());
    EXPECT_EQ(device.commands(), 6);
    // Five periods of 100 ms, less what timers may be early.
    EXPECT_GE(lastMs, 490);
}

TEST_F(ConsoleRepeat, ARateConcernsAllOsdDevicesTogether)
{
    QElapsedTimer time;
    time.start();
    RunningConsole console(osdArguments(osdSession(R"(["127.3.0.2"])")) + QStringList{"--rate", "5"});
    EXPECT_EQ(console.exitStatus(), 0) << qPrintable(console.output());
    EXPECT_GE(time.elapsed(), 1000);
}

} // namespace
