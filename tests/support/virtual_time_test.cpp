#include <support/virtual_time.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include <biz_cmdswork/biz_cmdswork.h>

using namespace biz::test;
using std::vector;

namespace {

void sleepFor(milliseconds duration)
{
    const timespec request{duration.count() / 1000, duration.count() % 1000 * 1000000};
    nanosleep(&request, nullptr);
}

/** Notes its letter at each wake-up, `times` times. */
auto ticker(std::string &trace, char letter, milliseconds period, int times)
{
    return [&trace, letter, period, times] {
        for (int i = 0; i < times; ++i) {
            sleepFor(period);
            trace += letter;
        }
    };
}

TEST(VirtualTime, TheLibrarysLoopMakesNoPassWithoutAStep)
{
    VirtualTime time;
    biz_CMDSWork worker;
    worker.m_bSendRun = true;
    const int before = biz_CMDSWork::iWatchdogSleepCnt;

    const auto loop = time.start("send loop", [&worker] { worker.a1_GetQueueWork(); });
    EXPECT_TRUE(time.isParked(loop));
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, before);
    time.step(loop, 7);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, before + 7);

    worker.m_bSendRun = false;
    time.finish();
    EXPECT_TRUE(time.hasEnded(loop));
    biz_CMDSWork::iWatchdogSleepCnt = before;
}

TEST(VirtualTime, QtsClockShowsTheVirtualWallClock)
{
    VirtualTime time;
    const QDateTime moment(QDate(2024, 5, 6), QTime(14, 3, 22, 517));
    time.setWallClock(moment);
    EXPECT_EQ(QDateTime::currentDateTime(), moment);
    time.advance(milliseconds(1483));
    EXPECT_EQ(QDateTime::currentDateTime(), moment.addMSecs(1483));
    time.setWallClock(moment.addDays(-1));
    EXPECT_EQ(QDateTime::currentDateTime(), moment.addDays(-1));
    EXPECT_EQ(time.now(), milliseconds(1483));
}

TEST(VirtualTime, TheStandardLibrarysClockShowsTheVirtualWallClock)
{
    VirtualTime time;
    const QDateTime moment(QDate(2024, 5, 6), QTime(14, 3, 22, 517));
    time.setWallClock(moment);
    EXPECT_EQ(std::chrono::system_clock::now().time_since_epoch(), milliseconds(moment.toMSecsSinceEpoch()));
}

TEST(VirtualTime, PreparedReadingsComeFirst)
{
    VirtualTime time;
    const QDateTime moment(QDate(2024, 5, 6), QTime(0, 0));
    time.setWallClock(moment);
    time.setNextWallClockReadings({moment.addDays(1), moment.addDays(2)});
    EXPECT_EQ(QDateTime::currentDateTime(), moment.addDays(1));
    EXPECT_EQ(QDateTime::currentDateTime(), moment.addDays(2));
    EXPECT_EQ(QDateTime::currentDateTime(), moment);
    EXPECT_EQ(time.wallClockReadings(), 3);
}

TEST(VirtualTime, EachReadingOfTheWallClockIsSeenBeforeItIsMade)
{
    VirtualTime time;
    vector<int> readingsBefore;
    time.onWallClockReading([&] { readingsBefore.push_back(time.wallClockReadings()); });
    QDateTime::currentDateTime();
    QDateTime::currentDateTime();
    EXPECT_EQ(readingsBefore, (vector<int>{0, 1}));
}

TEST(VirtualTime, ThreadsWakeInTheOrderOfTheirWakeUpTimes)
{
    VirtualTime time;
    std::string trace;
    time.start("slow", ticker(trace, 's', milliseconds(30), 2));
    time.start("fast", ticker(trace, 'f', milliseconds(20), 3));
    time.advance(milliseconds(59));
    EXPECT_EQ(trace, "fsf");
    time.advance(milliseconds(1)); // both are due at 60 ms; the slow one parked first
    EXPECT_EQ(trace, "fsfsf");
    EXPECT_TRUE(time.alive().empty());
}

TEST(VirtualTime, AStepMovesTimeToTheWakeUp)
{
    VirtualTime time;
    std::string trace;
    const auto thread = time.start("ticker", ticker(trace, 't', milliseconds(10), 2));
    EXPECT_EQ(time.wakeUpTime(thread), milliseconds(10));
    time.step(thread);
    EXPECT_EQ(time.now(), milliseconds(10));
    time.step(thread);
    EXPECT_EQ(trace, "tt");
}

