#ifndef BIZ_TEST_VIRTUAL_TIME_H
#define BIZ_TEST_VIRTUAL_TIME_H

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include <QtCore/QDateTime>

/**
 * Virtual time for the shipped library: a test program that links this file defines
 * nanosleep, gettimeofday, clock_gettime and pthread_create itself. The library's sleeps, Qt's
 * clock, whichever of the two it reads, and the threads that the library starts then obey the test.
 *
 * While no VirtualTime object exists, all these calls go to the system. There may be one
 * object at a time; the thread that makes it is the test thread.
 *
 *     VirtualTime time;
 *     const auto loop = time.start("send loop", [&] { worker.a1_GetQueueWork(); });
 *     time.step(loop, 200);             // 200 sleeps end, one after the other
 *     time.advance(milliseconds(3000)); // all threads, in the order of their wake-up
 *     worker.m_bSendRun = false;
 *     time.finish();                    // wakes sleepers until every thread has ended
 *
 * ## Threads
 * start() and every thread made while the object exists (by the library, by std::thread in
 * the test) are followed. A followed thread that calls nanosleep parks: it goes on only
 * when the test lets it. step() and advance() wake one parked thread at a time and return
 * when every followed thread is parked or has ended, those included that were started on
 * the way. Between two calls the test thread is therefore alone and may look at anything
 * without a lock, provided that it uses std::thread for nothing that runs for ever.
 * A sleep of zero length parks too. A negative one returns -1 with EINVAL at once.
 * The test thread's own sleeps never park: virtual time moves on by the request, nobody
 * else is woken, and the hook of onOwnSleep() runs inside the sleep.
 * Threads made inside an Unfollowed scope, or before the object, sleep in real time.
 *
 * ## Clocks
 * now() starts at 0 and only moves forward: to the wake-up time of each thread woken, by
 * advance(), by the test thread's sleeps. The wall clock moves with it from 2024-01-01
 * 00:00 UTC on and can be set at any time, back as well.
 *
 * ## Bounds
 * No wait lasts longer than 20 s of real time. When one does, the call throws
 * std::runtime_error, which fails the test, and the threads concerned are given up.
 */
namespace biz::test {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;

/** A followed thread, numbered from 1 in the order of creation; 0 is the test thread. */
using ThreadId = int;
constexpr ThreadId testThread = 0;
constexpr ThreadId unfollowedThread = -1;

/** One call of nanosleep, as it was made. */
struct SleepRequest
{
    ThreadId thread = testThread;
    long seconds = 0;
    long nanoseconds = 0;

    friend bool operator==(const SleepRequest &a, const SleepRequest &b)
    {
        return a.thread == b.thread && a.seconds == b.seconds && a.nanoseconds == b.nanoseconds;
    }
};

class VirtualTime
{
public:
    VirtualTime();

    /** Fails the test when a followed thread is still alive. */
    ~VirtualTime();

    VirtualTime(const VirtualTime &) = delete;
    VirtualTime &operator=(const VirtualTime &) = delete;

    // --- Threads --------------------------------------------------------------------

    /** Runs `body` on a thread of its own until it parks or ends. */
    ThreadId start(const std::string &name, std::function<void()> body);

    /** Ends the present sleep of one parked thread, `times` times; a failure if it ends before. */
    void step(ThreadId thread, int times = 1);

    /** As one step, but the sleep returns early with -1 and EINTR; now() stays. */
    void interrupt(ThreadId thread);

    /** Wakes parked threads strictly in the order of their wake-up times (first parked first). */
    void advance(nanoseconds duration);

    /** Wakes parked threads in that order until all have ended; a failure after `maxSteps`. */
    void finish(int maxSteps = 100000);

    bool hasEnded(ThreadId thread) const;
    bool isParked(ThreadId thread) const;

    /** The followed threads that have not ended, in the order of creation. */
    std::vector<ThreadId> alive() const;

    /** How many threads have been followed so far, ended ones included; also the latest id. */
    int threadCount() const;

    /** When the present sleep of a parked thread is due. */
    nanoseconds wakeUpTime(ThreadId thread) const;

    /** The next pthread_create of any followed thread or the test returns `error`. */
    void failNextThreadStart(int error);

    /** The calling thread's number; unfollowedThread for threads that nobody follows. */
    static ThreadId currentThread();

    // --- Sleeps ---------------------------------------------------------------------

    /** Every request so far, in order. */
    std::vector<SleepRequest> sleeps() const;
    std::vector<SleepRequest> sleepsOf(ThreadId thread) const;
    void forgetSleeps();

    /** Called on the sleeping thread at the start of each sleep, before it parks. */
    void onSleep(std::function<void(const SleepRequest &)> observer);

    /** Called inside each sleep of the test thread, after time has moved on. */
    void onOwnSleep(std::function<void(const SleepRequest &)> hook);

    /** The test thread's next sleep returns -1 with EINTR; time stays. */
    void interruptNextOwnSleep();

    // --- Clocks ---------------------------------------------------------------------

    nanoseconds now() const;
    void setWallClock(const QDateTime &time);
    QDateTime wallClock() const;

    /** The next readings of the wall clock give these times, one each; then it goes on. */
    void setNextWallClockReadings(const std::vector<QDateTime> &times);
    int wallClockReadings() const;

    /** Called on the reading thread at the start of each reading of the wall clock. */
    void onWallClockReading(std::function<void()> observer);
};

/**
 * The other way: real threads in real time, with every sleep of the process that many times
 * shorter, so that a stress test of seconds holds thousands of passes.
 */
class Hurry
{
public:
    explicit Hurry(int factor);
    ~Hurry();
    Hurry(const Hurry &) = delete;
    Hurry &operator=(const Hurry &) = delete;
};

/** Threads made by the calling thread during this scope run in real time, unfollowed. */
class Unfollowed
{
public:
    Unfollowed();
    ~Unfollowed();
    Unfollowed(const Unfollowed &) = delete;
    Unfollowed &operator=(const Unfollowed &) = delete;

private:
    bool m_before;
};

} // namespace biz::test

#endif
