#ifndef BIZ_SCENARIO_SCHEDULER_H
#define BIZ_SCENARIO_SCHEDULER_H

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <scenario/chooser.h>

/**
 * Runs a whole system deterministically: one thread at a time, in virtual time, all
 * choices by one chooser.
 *
 * The program that links this file brings its own nanosleep, gettimeofday, clock_gettime,
 * pthread_create, pthread_join, pthread_mutex_lock, pthread_mutex_unlock, pthread_cond_wait and
 * pthread_cond_clockwait. Threads that are made inside run() are tasks. A task goes on until it
 * sleeps, starts a task, or locks or unlocks a watched mutex, or passes a point of the host's own;
 * there the chooser says who goes on among all tasks that could run now. Who waits for a condition
 * or for a thread's end looks again each millisecond. Virtual time moves only when every task sleeps. So whatever
 * stands between two such points is one step, and every order of the steps can come up, the
 * same one again for the same choices.
 */
namespace biz::scenario {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

/** Something that must never happen has happened. */
class Violation : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

class Scheduler
{
public:
    explicit Scheduler(Chooser &chooser);
    ~Scheduler();
    Scheduler(const Scheduler &) = delete;
    Scheduler &operator=(const Scheduler &) = delete;

    /**
     * Locking and unlocking this mutex (std::mutex::native_handle()) are choices. So are the accesses
     * without a lock to this variable, in a program whose library tells of them.
     */
    void watch(const void *object);

    /**
     * Runs `body` as the first task, until all tasks have ended. Throws the first
     * Violation that was recorded. A deadlock ends the program.
     */
    void run(std::function<void()> body);

    // --- Inside tasks -----------------------------------------------------------------

    /** Starts a task; returns its number. */
    int start(const std::string &name, std::function<void()> body);

    /** A choice in the middle of the host's own code. */
    void point();

    /** Records the first violation; the run goes on, so that all threads end in order. */
    void violate(const std::string &what);
    bool hasViolation() const { return !m_violation.empty(); }
    void throwViolation() const
    {
        if (hasViolation()) {
            throw Violation(m_violation);
        }
    }

    /** How to repeat the run, and the first violation where there is one; for a program that is about to end. */
    void tellHowToRepeat(std::FILE *to) const;

    nanoseconds now() const { return m_now; }
    void setWallClock(std::chrono::seconds sinceEpoch);
    nanoseconds wallClock() const { return m_wallAtZero + m_now; }
    nanoseconds steadyClock() const;

    /** The task that runs now; 0 outside of run(). */
    static int currentTask();

    /** Watched mutexes that the running task holds. */
    static int locksHeld();

    /** Whether the running task holds this mutex. */
    static bool holds(const void *mutex);

    /** Whether any task holds this mutex. */
    bool isHeld(const void *mutex) const;

    /** The task that started this one; 0 for the first. */
    int starterOf(int task) const;

    /** When a task ended; negative while it lives. */
    nanoseconds endOf(int task) const;

    /** How many points a task has passed since its last sleep: where in its pass it is. */
    int pointsSinceSleep(int task) const;

    /** Called at each point, before the choice, by the task that got there. */
    void onPoint(std::function<void()> check) { m_onPoint = std::move(check); }

    std::uint64_t points() const { return m_points; }

    /** Adds what happens here to the run's fingerprint; each choice and its time are in it already. */
    void trace(const char *what, std::int64_t value);

    /** One number for all that was traced: the same for the same run. */
    std::uint64_t fingerprint() const { return m_fingerprint; }

    // --- For the interposed calls --------------------------------------------------------

    static bool isTask();
    static Scheduler *instance();
    bool watches(const void *object) const;
    void sleep(nanoseconds duration);
    void beforeLock(const void *mutex);
    void afterUnlock(const void *mutex);
    int create(void *handle, const void *attributes, void *(*routine)(void *), void *argument);
    void awaitEndOf(const void *handle);

private:
    struct Task;
    friend struct TaskEntry;

    void giveWay();
    Task *pick();
    void ended(Task *task);

    Chooser &m_chooser;
    Choice m_choice; ///< the present one; kept for its memory
    std::vector<std::unique_ptr<Task>> m_tasks;
    std::vector<const void *> m_watched;
    std::function<void()> m_onPoint;
    std::string m_nextName;
    std::string m_violation;
    nanoseconds m_now{0};
    nanoseconds m_wallAtZero;
    std::uint64_t m_points = 0;
    std::uint64_t m_fingerprint;
    bool m_inCheck = false;
    struct Done;
    std::unique_ptr<Done> m_done;
};

} // namespace biz::scenario

#endif
