#include <support/virtual_time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <ctime>
#include <deque>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <tuple>
#include <utility>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace biz::test {

namespace {

constexpr std::chrono::seconds realTimeBound{20};
constexpr qint64 startOfWallClock = 1704067200000; // 2024-01-01 00:00 UTC
constexpr long nanosecondsPerSecond = 1000000000;

enum class Phase { Running, Parked, Ended };

struct Thread
{
    ThreadId id = 0;
    std::string name;
    Phase phase = Phase::Running;
    nanoseconds wakeUp{0};
    quint64 parkedAs = 0;
    bool released = false;
    bool interrupted = false;
};

struct State
{
    nanoseconds now{0};
    quint64 parkings = 0;
    nanoseconds wallAtZero = milliseconds(startOfWallClock);
    std::deque<qint64> nextReadings;
    int readings = 0;
    int nextStartError = 0;
    bool interruptOwn = false;
    bool givenUp = false;
    std::string nextName;
    std::vector<std::shared_ptr<Thread>> threads;
    std::vector<std::thread> handles;
    std::vector<SleepRequest> sleeps;
    std::function<void(const SleepRequest &)> observer;
    std::function<void(const SleepRequest &)> ownHook;
    std::function<void()> readingObserver;
};

// Never destroyed: a thread that a failed test has given up may still wait on them.
std::mutex &guard()
{
    static auto *mutex = new std::mutex;
    return *mutex;
}

std::condition_variable &changed()
{
    static auto *condition = new std::condition_variable;
    return *condition;
}

using Lock = std::unique_lock<std::mutex>;

State *state = nullptr; // guarded by guard()

// The fast question of every interposed call; the answer is looked at again under guard().
std::atomic<bool> isOn{false};

// What the system's own sleeps are divided by.
std::atomic<int> haste{1};

thread_local Thread *self = nullptr;
thread_local bool isTestThread = false;
thread_local bool unfollowed = false;

bool isFollowed()
{
    return self != nullptr;
}

std::shared_ptr<Thread> find(ThreadId id)
{
    const auto index = static_cast<std::size_t>(id - 1);
    if (id < 1 || index >= state->threads.size()) {
        throw std::out_of_range("virtual time: there is no followed thread " + std::to_string(id));
    }
    return state->threads[index];
}

std::string describe(const Thread &thread)
{
    const char *phases[] = {"running", "parked", "ended"};
    return "  " + std::to_string(thread.id) + " \"" + thread.name + "\" is " +
           phases[static_cast<std::size_t>(thread.phase)] + "\n";
}

std::string describeLiving()
{
    std::string text;
    for (const auto &thread : state->threads) {
        if (thread->phase != Phase::Ended) {
            text += describe(*thread);
        }
    }
    return text;
}

bool nobodyRuns()
{
    return std::none_of(state->threads.begin(), state->threads.end(),
                        [](const auto &thread) { return thread->phase == Phase::Running; });
}

void settle(Lock &lock)
{
    if (state->givenUp || !changed().wait_for(lock, realTimeBound, nobodyRuns)) {
        state->givenUp = true;
        throw std::runtime_error("virtual time: a thread neither slept nor ended in 20 s:\n" + describeLiving());
    }
}

void wake(Lock &lock, const std::shared_ptr<Thread> &thread, bool interrupted)
{
    if (thread->phase != Phase::Parked) {
        throw std::logic_error("virtual time: cannot wake\n" + describe(*thread));
    }
    if (!interrupted) {
        state->now = std::max(state->now, thread->wakeUp);
    }
    thread->interrupted = interrupted;
    thread->released = true;
    thread->phase = Phase::Running;
    changed().notify_all();
    settle(lock);
}

std::shared_ptr<Thread> nextDue()
{
    std::shared_ptr<Thread> next;
    for (const auto &thread : state->threads) {
        if (thread->phase != Phase::Parked) {
            continue;
        }
        if (!next || std::tie(thread->wakeUp, thread->parkedAs) < std::tie(next->wakeUp, next->parkedAs)) {
            next = thread;
        }
    }
    return next;
}

/** The present sleep of a followed thread. Returns false when it was interrupted. */
bool park(Lock &lock, nanoseconds request)
{
    Thread &thread = *self;
    thread.wakeUp = state->now + request;
    thread.parkedAs = ++state->parkings;
    thread.released = false;
    thread.phase = Phase::Parked;
    changed().notify_all();
    changed().wait(lock, [&thread] { return thread.released; });
    return !thread.interrupted;
}

bool sleepOnTestThread(Lock &lock, const SleepRequest &request, nanoseconds duration)
{
    if (state->interruptOwn) {
        state->interruptOwn = false;
        return false;
    }
    state->now += duration;
    const auto hook = state->ownHook;
    lock.unlock();
    if (hook) {
        hook(request);
    }
    return true;
}

bool isValid(const timespec &request)
{
    return request.tv_sec >= 0 && request.tv_nsec >= 0 && request.tv_nsec < nanosecondsPerSecond;
}

int virtualSleep(const timespec &request)
{
    const SleepRequest record{VirtualTime::currentThread(), request.tv_sec, request.tv_nsec};
    std::function<void(const SleepRequest &)> observer;
    {
        const Lock lock(guard());
        state->sleeps.push_back(record);
        observer = state->observer;
    }
    if (observer) {
        observer(record);
    }
    if (!isValid(request)) {
        errno = EINVAL;
        return -1;
    }
    const auto duration = seconds(request.tv_sec) + nanoseconds(request.tv_nsec);
    Lock lock(guard());
    const bool slept = isFollowed() ? park(lock, duration) : sleepOnTestThread(lock, record, duration);
    if (!slept) {
        errno = EINTR;
    }
    return slept ? 0 : -1;
}

/** Milliseconds since 1970; a reading that the test has prepared comes first. */
nanoseconds readWallClock()
{
    Lock lock(guard());
    if (const auto observer = state->readingObserver) {
        lock.unlock();
        observer();
        lock.lock();
    }
    ++state->readings;
    if (!state->nextReadings.empty()) {
        const auto reading = milliseconds(state->nextReadings.front());
        state->nextReadings.pop_front();
        return reading;
    }
    return state->wallAtZero + state->now;
}

// --- Threads ------------------------------------------------------------------------

using StartRoutine = void *(*)(void *);
using ThreadCreate = int (*)(pthread_t *, const pthread_attr_t *, StartRoutine, void *);

struct Launch
{
    StartRoutine routine;
    void *argument;
    std::shared_ptr<Thread> thread;
};

/** Says that a thread has ended, however it ends. */
class EndOfThread
{
public:
    explicit EndOfThread(std::shared_ptr<Thread> thread)
        : m_thread(std::move(thread))
    {
        self = m_thread.get();
    }
    ~EndOfThread()
    {
        self = nullptr;
        const Lock lock(guard());
        m_thread->phase = Phase::Ended;
        changed().notify_all();
    }
    EndOfThread(const EndOfThread &) = delete;
    EndOfThread &operator=(const EndOfThread &) = delete;

private:
    std::shared_ptr<Thread> m_thread;
};

void *runFollowed(void *argument)
{
    const std::unique_ptr<Launch> launch(static_cast<Launch *>(argument));
    const EndOfThread end(launch->thread);
    return launch->routine(launch->argument);
}

} // namespace