TEST(VirtualTime, AThreadStartedOnTheWayIsAwaitedUntilItSleeps)
{
    VirtualTime time;
    std::atomic<bool> childRan{false};
    const auto parent = time.start("parent", [&childRan] {
        sleepFor(milliseconds(10));
        std::thread([&childRan] {
            childRan = true;
            sleepFor(milliseconds(5));
        }).detach();
    });
    time.step(parent);
    EXPECT_TRUE(childRan);
    EXPECT_TRUE(time.hasEnded(parent));
    EXPECT_EQ(time.alive(), vector<ThreadId>{2});
    time.step(2);
    EXPECT_TRUE(time.alive().empty());
}

TEST(VirtualTime, AZeroSleepCanBeStepped)
{
    VirtualTime time;
    const auto thread = time.start("zero", [] { sleepFor(milliseconds(0)); });
    EXPECT_TRUE(time.isParked(thread));
    time.advance(milliseconds(0));
    EXPECT_TRUE(time.hasEnded(thread));
}

TEST(VirtualTime, ANegativeSleepIsRefusedAtOnce)
{
    VirtualTime time;
    const timespec request{0, -1};
    errno = 0;
    EXPECT_EQ(nanosleep(&request, nullptr), -1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(time.now(), nanoseconds(0));
    EXPECT_EQ(time.sleeps(), (vector<SleepRequest>{{testThread, 0, -1}}));
}

TEST(VirtualTime, AnInterruptedSleepReturnsEarly)
{
    VirtualTime time;
    int result = 0;
    int error = 0;
    const auto thread = time.start("sleeper", [&] {
        const timespec request{1, 0};
        result = nanosleep(&request, nullptr);
        error = errno;
    });
    time.interrupt(thread);
    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, EINTR);
    EXPECT_EQ(time.now(), nanoseconds(0));
}

TEST(VirtualTime, TheTestThreadsSleepRunsTheHookAndMovesTimeOn)
{
    VirtualTime time;
    int calls = 0;
    time.onOwnSleep([&calls](const SleepRequest &request) { calls += static_cast<int>(request.seconds); });
    sleepFor(milliseconds(2000));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(time.now(), seconds(2));
}

TEST(VirtualTime, AThreadStartCanFail)
{
    VirtualTime time;
    time.failNextThreadStart(EAGAIN);
    EXPECT_THROW(std::thread([] {}), std::system_error);
    std::thread([] {}).join();
    EXPECT_EQ(time.threadCount(), 1);
}

TEST(VirtualTime, UnfollowedThreadsSleepInRealTime)
{
    VirtualTime time;
    const Unfollowed scope;
    ThreadId seen = testThread;
    std::thread([&seen] {
        sleepFor(milliseconds(1));
        seen = VirtualTime::currentThread();
    }).join();
    EXPECT_EQ(seen, unfollowedThread);
    EXPECT_TRUE(time.sleeps().empty());
}

TEST(VirtualTime, ThreadsThatDoNotEndAreReported)
{
    VirtualTime time;
    std::atomic<bool> run{true};
    time.start("restless", [&run] {
        while (run) {
            sleepFor(milliseconds(1));
        }
    });
    EXPECT_THROW(time.finish(50), std::runtime_error);
    run = false;
    time.finish();
}

TEST(VirtualTime, HurryShortensRealSleeps)
{
    const auto before = std::chrono::steady_clock::now();
    {
        const Hurry hurry(1000);
        sleepFor(milliseconds(100000)); // a tenth of a second is left of it
    }
    const auto passed = std::chrono::steady_clock::now() - before;
    EXPECT_GE(passed, milliseconds(100));
    EXPECT_LT(passed, seconds(60));
}

TEST(VirtualTime, WithoutTheObjectTheCallsGoToTheSystem)
{
    const auto before = std::chrono::steady_clock::now();
    sleepFor(milliseconds(2));
    EXPECT_GE(std::chrono::steady_clock::now() - before, milliseconds(2));
    EXPECT_GT(QDateTime::currentDateTime().date().year(), 2024);
}

} // namespace
