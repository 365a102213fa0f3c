#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

#include "osd_host_fixture.h"
#include <host/support/on_thread.h>

using namespace biz::host;
using namespace biz::test;

namespace {

class OsdLife : public OsdHostFixture
{
};

int threadsOfThisProcess()
{
    const QDir threads(QStringLiteral("/proc/self/task"));
    return static_cast<int>(threads.entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
}

} // namespace

TEST_F(OsdLife, ASecondHostIsRefusedAndChangesNothing)
{
    PlayedDevice &one = device(1);
    {
        OsdHost second;
        EXPECT_FALSE(second.isValid());
        EXPECT_EQ(second.error(), Error::ChannelTaken);
        EXPECT_TRUE(second.errorString().contains("held"));
        EXPECT_FALSE(second.setPort(1));
        EXPECT_FALSE(second.setDefaultWaitTime(1));
        EXPECT_FALSE(second.setTransport(nullptr));
        EXPECT_FALSE(second.start());
        EXPECT_EQ(second.enqueue(command(one.ip, answeredWaitMs)), 0U);
        second.clear();
        EXPECT_TRUE(second.stop().clean());
    }
    start();
    EXPECT_EQ(waitForOutcome(enqueue(one)), "answered");
}

TEST_F(OsdLife, AHostThatIsMovedToAnotherThreadSpeaksThere)
{
    QThread thread;
    PlayedDevice &one = device(1);
    host.reset();
    host = std::make_unique<OsdHost>(); // unheard by the fixture, which stays on this thread
    usePort();
    QObject context;
    context.moveToThread(&thread);
    host->moveToThread(&thread);
    thread.start();
    std::atomic<bool> answered{false};
    QObject::connect(
        host.get(), &OsdHost::ended, host.get(),
        [&](Ticket, const OsdCommandResult &result) {
            answered = QThread::currentThread() == &thread && result.outcome == Outcome::Answered;
        },
        Qt::DirectConnection);
    runOnThreadOf(&context, [&] {
        EXPECT_TRUE(host->start());
        EXPECT_NE(host->enqueue(command(one.ip, answeredWaitMs)), 0U);
    });
    EXPECT_TRUE(waitFor([&] { return answered.load(); }));
    runOnThreadOf(&context, [&] { host.reset(); });
    thread.quit();
    thread.wait();
}

TEST_F(OsdLife, AStartFollowsAStopAtOnce)
{
    constexpr int atOnceMs = 100; // a fifth of what the time-out loop takes to notice anything
    PlayedDevice &one = device(1);
    start();
    QElapsedTimer clock;
    clock.start();
    EXPECT_TRUE(host->stop().clean());
    start();
    EXPECT_LT(clock.elapsed(), atOnceMs);
    ASSERT_TRUE(waitForEnd(enqueue(one)));
    EXPECT_EQ(host->counters().answered, 1U);
}

TEST_F(OsdLife, NothingOfAFormerRunGivesACommandUpEarly)
{
    PlayedDevice &one = device(1);
    start();
    EXPECT_TRUE(host->stop().clean());
    start();
    const Ticket first = occupy(one);
    const Ticket second = enqueue(one, endlessWaitMs);
    EXPECT_FALSE(waitFor([&] { return ends.count(first) != 0 || one.commands.size() > 1; }, 2 * timeoutPeriodMs));
    EXPECT_EQ(ends.count(second), 0U);
}

TEST_F(OsdLife, TwoHundredStartsAndStopsAddNoThread)
{
    constexpr int rounds = 200;
    PlayedDevice &one = device(1);
    start();
    ASSERT_TRUE(waitForEnd(enqueue(one)));
    const int before = threadsOfThisProcess();
    for (int round = 0; round < rounds; ++round) {
        ASSERT_TRUE(host->stop().clean()) << round;
        start();
        const Ticket ticket = enqueue(one);
        if (round % 2 == 0) {
            ASSERT_TRUE(waitForEnd(ticket)) << round;
        }
    }
    EXPECT_EQ(threadsOfThisProcess(), before);
}

TEST_F(OsdLife, TwentyHostsOneAfterTheOtherShareTheLoops)
{
    constexpr int hosts = 20;
    PlayedDevice &one = device(1);
    start();
    ASSERT_TRUE(waitForEnd(enqueue(one)));
    const int before = threadsOfThisProcess();
    for (int i = 0; i < hosts; ++i) {
        makeHost();
        start();
        ASSERT_TRUE(waitForEnd(enqueue(one))) << i;
        EXPECT_EQ(host->counters().answered, 1U);
    }
    EXPECT_EQ(threadsOfThisProcess(), before);
}

TEST_F(OsdLife, ASecondStartIsRefused)
{
    start();
    EXPECT_FALSE(host->start());
    EXPECT_EQ(host->error(), Error::AlreadyRunning);
    EXPECT_TRUE(host->isRunning());
}

TEST_F(OsdLife, ASecondStopFindsNothing)
{
    PlayedDevice &one = device(1);
    start();
    enqueue(one);
    EXPECT_EQ(host->stop().pending, 1);
    const StopReport second = host->stop();
    EXPECT_TRUE(second.clean());
    EXPECT_EQ(second.pending, 0);
}

TEST_F(OsdLife, AStoppedHostKeepsNewCommandsForTheNextStart)
{
    PlayedDevice &one = device(1);
    start();
    EXPECT_TRUE(host->stop().clean());
    const Ticket ticket = enqueue(one);
    EXPECT_EQ(host->waiting(), 1);
    start();
    EXPECT_EQ(waitForOutcome(ticket), "answered");
}

// The loops have announced the commands, and the busy host has not looked at them yet.
TEST_F(OsdLife, AStopOfABusyHostWritesNothing)
{
    constexpr int busyMs = 60;
    constexpr int commands = 4;
    start();
    for (int i = 1; i <= commands; ++i) {
        enqueue(device(i), endlessWaitMs);
    }
    keepThreadBusy(busyMs);
    EXPECT_EQ(host->stop().pending, commands);
    ASSERT_TRUE(waitFor([this] { return ends.size() == given.size(); }));
    EXPECT_EQ(count("sent"), 0);
    EXPECT_EQ(host->counters().stopped, static_cast<quint64>(commands));
    start();
    ASSERT_TRUE(waitForEnd(enqueue(device(1), answeredWaitMs, "after"))) << "the device is held up";
    EXPECT_EQ(device(1).payloads(), QByteArrayList{"after"});
}

TEST_F(OsdLife, DestructionIsSafeInEveryState)
{
    enum State { Fresh, Waiting, Idle, HandedOver, InFlight, GivingUp, Stopped, StartedAgain, states };
    PlayedDevice &one = device(1);
    one.answers = false;
    for (int state = Fresh; state < states; ++state) {
        SCOPED_TRACE(state);
        makeHost();
        if (state != Fresh && state != Waiting) {
            start();
        }
        if (state == Waiting || state == HandedOver) {
            enqueue(one);
        }
        if (state >= InFlight) {
            one.commands.clear();
            enqueue(one, state == InFlight ? endlessWaitMs : givenUpWaitMs);
            enqueue(one, endlessWaitMs);
            ASSERT_TRUE(waitFor([&] { return !one.commands.empty(); }));
        }
        if (state >= Stopped) {
            host->stop();
        }
        if (state == StartedAgain) {
            ASSERT_TRUE(host->start());
        }
        host.reset();
        ends.clear();
        given.clear();
    }
}

TEST_F(OsdLife, ADestroyedHostTellsTheCallbacksOfPendingCommandsAndNobodyElse)
{
    PlayedDevice &silent = device(1);
    start();
    occupy(silent);
    std::map<Ticket, Outcome> told;
    QObject context;
    const auto hear = [&told](Ticket ticket, const OsdCommandResult &result) {
        told[ticket] = result.outcome;
    };
    const Ticket waiting = host->enqueue(command(silent.ip, answeredWaitMs), {}, &context, hear);
    host.reset();
    EXPECT_TRUE(told.empty()) << "it is told by an event";
    ASSERT_TRUE(waitFor([&] { return told.count(waiting) != 0; }));
    EXPECT_EQ(told[waiting], Outcome::Stopped);
    EXPECT_EQ(count("ended"), 0);
    given.clear();
}