// --- VirtualTime --------------------------------------------------------------------

VirtualTime::VirtualTime()
{
    const Lock lock(guard());
    if (state != nullptr) {
        throw std::logic_error("virtual time is already on");
    }
    state = new State;
    isTestThread = true;
    isOn = true;
}

VirtualTime::~VirtualTime()
{
    Lock lock(guard());
    const bool ended = changed().wait_for(lock, state->givenUp ? seconds(0) : realTimeBound, nobodyRuns);
    const bool clean = ended && !nextDue();
    if (!clean) {
        ADD_FAILURE() << "threads outlive the test:\n" << describeLiving();
    }
    isOn = false;
    isTestThread = false;
    State *old = state;
    auto handles = std::move(state->handles);
    if (clean) {
        state = nullptr;
        lock.unlock();
        for (auto &handle : handles) {
            handle.join();
        }
        delete old;
        return;
    }
    // Whoever is still parked stays so for ever, and his state with him.
    for (auto &handle : handles) {
        handle.detach();
    }
    state = nullptr;
}

ThreadId VirtualTime::start(const std::string &name, std::function<void()> body)
{
    Lock lock(guard());
    settle(lock);
    state->nextName = name;
    // Nobody runs, so the next thread made is this one, whatever it starts itself.
    const auto id = static_cast<ThreadId>(state->threads.size()) + 1;
    lock.unlock();
    std::thread handle(std::move(body));
    lock.lock();
    state->handles.push_back(std::move(handle));
    settle(lock);
    return id;
}

