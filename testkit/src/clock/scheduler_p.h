#ifndef BIZ_TESTKIT_SCHEDULER_P_H
#define BIZ_TESTKIT_SCHEDULER_P_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <clock/system_calls_p.h>
#include <clock/task_p.h>

namespace biz::testkit {

/**
 * Lets one thread of the program run at a time, in virtual time. It is never destroyed: from the first
 * TestClock on, the program's time is virtual until it ends.
 *
 * The thread that made it and all threads that are started afterwards are tasks. A task goes on until it
 * waits, ends, or passes a point where others may go first; there the seed decides who goes on among all that
 * could. Time moves on only when every task waits, to the next moment at which one of them is due.
 *
 * Threads that were there before run beside the tasks, in real time. They may wake tasks.
 */
class Scheduler
{
public:
    /** Null before the first TestClock. */
    static Scheduler *instance() { return s_instance; }

    /** Makes the calling thread the first task. */
    static Scheduler &start();

    /** The calling thread's task; null for a thread that is none. */
    static Task *current() { return s_current; }

    Scheduler(const Scheduler &) = delete;
    Scheduler &operator=(const Scheduler &) = delete;

    // --- For the clock ------------------------------------------------------------------

    void setSeed(std::uint64_t seed);
    nanoseconds now() const { return m_now; }

    /** While no other task lives: to the next whole second, so that what follows does not depend on what was before. */
    void alignTime();

    nanoseconds wallClock() const { return m_wallAtZero + m_now; }
    nanoseconds monotonicClock() const { return monotonicAtZero + m_now; }
    void setWallClock(nanoseconds sinceEpoch) { m_wallAtZero = sinceEpoch - m_now; }

    /** One number for all choices since the seed was set, and for the times of them. */
    std::uint64_t trace() const { return m_trace; }

    /** How to end the wait for events of a task that one of the next two concerns: by an event. */
    void setInterruptPoll(std::function<void()> interrupt) { m_interruptPoll = std::move(interrupt); }

    /** The calling task's next wait for events ends at this time at the latest. Returns the bound until now. */
    nanoseconds boundNextPoll(nanoseconds at);

    /**
     * Whether the calling task's waits for events also end whenever time is about to move after others have run.
     * Returns whether they did so far.
     */
    bool setLooksAtEachMoment(bool on);

    /** Whether somebody waits for the clock, so that a task that runs for long is a mistake. */
    void setWatched(bool on) { m_isWatched = on; }
    bool isWatched() const { return m_isWatched; }

    // --- For the replaced calls ------------------------------------------------------------

    /** Ends the calling task's turn until somebody wakes it or it is due. True when it was woken. */
    bool wait(Wait wait, const void *object, nanoseconds due);

    /** The same for events of file descriptors; returns what poll() returns. */
    int waitForEvents(pollfd *descriptors, nfds_t count, nanoseconds due);

    /** Wakes up to `most` of those that wait for the object, the longest waiting first; on any thread. */
    int wake(const void *object, int most);

    /** Wakes those that wait for events of the descriptor; on any thread. */
    void wakePollers(int descriptor);

    /** Whether a wake() for a lock would find anybody. */
    bool hasLockWaiters() const { return m_lockWaiters.load() != 0; }

    /** Others may go first, if the seed says so. */
    void giveWay();

    /** The same, seldom: locks are taken too often for a choice at each. */
    void giveWaySeldom();

    /** To be called at each reading of a clock: a task that waits by reading it must not wait for ever. */
    void noteReading();

    int create(pthread_t *handle, const pthread_attr_t *attributes, void *(*routine)(void *), void *argument);

    /** Returns when no task has this handle. */
    void awaitEnd(pthread_t handle);

    /** A network socket was made: no task may wait for it. */
    void noteNetworkSocket(int descriptor);

    // --- For the watchdog ------------------------------------------------------------------

    /** How often a task has got its turn, or has passed a point where it might have lost it. */
    std::uint64_t progress() const { return m_progress.load(std::memory_order_relaxed); }

    /** The thread that has the turn; 0 when all wait. */
    int runningThread() const { return m_runningThread; }

    /** What the tasks do, a line for each. */
    std::string description();

private:
    static constexpr nanoseconds monotonicAtZero = std::chrono::hours(24 * 365 * 8);

    Scheduler();
    ~Scheduler() = default;

    static void *enter(void *argument);
    static void end(void *task);

    class Lock;
    void switchFrom(Task *me, Lock &lock);
    Task *next(Lock &lock);
    Task *choose();
    void collectReady();
    bool readsEvents();
    bool looksNow();
    bool moveTime();
    void awaitOthers(Lock &lock);
    void refuseSockets(const pollfd *descriptors, nfds_t count) const;
    void ended(Task *task);
    void addToTrace(std::uint64_t value);

    static Scheduler *s_instance;
    static thread_local Task *s_current;

    std::vector<std::unique_ptr<Task>> m_tasks;
    std::vector<Task *> m_ready;  ///< those among whom the seed decides; kept for its memory
    std::vector<pollfd> m_polled; ///< the same
    std::vector<int> m_sockets;   ///< to the network
    std::function<void()> m_interruptPoll;
    std::mt19937_64 m_random;
    nanoseconds m_now{0};
    nanoseconds m_wallAtZero;
    std::uint64_t m_trace = 0;
    nanoseconds m_traceFrom{0};
    std::uint64_t m_waits = 0;
    int m_created = 0;
    int m_turnsAtMoment = 0;
    int m_readingsAtMoment = 0;
    bool m_ranSinceLook = false;          ///< a task other than the one that looks
    std::atomic<bool> m_mayChoose{false}; ///< another task than the running one could run
    std::atomic<int> m_lockWaiters{0};
    std::atomic<std::uint64_t> m_progress{0};
    std::atomic<int> m_runningThread{0};
    std::atomic<bool> m_isWatched{false};
    int m_kick = -1; ///< an event for whoever waits for threads that are no tasks
    bool m_awaitsOthers = false;
    pthread_key_t m_endKey{};
    pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
};

/** Ends the program with a sentence: no test can go on from here. */
[[noreturn]] void endTest(const std::string &sentence);

} // namespace biz::testkit

#endif
