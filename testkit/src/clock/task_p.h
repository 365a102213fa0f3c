#ifndef BIZ_TESTKIT_TASK_P_H
#define BIZ_TESTKIT_TASK_P_H

#include <atomic>
#include <chrono>
#include <cstdint>

#include <poll.h>
#include <pthread.h>

namespace biz::testkit {

using std::chrono::nanoseconds;

constexpr nanoseconds never = nanoseconds::max();

/** What a task waits for. */
enum class Wait { Nothing, Time, Events, Lock, Condition, Semaphore, End };

/** One thread at a time waits here for its turn. */
class Turn
{
public:
    void give();
    void await();

private:
    std::atomic<int> m_isGiven{0};
};

/** A thread that the scheduler lets run. All but the turn is guarded by the scheduler's lock. */
struct Task
{
    int number = 0; ///< for the trace
    int thread = 0; ///< as the system numbers it
    pthread_t handle{};
    Turn turn;

    Wait wait = Wait::Nothing;
    const void *object = nullptr; ///< that it waits for; null: time alone
    nanoseconds due = never;
    std::uint64_t order = 0; ///< of waits: the smaller, the longer it waits
    bool isWoken = false;

    pollfd *descriptors = nullptr; ///< with Wait::Events
    nfds_t descriptorCount = 0;
    nanoseconds pollBound = never;
    bool looksAtEachMoment = false;

    void *(*routine)(void *) = nullptr;
    void *argument = nullptr;
    int endings = 0; ///< how often the thread's end has come by
};

} // namespace biz::testkit

#endif