void VirtualTime::step(ThreadId thread, int times)
{
    Lock lock(guard());
    settle(lock);
    for (int i = 0; i < times; ++i) {
        wake(lock, find(thread), false);
    }
}

void VirtualTime::interrupt(ThreadId thread)
{
    Lock lock(guard());
    settle(lock);
    wake(lock, find(thread), true);
}

void VirtualTime::advance(nanoseconds duration)
{
    constexpr int wakesAtOneTime = 100000;

    Lock lock(guard());
    settle(lock);
    const nanoseconds target = state->now + duration;
    int wakes = 0;
    for (auto next = nextDue(); next && next->wakeUp <= target; next = nextDue()) {
        const nanoseconds before = state->now;
        wake(lock, next, false);
        wakes = state->now == before ? wakes + 1 : 0;
        if (wakes > wakesAtOneTime) {
            throw std::runtime_error("virtual time: time does not move on:\n" + describeLiving());
        }
    }
    state->now = target;
}

void VirtualTime::finish(int maxSteps)
{
    Lock lock(guard());
    settle(lock);
    for (int i = 0; i < maxSteps; ++i) {
        const auto next = nextDue();
        if (!next) {
            return;
        }
        wake(lock, next, false);
    }
    throw std::runtime_error("virtual time: threads do not end:\n" + describeLiving());
}

bool VirtualTime::hasEnded(ThreadId thread) const
{
    const Lock lock(guard());
    return find(thread)->phase == Phase::Ended;
}

bool VirtualTime::isParked(ThreadId thread) const
{
    const Lock lock(guard());
    return find(thread)->phase == Phase::Parked;
}

std::vector<ThreadId> VirtualTime::alive() const
{
    const Lock lock(guard());
    std::vector<ThreadId> ids;
    for (const auto &thread : state->threads) {
        if (thread->phase != Phase::Ended) {
            ids.push_back(thread->id);
        }
    }
    return ids;
}

int VirtualTime::threadCount() const
{
    const Lock lock(guard());
    return static_cast<int>(state->threads.size());
}

nanoseconds VirtualTime::wakeUpTime(ThreadId thread) const
{
    const Lock lock(guard());
    return find(thread)->wakeUp;
}

void VirtualTime::failNextThreadStart(int error)
{
    const Lock lock(guard());
    state->nextStartError = error;
}

ThreadId VirtualTime::currentThread()
{
    if (self != nullptr) {
        return self->id;
    }
    return isTestThread ? testThread : unfollowedThread;
}

std::vector<SleepRequest> VirtualTime::sleeps() const
{
    const Lock lock(guard());
    return state->sleeps;
}

std::vector<SleepRequest> VirtualTime::sleepsOf(ThreadId thread) const
{
    std::vector<SleepRequest> own;
    for (const SleepRequest &request : sleeps()) {
        if (request.thread == thread) {
            own.push_back(request);
        }
    }
    return own;
}

void VirtualTime::forgetSleeps()
{
    const Lock lock(guard());
    state->sleeps.clear();
}

void VirtualTime::onSleep(std::function<void(const SleepRequest &)> observer)
{
    const Lock lock(guard());
    state->observer = std::move(observer);
}

void VirtualTime::onOwnSleep(std::function<void(const SleepRequest &)> hook)
{
    const Lock lock(guard());
    state->ownHook = std::move(hook);
}

void VirtualTime::interruptNextOwnSleep()
{
    const Lock lock(guard());
    state->interruptOwn = true;
}

nanoseconds VirtualTime::now() const
{
    const Lock lock(guard());
    return state->now;
}

void VirtualTime::setWallClock(const QDateTime &time)
{
    const Lock lock(guard());
    state->wallAtZero = milliseconds(time.toMSecsSinceEpoch()) - state->now;
}

QDateTime VirtualTime::wallClock() const
{
    const Lock lock(guard());
    const auto time = std::chrono::duration_cast<milliseconds>(state->wallAtZero + state->now);
    return QDateTime::fromMSecsSinceEpoch(time.count());
}

void VirtualTime::setNextWallClockReadings(const std::vector<QDateTime> &times)
{
    const Lock lock(guard());
    state->nextReadings.clear();
    for (const QDateTime &time : times) {
        state->nextReadings.push_back(time.toMSecsSinceEpoch());
    }
}

