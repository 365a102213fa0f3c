#include <clock/replaced_calls_p.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <vector>

#include <dlfcn.h>
#include <linux/futex.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <clock/scheduler_p.h>

// The calls by which programs sleep, read clocks, start threads and wait for each other. Those of tasks ask the
// scheduler; all others go to the system. Libraries that the program loads find these first, since a program's
// own symbols come before those of its libraries.

namespace {

using biz::testkit::nanoseconds;
using biz::testkit::never;
using biz::testkit::Scheduler;
using biz::testkit::systemCalls;
using biz::testkit::Wait;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr long nanosecondsPerSecond = 1'000'000'000;

bool isTask()
{
    return Scheduler::current() != nullptr;
}

Scheduler &scheduler()
{
    return *Scheduler::instance();
}

bool isValid(const timespec &time)
{
    return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < nanosecondsPerSecond;
}

nanoseconds durationOf(const timespec &time)
{
    return seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

timespec timespecOf(nanoseconds duration)
{
    const auto wholeSeconds = std::chrono::floor<seconds>(duration);
    return {static_cast<time_t>(wholeSeconds.count()), static_cast<long>((duration - wholeSeconds).count())};
}

nanoseconds after(nanoseconds duration)
{
    return duration >= never - scheduler().now() ? never : scheduler().now() + duration;
}

bool isOfWall(clockid_t clock)
{
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE || clock == CLOCK_TAI;
}

nanoseconds shownBy(clockid_t clock)
{
    return isOfWall(clock) ? scheduler().wallClock() : scheduler().monotonicClock();
}

/** When a moment of a clock is. */
nanoseconds dueOf(const timespec &moment, clockid_t clock)
{
    return scheduler().now() + (durationOf(moment) - shownBy(clock));
}

/** A condition does not tell the clock of its moments: it is the one that is nearer to them. */
clockid_t clockOf(const timespec &moment)
{
    const auto distance = [&moment](clockid_t clock) {
        return std::chrono::abs(durationOf(moment) - shownBy(clock));
    };
    return distance(CLOCK_REALTIME) < distance(CLOCK_MONOTONIC) ? CLOCK_REALTIME : CLOCK_MONOTONIC;
}

bool isVirtual(clockid_t clock)
{
    switch (clock) {
    case CLOCK_REALTIME:
    case CLOCK_REALTIME_COARSE:
    case CLOCK_TAI:
    case CLOCK_MONOTONIC:
    case CLOCK_MONOTONIC_COARSE:
    case CLOCK_MONOTONIC_RAW:
    case CLOCK_BOOTTIME:
        return true;
    default:
        return false;
    }
}

nanoseconds readClock(clockid_t clock)
{
    scheduler().noteReading();
    return shownBy(clock);
}

void sleepFor(nanoseconds duration)
{
    scheduler().wait(Wait::Time, nullptr, after(duration));
}

/** Takes a lock by a call that never waits; `busy` is its answer when it cannot. */
template<typename TryLock, typename LockObject>
int lockWith(TryLock tryLock, LockObject *object, nanoseconds due = never)
{
    scheduler().giveWaySeldom();
    for (;;) {
        const int result = tryLock(object);
        if (result != EBUSY) {
            return result;
        }
        if (!scheduler().wait(Wait::Lock, object, due) && due <= scheduler().now()) {
            return ETIMEDOUT;
        }
    }
}

void tellUnlocked(const void *object)
{
    Scheduler *const all = Scheduler::instance();
    if (all == nullptr) {
        return;
    }
    if (all->hasLockWaiters()) {
        all->wake(object, INT_MAX);
    }
    if (isTask()) {
        all->giveWaySeldom();
    }
}

/** A task's turn with what is done once: who came before may sleep in it, and the system would not let others run. */
class OnceTurn
{
public:
    explicit OnceTurn(const pthread_once_t *control)
        : m_control(control)
    {
        while (std::find(taken().begin(), taken().end(), control) != taken().end()) {
            scheduler().wait(Wait::Lock, control, never);
        }
        taken().push_back(control);
    }
    ~OnceTurn()
    {
        taken().erase(std::find(taken().begin(), taken().end(), m_control));
        if (scheduler().hasLockWaiters()) {
            scheduler().wake(m_control, INT_MAX);
        }
    }
    OnceTurn(const OnceTurn &) = delete;
    OnceTurn &operator=(const OnceTurn &) = delete;

private:
    /** Of tasks: one runs at a time. Never destroyed, since the end of a process does things once, too. */
    static std::vector<const pthread_once_t *> &taken()
    {
        static auto &controls = *new std::vector<const pthread_once_t *>;
        return controls;
    }

    const pthread_once_t *const m_control;
};

int waitForCondition(pthread_cond_t *condition, pthread_mutex_t *mutex, nanoseconds due)
{
    // No task can signal between the two: they have no turn.
    systemCalls().mutexUnlock(mutex);
    if (scheduler().hasLockWaiters()) {
        scheduler().wake(mutex, INT_MAX);
    }
    const bool isWoken = scheduler().wait(Wait::Condition, condition, due);
    lockWith(systemCalls().mutexTryLock, mutex);
    return isWoken ? 0 : ETIMEDOUT;
}

int waitForSemaphore(sem_t *semaphore, nanoseconds due)
{
    while (systemCalls().semaphoreTryWait(semaphore) != 0) {
        if (!scheduler().wait(Wait::Semaphore, semaphore, due) && due <= scheduler().now()) {
            errno = ETIMEDOUT;
            return -1;
        }
    }
    return 0;
}

/** The arguments of a futex call. */
struct FutexCall
{
    int *address;
    int operation;
    int value;
    const timespec *timeout;
    int *address2;
};

long waitForFutex(const FutexCall &call, bool isAbsolute)
{
    if (__atomic_load_n(call.address, __ATOMIC_SEQ_CST) != call.value) {
        errno = EAGAIN;
        return -1;
    }
    nanoseconds due = never;
    if (call.timeout != nullptr) {
        const clockid_t clock = (call.operation & FUTEX_CLOCK_REALTIME) != 0 ? CLOCK_REALTIME : CLOCK_MONOTONIC;
        due = isAbsolute ? dueOf(*call.timeout, clock) : after(durationOf(*call.timeout));
    }
    if (scheduler().wait(Wait::Lock, call.address, due)) {
        return 0;
    }
    errno = ETIMEDOUT;
    return -1;
}

/** Wakes tasks; true when the call is done, and the system need not be asked. */
bool replaceFutex(const FutexCall &call, long *result)
{
    switch (call.operation & FUTEX_CMD_MASK) {
    case FUTEX_WAIT:
    case FUTEX_WAIT_BITSET:
        if (!isTask()) {
            return false;
        }
        *result = waitForFutex(call, (call.operation & FUTEX_CMD_MASK) == FUTEX_WAIT_BITSET);
        return true;
    case FUTEX_WAKE:
    case FUTEX_WAKE_BITSET:
        scheduler().wake(call.address, call.value);
        return false;
    case FUTEX_WAKE_OP:
        // Whoever is woken for nothing looks and waits again.
        scheduler().wake(call.address2, INT_MAX);
        scheduler().wake(call.address, INT_MAX);
        return false;
    case FUTEX_REQUEUE:
    case FUTEX_CMP_REQUEUE:
        scheduler().wake(call.address, INT_MAX);
        return false;
    default:
        return false;
    }
}

} // namespace

#define BIZ_REPLACES extern "C" [[gnu::visibility("default")]]

// --- Sleeps ---------------------------------------------------------------------------------

BIZ_REPLACES int nanosleep(const timespec *request, timespec *remaining)
{
    if (!isTask()) {
        return systemCalls().nanosleep(request, remaining);
    }
    if (!isValid(*request)) {
        errno = EINVAL;
        return -1;
    }
    sleepFor(durationOf(*request));
    return 0;
}

BIZ_REPLACES int clock_nanosleep(clockid_t clock, int flags, const timespec *request, timespec *remaining)
{
    if (!isTask() || !isVirtual(clock)) {
        return systemCalls().clockNanosleep(clock, flags, request, remaining);
    }
    if (!isValid(*request)) {
        return EINVAL;
    }
    const bool isAbsolute = (flags & TIMER_ABSTIME) != 0;
    scheduler().wait(Wait::Time, nullptr, isAbsolute ? dueOf(*request, clock) : after(durationOf(*request)));
    return 0;
}

BIZ_REPLACES int usleep(useconds_t duration)
{
    if (!isTask()) {
        return systemCalls().usleep(duration);
    }
    sleepFor(microseconds(duration));
    return 0;
}

BIZ_REPLACES unsigned sleep(unsigned duration)
{
    if (!isTask()) {
        return systemCalls().sleep(duration);
    }
    sleepFor(seconds(duration));
    return 0;
}

BIZ_REPLACES int sched_yield() noexcept
{
    if (!isTask()) {
        return systemCalls().schedYield();
    }
    scheduler().giveWay();
    return 0;
}

// --- Clocks ---------------------------------------------------------------------------------

BIZ_REPLACES int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    if (!isTask() || !isVirtual(clock)) {
        return systemCalls().clockGettime(clock, time);
    }
    *time = timespecOf(readClock(clock));
    return 0;
}

