#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <ctime>
#include <mutex>
#include <set>
#include <shared_mutex>
#include <string>
#include <thread>
#include <vector>

#include <QtCore/QDateTime>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QMutex>
#include <QtCore/QPointer>
#include <QtCore/QSemaphore>
#include <QtCore/QThread>
#include <QtCore/QTimer>

#include <testkit/test_clock.h>

// What the clock does with the means by which programs wait.

namespace {

using namespace std::chrono_literals;
using biz::testkit::TestClock;
using std::chrono::milliseconds;

qint64 msOf(std::chrono::nanoseconds duration)
{
    return std::chrono::duration_cast<milliseconds>(duration).count();
}

/** Qt rounds up. */
constexpr milliseconds lateTimer = 1ms;

// --- Time -------------------------------------------------------------------------------------

TEST(TestClock, AllClocksMoveByTheSameTime)
{
    TestClock clock;
    QElapsedTimer elapsed;
    elapsed.start();
    const qint64 wall = QDateTime::currentMSecsSinceEpoch();
    const auto steady = std::chrono::steady_clock::now();
    const auto system = std::chrono::system_clock::now();
    const std::time_t second = std::time(nullptr);
    clock.advance(90min);
    EXPECT_EQ(clock.elapsed(), 90min);
    EXPECT_EQ(elapsed.elapsed(), msOf(90min));
    EXPECT_EQ(QDateTime::currentMSecsSinceEpoch() - wall, msOf(90min));
    EXPECT_EQ(std::chrono::steady_clock::now() - steady, 90min);
    EXPECT_EQ(std::chrono::system_clock::now() - system, 90min);
    EXPECT_EQ(std::time(nullptr) - second, 90 * 60);
}

TEST(TestClock, TimeStandsWhileTheTestRuns)
{
    const TestClock clock;
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(std::chrono::steady_clock::now(), before);
}

TEST(TestClock, WallClockIsSetWithoutMovingTheOther)
{
    TestClock clock;
    const QDateTime newYear(QDate(2031, 12, 31), QTime(23, 59, 59), Qt::UTC);
    clock.setWallClock(newYear);
    EXPECT_EQ(QDateTime::currentDateTimeUtc(), newYear);
    clock.advance(1s);
    EXPECT_EQ(QDateTime::currentDateTimeUtc(), newYear.addSecs(1));
    EXPECT_EQ(clock.elapsed(), 1s);
}

TEST(TestClock, MomentsOfAWallClockThatWasSetFarBackAreWaitedFor)
{
    TestClock clock;
    clock.setWallClock(QDateTime(QDate(1990, 1, 1), QTime(0, 0), Qt::UTC));
    std::mutex mutex;
    std::condition_variable never;
    std::unique_lock<std::mutex> lock(mutex);
    EXPECT_EQ(never.wait_until(lock, std::chrono::system_clock::now() + 2s), std::cv_status::timeout);
    EXPECT_EQ(clock.elapsed(), 2s);
    timespec moment{};
    ::clock_gettime(CLOCK_REALTIME, &moment);
    moment.tv_sec += 3;
    EXPECT_EQ(::clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &moment, nullptr), 0);
    EXPECT_EQ(clock.elapsed(), 5s);
}

TEST(TestClock, WhoWaitsByReadingAClockGoesOn)
{
    const TestClock clock;
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < 5) {
    }
    EXPECT_EQ(timer.elapsed(), 5);
}

// --- The event loop -----------------------------------------------------------------------------

TEST(TestClock, TimersFireInTheirOrderAtTheirTimes)
{
    TestClock clock;
    std::vector<qint64> times;
    const auto noteTime = [&] {
        times.push_back(msOf(clock.elapsed()));
    };
    QObject context;
    QTimer::singleShot(30, Qt::PreciseTimer, &context, noteTime);
    QTimer::singleShot(10, Qt::PreciseTimer, &context, noteTime);
    QTimer::singleShot(20, Qt::PreciseTimer, &context, noteTime);
    clock.advance(25ms);
    ASSERT_EQ(times.size(), 2U);
    clock.advance(10ms);
    ASSERT_EQ(times.size(), 3U);
    for (std::size_t i = 0; i < times.size(); ++i) {
        const qint64 due = 10 * (static_cast<qint64>(i) + 1);
        EXPECT_TRUE(times[i] == due || times[i] == due + lateTimer.count()) << times[i];
    }
}