int VirtualTime::wallClockReadings() const
{
    const Lock lock(guard());
    return state->readings;
}

void VirtualTime::onWallClockReading(std::function<void()> observer)
{
    const Lock lock(guard());
    state->readingObserver = std::move(observer);
}

Hurry::Hurry(int factor)
{
    haste = factor;
}

Hurry::~Hurry()
{
    haste = 1;
}

Unfollowed::Unfollowed()
    : m_before(unfollowed)
{
    unfollowed = true;
}

Unfollowed::~Unfollowed()
{
    unfollowed = m_before;
}

namespace {

/** What a sanitizer puts in the place of pthread_create, or else the system's own. */
int createThread(pthread_t *handle, const pthread_attr_t *attributes, StartRoutine routine, void *argument);

int createFollowed(pthread_t *handle, const pthread_attr_t *attributes, StartRoutine routine, void *argument)
{
    auto launch = std::make_unique<Launch>(Launch{routine, argument, std::make_shared<Thread>()});
    {
        const Lock lock(guard());
        if (state->nextStartError != 0) {
            return std::exchange(state->nextStartError, 0);
        }
        Thread &thread = *launch->thread;
        thread.id = static_cast<ThreadId>(state->threads.size()) + 1;
        thread.name = state->nextName.empty() ? "started by " + std::to_string(VirtualTime::currentThread())
                                              : std::exchange(state->nextName, std::string());
        state->threads.push_back(launch->thread);
    }
    const auto thread = launch->thread;
    const int error = createThread(handle, attributes, runFollowed, launch.get());
    if (error == 0) {
        static_cast<void>(launch.release()); // the thread's own now
        return 0;
    }
    const Lock lock(guard());
    thread->phase = Phase::Ended;
    return error;
}

} // namespace

} // namespace biz::test

// --- What the library, Qt and the standard library call -------------------------------

#define BIZ_INTERPOSED extern "C" [[gnu::visibility("default")]]

// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizers' own names
extern "C" [[gnu::weak]] int __interceptor_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *),
                                                          void *);
// NOLINTEND(bugprone-reserved-identifier)

namespace biz::test {
namespace {

int createThread(pthread_t *handle, const pthread_attr_t *attributes, StartRoutine routine, void *argument)
{
    if (__interceptor_pthread_create != nullptr) {
        return __interceptor_pthread_create(handle, attributes, routine, argument);
    }
    static const auto real = reinterpret_cast<ThreadCreate>(dlsym(RTLD_NEXT, "pthread_create"));
    return real(handle, attributes, routine, argument);
}

} // namespace
} // namespace biz::test

BIZ_INTERPOSED int nanosleep(const timespec *request, timespec *remaining)
{
    using namespace biz::test;
    if (isOn && (isFollowed() || isTestThread)) {
        if (remaining != nullptr) {
            *remaining = *request;
        }
        return virtualSleep(*request);
    }
    timespec real = *request;
    const int divisor = haste;
    if (divisor != 1) {
        const auto shorter = (seconds(request->tv_sec) + nanoseconds(request->tv_nsec)) / divisor;
        real.tv_sec = std::chrono::duration_cast<seconds>(shorter).count();
        real.tv_nsec = (shorter % seconds(1)).count();
    }
    return static_cast<int>(syscall(SYS_nanosleep, &real, remaining));
}

BIZ_INTERPOSED int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    using namespace biz::test;
    if (clock != CLOCK_REALTIME || !isOn || !(isFollowed() || isTestThread)) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    }
    const nanoseconds now = readWallClock();
    const auto wholeSeconds = std::chrono::floor<seconds>(now);
    time->tv_sec = wholeSeconds.count();
    time->tv_nsec = (now - wholeSeconds).count();
    return 0;
}

BIZ_INTERPOSED int gettimeofday(timeval *time, void * /*zone*/) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec;
    time->tv_usec = std::chrono::duration_cast<std::chrono::microseconds>(biz::test::nanoseconds(now.tv_nsec)).count();
    return 0;
}

BIZ_INTERPOSED int pthread_create(pthread_t *handle, const pthread_attr_t *attributes, void *(*routine)(void *),
                                  void *argument) noexcept
{
    using namespace biz::test;
    if (isOn && !unfollowed && (isFollowed() || isTestThread)) {
        return createFollowed(handle, attributes, routine, argument);
    }
    return createThread(handle, attributes, routine, argument);
}