BIZ_REPLACES int gettimeofday(timeval *time, void *zone) noexcept
{
    if (!isTask()) {
        return systemCalls().gettimeofday(time, zone);
    }
    const timespec now = timespecOf(readClock(CLOCK_REALTIME));
    time->tv_sec = now.tv_sec;
    time->tv_usec = std::chrono::duration_cast<microseconds>(nanoseconds(now.tv_nsec)).count();
    return 0;
}

BIZ_REPLACES time_t time(time_t *result) noexcept
{
    if (!isTask()) {
        return systemCalls().time(result);
    }
    const time_t now = timespecOf(readClock(CLOCK_REALTIME)).tv_sec;
    if (result != nullptr) {
        *result = now;
    }
    return now;
}

// --- Events ---------------------------------------------------------------------------------

BIZ_REPLACES int poll(pollfd *descriptors, nfds_t count, int timeoutMs)
{
    if (!isTask()) {
        return systemCalls().poll(descriptors, count, timeoutMs);
    }
    return scheduler().waitForEvents(descriptors, count, timeoutMs < 0 ? never : after(milliseconds(timeoutMs)));
}

BIZ_REPLACES int ppoll(pollfd *descriptors, nfds_t count, const timespec *timeout, const sigset_t *signals)
{
    if (!isTask()) {
        return systemCalls().ppoll(descriptors, count, timeout, signals);
    }
    return scheduler().waitForEvents(descriptors, count, timeout == nullptr ? never : after(durationOf(*timeout)));
}