TEST(TestClock, RunUntilReturnsAtTheMomentInWhichTheConditionHolds)
{
    TestClock clock;
    bool done = false;
    QObject context;
    QTimer::singleShot(1234, Qt::PreciseTimer, &context, [&] { done = true; });
    EXPECT_TRUE(clock.runUntil([&] { return done; }, 1h));
    EXPECT_LE(clock.elapsed(), 1234ms + lateTimer);
    EXPECT_GE(clock.elapsed(), 1234ms);
}

TEST(TestClock, RunUntilGivesUpAtItsLimit)
{
    TestClock clock;
    EXPECT_FALSE(clock.runUntil([] { return false; }, 3s));
    EXPECT_EQ(clock.elapsed(), 3s);
}

/** A run until another thread has done something, which it does after this time. */
void expectSeenAfter(TestClock *clock, milliseconds time)
{
    std::atomic<bool> done{false};
    std::thread thread([&] {
        std::this_thread::sleep_for(time);
        done = true;
        std::this_thread::sleep_for(time);
    });
    EXPECT_TRUE(clock->runUntil([&] { return done.load(); }, 1s));
    EXPECT_EQ(clock->elapsed(), time);
    thread.join();
}

TEST(TestClock, RunUntilSeesWhatAnotherThreadDoes)
{
    TestClock clock;
    expectSeenAfter(&clock, 70ms);
}

TEST(TestClock, RunUntilWithinAnotherOneLeavesItItsSight)
{
    TestClock clock;
    QObject context;
    QTimer::singleShot(10, &context, [&] { EXPECT_FALSE(clock.runUntil([] { return false; }, 5ms)); });
    expectSeenAfter(&clock, 70ms);
}

TEST(TestClock, WhatIsDueNowHappensInNoTime)
{
    TestClock clock;
    int happened = 0;
    QObject context;
    const auto queue = [&] {
        QMetaObject::invokeMethod(
            &context, [&] { ++happened; }, Qt::QueuedConnection);
    };
    queue();
    clock.advance(0ms);
    EXPECT_EQ(happened, 1);
    queue();
    EXPECT_TRUE(clock.runUntil([&] { return happened == 2; }, 0ms));
    EXPECT_EQ(clock.elapsed(), 0ms);
}

TEST(TestClock, LoopInASlotRunsInVirtualTime)
{
    TestClock clock;
    bool done = false;
    QObject context;
    QTimer::singleShot(10, &context, [&] {
        QEventLoop loop;
        QTimer::singleShot(500, &loop, &QEventLoop::quit);
        loop.exec();
        done = true;
    });
    EXPECT_TRUE(clock.runUntil([&] { return done; }, 1s));
}

TEST(TestClock, ObjectsThatAreDeletedLaterAreDeleted)
{
    TestClock clock;
    const QPointer<QObject> object = new QObject;
    object->deleteLater();
    clock.advance(1ms);
    EXPECT_TRUE(object.isNull());
}

// --- Threads ------------------------------------------------------------------------------------

TEST(TestClock, JoinTakesAsLongAsTheThreadSleeps)
{
    const TestClock clock;
    std::thread thread([] { std::this_thread::sleep_for(10min); });
    thread.join();
    EXPECT_EQ(clock.elapsed(), 10min);
}

TEST(TestClock, ThreadWithAnEventLoopHasItsTimersAndItsEvents)
{
    TestClock clock;
    QThread thread;
    QObject object;
    object.moveToThread(&thread);
    thread.start();
    qint64 firedAt = -1;
    QMetaObject::invokeMethod(
        &object, [&] { QTimer::singleShot(40, Qt::PreciseTimer, &object, [&] { firedAt = msOf(clock.elapsed()); }); });
    clock.advance(100ms);
    EXPECT_GE(firedAt, 40);
    EXPECT_LE(firedAt, 40 + lateTimer.count());
    thread.quit();
    EXPECT_TRUE(thread.wait(1000));
}

