#ifndef BIZ_TESTKIT_TEST_CLOCK_H
#define BIZ_TESTKIT_TEST_CLOCK_H

#include <chrono>
#include <functional>
#include <memory>

#include <QtCore/QDateTime>

/** Tests of applications: devices in the process, and hours in seconds. */
namespace biz::testkit {

/**
 * The clock of a test program. Library, host kit and application run on it: sleeps, the wall clock and the
 * monotonic one, timers, queued events, timed waits. Time stands while a thread runs, and jumps to the next
 * thing that is due when all threads wait.
 *
 *     TestClock clock;
 *     host.start();
 *     clock.advance(10min);                                          // takes a fraction of a second
 *     EXPECT_TRUE(clock.runUntil([&] { return host.pending() == 0; }, 5s));
 *
 * ## Use
 *  1. Link BIZ::TestKit into the test program itself.
 *  2. Make a TestClock at the beginning of the test, before hosts, timers and threads.
 *  3. advance() and runUntil() run the event loop of the calling thread, and all other threads.
 *
 * ## Promises
 *  - One thread runs at a time. Where several could, the seed decides who: the same seed gives the same run in the
 *    same program, on any machine and under any load. Other seeds give other orders.
 *  - Whatever waits as real programs do is followed: Qt's event loops on any thread, QThread, std::thread, mutexes,
 *    conditions, semaphores, sleeps.
 *  - A wait that never ends, a thread that blocks elsewhere, and a network socket that somebody waits for end the
 *    program within 20 s with a sentence on the standard error stream that names it.
 *
 * ## Bounds
 *  - From the first clock on, the program's time is virtual until it ends; without a clock it stands, unless a thread
 *    waits. Clocks count on from each other.
 *  - Qt rounds its waits for timers up: a QTimer may fire a millisecond after its time, never before.
 *  - Threads that were there before the first clock, and other processes, go on in real time.
 *  - A QCoreApplication is made for the clock's lifetime where there is none.
 *  - Not for programs under the thread sanitizer, whose own calls these would hide.
 *
 * One object at a time. Its members are for the thread that made it.
 */
class TestClock
{
public:
    explicit TestClock(quint64 seed = 1);
    ~TestClock();
    TestClock(const TestClock &) = delete;
    TestClock &operator=(const TestClock &) = delete;

    quint64 seed() const;

    /** Lets so much time go by. Whatever is due meanwhile happens, with 0 what is due now. */
    void advance(std::chrono::milliseconds duration);

    /**
     * Lets time go by until the condition holds, at most as long as the limit. It is asked at first, and whenever
     * something has happened. Returns whether it held.
     */
    [[nodiscard]] bool runUntil(const std::function<bool()> &condition, std::chrono::milliseconds limit);

    /** Since the clock was made. */
    std::chrono::nanoseconds elapsed() const;

    /** Sets the wall clock, as an operator or a time service does; it begins at 2024-01-01 00:00 UTC. */
    void setWallClock(const QDateTime &time);

    /** One number for who ran when since the clock was made: the same for the same run. */
    quint64 trace() const;

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace biz::testkit

#endif