BIZ_REPLACES int eventfd_write(int descriptor, std::uint64_t value)
{
    const int result = systemCalls().eventfdWrite(descriptor, value);
    if (isTask()) {
        scheduler().wakePollers(descriptor);
    }
    return result;
}

BIZ_REPLACES int socket(int domain, int type, int protocol) noexcept
{
    const int descriptor = systemCalls().socket(domain, type, protocol);
    if (isTask() && descriptor >= 0 && (domain == AF_INET || domain == AF_INET6)) {
        scheduler().noteNetworkSocket(descriptor);
    }
    return descriptor;
}

// --- Threads --------------------------------------------------------------------------------

BIZ_REPLACES int pthread_create(pthread_t *handle, const pthread_attr_t *attributes, void *(*routine)(void *),
                                void *argument) noexcept
{
    if (!isTask()) {
        return systemCalls().pthreadCreate(handle, attributes, routine, argument);
    }
    return scheduler().create(handle, attributes, routine, argument);
}

BIZ_REPLACES int pthread_join(pthread_t handle, void **result)
{
    if (isTask()) {
        scheduler().awaitEnd(handle);
    }
    return systemCalls().pthreadJoin(handle, result);
}

// --- Locks ----------------------------------------------------------------------------------

BIZ_REPLACES int pthread_mutex_lock(pthread_mutex_t *mutex) noexcept
{
    return isTask() ? lockWith(systemCalls().mutexTryLock, mutex) : systemCalls().mutexLock(mutex);
}