TEST(TestClock, TimedWaitForAConditionEndsWhenItIsDueOrSignalled)
{
    const TestClock clock;
    std::mutex mutex;
    std::condition_variable changed;
    bool isSet = false;
    std::unique_lock<std::mutex> lock(mutex);
    EXPECT_FALSE(changed.wait_for(lock, 2s, [&] { return isSet; }));
    EXPECT_EQ(clock.elapsed(), 2s);
    std::thread thread([&] {
        std::this_thread::sleep_for(1s);
        const std::lock_guard<std::mutex> own(mutex);
        isSet = true;
        changed.notify_all();
    });
    EXPECT_TRUE(changed.wait_for(lock, 1h, [&] { return isSet; }));
    EXPECT_EQ(clock.elapsed(), 3s);
    lock.unlock();
    thread.join();
}

template<typename Mutex>
void expectToWaitForItsOwner()
{
    const TestClock clock;
    Mutex mutex;
    std::thread owner([&] {
        mutex.lock();
        std::this_thread::sleep_for(5s);
        mutex.unlock();
    });
    std::this_thread::sleep_for(1s);
    mutex.lock();
    EXPECT_EQ(clock.elapsed(), 5s);
    mutex.unlock();
    owner.join();
}

TEST(TestClock, LockThatIsHeldOverASleepIsWaitedFor)
{
    expectToWaitForItsOwner<std::mutex>();
}

TEST(TestClock, QtLockThatIsHeldOverASleepIsWaitedFor)
{
    expectToWaitForItsOwner<QMutex>();
}

TEST(TestClock, SharedLockIsWaitedForWithALimit)
{
    const TestClock clock;
    std::shared_timed_mutex mutex;
    std::thread owner([&] {
        mutex.lock();
        std::this_thread::sleep_for(5s);
        mutex.unlock();
    });
    std::this_thread::sleep_for(1s);
    EXPECT_FALSE(mutex.try_lock_for(1s));
    EXPECT_EQ(clock.elapsed(), 2s);
    EXPECT_TRUE(mutex.try_lock_shared_for(1h));
    EXPECT_EQ(clock.elapsed(), 5s);
    mutex.unlock_shared();
    owner.join();
}

TEST(TestClock, WhatIsDoneOnceIsWaitedForByOthers)
{
    const TestClock clock;
    std::once_flag flag;
    int times = 0;
    const auto doOnce = [&] {
        std::call_once(flag, [&] {
            std::this_thread::sleep_for(3s);
            ++times;
        });
        EXPECT_EQ(clock.elapsed(), 3s);
    };
    std::thread first(doOnce);
    std::thread second(doOnce);
    first.join();
    second.join();
    EXPECT_EQ(times, 1);
}

TEST(TestClock, QtSemaphoreIsWaitedForWithALimit)
{
    const TestClock clock;
    QSemaphore semaphore;
    EXPECT_FALSE(semaphore.tryAcquire(1, 300));
    EXPECT_EQ(clock.elapsed(), 300ms);
    std::thread thread([&] {
        std::this_thread::sleep_for(1s);
        semaphore.release();
    });
    EXPECT_TRUE(semaphore.tryAcquire(1, 5000));
    EXPECT_EQ(clock.elapsed(), 1300ms);
    thread.join();
}

// --- Seeds --------------------------------------------------------------------------------------

/** The order in which four threads that are due at once go on. */
std::string orderWithSeed(quint64 seed, quint64 *trace = nullptr)
{
    const TestClock clock(seed);
    std::string order;
    std::vector<std::thread> threads;
    for (const char name : {'a', 'b', 'c', 'd'}) {
        threads.emplace_back([&order, name] {
            std::this_thread::sleep_for(100ms);
            order += name;
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    if (trace != nullptr) {
        *trace = clock.trace();
    }
    return order;
}

TEST(TestClock, SeedDecidesWhoGoesOn)
{
    std::set<std::string> orders;
    for (quint64 seed = 0; seed < 200; ++seed) {
        orders.insert(orderWithSeed(seed));
    }
    EXPECT_EQ(orders.size(), 24U) << "every order of four comes up";
}

TEST(TestClock, SameSeedGivesTheSameTrace)
{
    quint64 first = 0;
    quint64 second = 0;
    quint64 other = 0;
    EXPECT_EQ(orderWithSeed(7, &first), orderWithSeed(7, &second));
    orderWithSeed(8, &other);
    EXPECT_EQ(first, second);
    EXPECT_NE(first, other);
}

} // namespace