BIZ_REPLACES int pthread_mutex_timedlock(pthread_mutex_t *mutex, const timespec *until) noexcept
{
    return isTask() ? lockWith(systemCalls().mutexTryLock, mutex, dueOf(*until, CLOCK_REALTIME))
                    : systemCalls().mutexTimedLock(mutex, until);
}

BIZ_REPLACES int pthread_mutex_clocklock(pthread_mutex_t *mutex, clockid_t clock, const timespec *until) noexcept
{
    return isTask() ? lockWith(systemCalls().mutexTryLock, mutex, dueOf(*until, clock))
                    : systemCalls().mutexClockLock(mutex, clock, until);
}

BIZ_REPLACES int pthread_mutex_unlock(pthread_mutex_t *mutex) noexcept
{
    const int result = systemCalls().mutexUnlock(mutex);
    tellUnlocked(mutex);
    return result;
}

BIZ_REPLACES int pthread_rwlock_rdlock(pthread_rwlock_t *lock) noexcept
{
    return isTask() ? lockWith(systemCalls().tryReadLock, lock) : systemCalls().readLock(lock);
}

BIZ_REPLACES int pthread_rwlock_wrlock(pthread_rwlock_t *lock) noexcept
{
    return isTask() ? lockWith(systemCalls().tryWriteLock, lock) : systemCalls().writeLock(lock);
}

BIZ_REPLACES int pthread_rwlock_timedrdlock(pthread_rwlock_t *lock, const timespec *until) noexcept
{
    return isTask() ? lockWith(systemCalls().tryReadLock, lock, dueOf(*until, CLOCK_REALTIME))
                    : systemCalls().timedReadLock(lock, until);
}

BIZ_REPLACES int pthread_rwlock_timedwrlock(pthread_rwlock_t *lock, const timespec *until) noexcept
{
    return isTask() ? lockWith(systemCalls().tryWriteLock, lock, dueOf(*until, CLOCK_REALTIME))
                    : systemCalls().timedWriteLock(lock, until);
}

BIZ_REPLACES int pthread_rwlock_clockrdlock(pthread_rwlock_t *lock, clockid_t clock, const timespec *until) noexcept
{
    return isTask() ? lockWith(systemCalls().tryReadLock, lock, dueOf(*until, clock))
                    : systemCalls().clockReadLock(lock, clock, until);
}

BIZ_REPLACES int pthread_rwlock_clockwrlock(pthread_rwlock_t *lock, clockid_t clock, const timespec *until) noexcept
{
    return isTask() ? lockWith(systemCalls().tryWriteLock, lock, dueOf(*until, clock))
                    : systemCalls().clockWriteLock(lock, clock, until);
}

BIZ_REPLACES int pthread_rwlock_unlock(pthread_rwlock_t *lock) noexcept
{
    const int result = systemCalls().readWriteUnlock(lock);
    tellUnlocked(lock);
    return result;
}

// --- What is done once ----------------------------------------------------------------------

BIZ_REPLACES int pthread_once(pthread_once_t *control, void (*routine)())
{
    if (!isTask()) {
        return systemCalls().once(control, routine);
    }
    const OnceTurn turn(control);
    return systemCalls().once(control, routine);
}

// --- Conditions -----------------------------------------------------------------------------

BIZ_REPLACES int pthread_cond_wait(pthread_cond_t *condition, pthread_mutex_t *mutex)
{
    return isTask() ? waitForCondition(condition, mutex, never) : systemCalls().conditionWait(condition, mutex);
}

BIZ_REPLACES int pthread_cond_timedwait(pthread_cond_t *condition, pthread_mutex_t *mutex, const timespec *until)
{
    return isTask() ? waitForCondition(condition, mutex, dueOf(*until, clockOf(*until)))
                    : systemCalls().conditionTimedWait(condition, mutex, until);
}

BIZ_REPLACES int pthread_cond_clockwait(pthread_cond_t *condition, pthread_mutex_t *mutex, clockid_t clock,
                                        const timespec *until)
{
    return isTask() ? waitForCondition(condition, mutex, dueOf(*until, clock))
                    : systemCalls().conditionClockWait(condition, mutex, clock, until);
}

BIZ_REPLACES int pthread_cond_signal(pthread_cond_t *condition) noexcept
{
    // Where a task waits, the system knows of no waiter.
    if (Scheduler::instance() != nullptr && Scheduler::instance()->wake(condition, 1) != 0) {
        return 0;
    }
    return systemCalls().conditionSignal(condition);
}

BIZ_REPLACES int pthread_cond_broadcast(pthread_cond_t *condition) noexcept
{
    if (Scheduler::instance() != nullptr) {
        Scheduler::instance()->wake(condition, INT_MAX);
    }
    return systemCalls().conditionBroadcast(condition);
}

// --- Semaphores, and what is built on the system's own waiting --------------------------------

BIZ_REPLACES int sem_wait(sem_t *semaphore)
{
    return isTask() ? waitForSemaphore(semaphore, never) : systemCalls().semaphoreWait(semaphore);
}

BIZ_REPLACES int sem_timedwait(sem_t *semaphore, const timespec *until)
{
    return isTask() ? waitForSemaphore(semaphore, dueOf(*until, CLOCK_REALTIME))
                    : systemCalls().semaphoreTimedWait(semaphore, until);
}

BIZ_REPLACES int sem_post(sem_t *semaphore) noexcept
{
    const int result = systemCalls().semaphorePost(semaphore);
    if (Scheduler::instance() != nullptr) {
        Scheduler::instance()->wake(semaphore, 1);
    }
    return result;
}

BIZ_REPLACES long syscall(long number, ...) noexcept
{
    std::va_list list;
    va_start(list, number);
    const long a = va_arg(list, long);
    const long b = va_arg(list, long);
    const long c = va_arg(list, long);
    const long d = va_arg(list, long);
    const long e = va_arg(list, long);
    const long f = va_arg(list, long);
    va_end(list);
    if (number == SYS_futex && Scheduler::instance() != nullptr) {
        const FutexCall call{reinterpret_cast<int *>(a), static_cast<int>(b), static_cast<int>(c),
                             reinterpret_cast<const timespec *>(d), reinterpret_cast<int *>(e)};
        long result = 0;
        if (replaceFutex(call, &result)) {
            return result;
        }
    }
    return systemCalls().syscall(number, a, b, c, d, e, f);
}

namespace biz::testkit {

const char *callThatIsNotReplaced()
{
    constexpr const char *names[] = {"nanosleep",
                                     "clock_gettime",
                                     "gettimeofday",
                                     "poll",
                                     "ppoll",
                                     "pthread_create",
                                     "pthread_mutex_lock",
                                     "pthread_mutex_unlock",
                                     "pthread_cond_wait",
                                     "pthread_cond_signal",
                                     "pthread_cond_timedwait",
                                     "syscall"};
    const auto *const missed = std::find_if(std::begin(names), std::end(names), [](const char *name) {
        // Of the first symbol of that name, which is the one that libraries call: from where it was loaded.
        Dl_info first{};
        Dl_info own{};
        return ::dladdr(::dlsym(RTLD_DEFAULT, name), &first) == 0 ||
               ::dladdr(reinterpret_cast<const void *>(&callThatIsNotReplaced), &own) == 0 ||
               first.dli_fbase != own.dli_fbase;
    });
    return missed == std::end(names) ? nullptr : *missed;
}

} // namespace biz::testkit
