#include <scenario/scheduler.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <stdexcept>
#include <thread>

#include <dlfcn.h>
#include <pthread.h>
#include <sched.h>
#include <semaphore.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace biz::scenario {

namespace {

constexpr std::chrono::seconds realTimeBound{60};
constexpr std::chrono::seconds startOfWallClock{1704067200}; // 2024-01-01 00:00 UTC
constexpr std::chrono::hours startOfSteadyClock{1};          // since the machine was started

/** How often a task looks again at what it waits for in other ways than by a watched mutex or by sleeping. */
constexpr milliseconds lookPeriod{1};

// A fingerprint is a 64-bit FNV-1a hash.
constexpr std::uint64_t fingerprintOfNothing = 14695981039346656037U;
constexpr std::uint64_t fingerprintPrime = 1099511628211U;

Scheduler *theScheduler = nullptr;

using StartRoutine = void *(*)(void *);
using ThreadCreate = int (*)(pthread_t *, const pthread_attr_t *, StartRoutine, void *);
using MutexCall = int (*)(pthread_mutex_t *);

template<typename Function>
Function systemCall(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

/** One thread at a time waits here for its turn. */
class Turn
{
public:
    Turn() { sem_init(&m_semaphore, 0, 0); }
    ~Turn() { sem_destroy(&m_semaphore); }
    Turn(const Turn &) = delete;
    Turn &operator=(const Turn &) = delete;

    void give() { sem_post(&m_semaphore); }
    void await()
    {
        while (sem_wait(&m_semaphore) != 0) {
        }
    }
    bool awaitFor(std::chrono::seconds bound)
    {
        timespec until{};
        clock_gettime(CLOCK_REALTIME, &until);
        until.tv_sec += bound.count();
        return sem_timedwait(&m_semaphore, &until) == 0;
    }

private:
    sem_t m_semaphore{};
};

} // namespace

struct Scheduler::Task
{
    enum class State { Ready, Sleeping, Blocked, Ended };

    int number = 0;
    int starter = 0;
    std::string name;
    State state = State::Ready;
    nanoseconds wakeUp{0};
    nanoseconds endedAt{-1};
    const void *waitsFor = nullptr;
    std::vector<const void *> held;
    int points = 0;
    Turn turn;
    pthread_t handle{};
    StartRoutine routine = nullptr;
    void *argument = nullptr;
};

struct Scheduler::Done
{
    Turn turn;
};

namespace {

thread_local void *selfPointer = nullptr;

} // namespace

/** What a new thread runs: it waits for its first turn, and says when it has ended. */
struct TaskEntry
{
    static Scheduler::Task *self() { return static_cast<Scheduler::Task *>(selfPointer); }

    static void *enter(void *argument)
    {
        auto *task = static_cast<Scheduler::Task *>(argument);
        selfPointer = task;
        task->turn.await();
        void *result = task->routine(task->argument);
        selfPointer = nullptr;
        theScheduler->ended(task);
        return result;
    }
};

Scheduler::Scheduler(Chooser &chooser)
    : m_chooser(chooser)
    , m_wallAtZero(startOfWallClock)
    , m_fingerprint(fingerprintOfNothing)
    , m_done(std::make_unique<Done>())
{
    theScheduler = this;
}

Scheduler::~Scheduler()
{
    theScheduler = nullptr;
}

void Scheduler::watch(const void *object)
{
    m_watched.push_back(object);
}

bool Scheduler::watches(const void *object) const
{
    return std::find(m_watched.begin(), m_watched.end(), object) != m_watched.end();
}

void Scheduler::run(std::function<void()> body)
{
    start("host", std::move(body));
    m_tasks.front()->turn.give();
    if (!m_done->turn.awaitFor(realTimeBound)) {
        std::fprintf(stderr, "a task neither slept nor ended in time\n");
        for (const auto &task : m_tasks) {
            std::fprintf(stderr, "  %d %s: state %d\n", task->number, task->name.c_str(),
                         static_cast<int>(task->state));
        }
        std::abort();
    }
    throwViolation();
}

int Scheduler::start(const std::string &name, std::function<void()> body)
{
    m_nextName = name;
    const bool isFirst = m_tasks.empty();
    auto *own = new std::function<void()>(std::move(body));
    const auto routine = [](void *argument) -> void * {
        const std::unique_ptr<std::function<void()>> function(static_cast<std::function<void()> *>(argument));
        (*function)();
        return nullptr;
    };
    pthread_t handle{};
    const int number = static_cast<int>(m_tasks.size()) + 1;
    if (create(&handle, nullptr, routine, own) != 0) {
        delete own;
        throw std::runtime_error("cannot start a thread");
    }
    pthread_detach(handle);
    if (!isFirst) {
        point();
    }
    return number;
}

int Scheduler::create(void *handle, const void *attributes, void *(*routine)(void *), void *argument)
{
    static const auto real = systemCall<ThreadCreate>("pthread_create");

    auto task = std::make_unique<Task>();
    task->number = static_cast<int>(m_tasks.size()) + 1;
    task->starter = currentTask();
    task->name = m_nextName.empty() ? "started by " + std::to_string(currentTask()) : m_nextName;
    task->routine = routine;
    task->argument = argument;
    m_nextName.clear();
    const int error = real(static_cast<pthread_t *>(handle), static_cast<const pthread_attr_t *>(attributes),
                           TaskEntry::enter, task.get());
    if (error == 0) {
        task->handle = *static_cast<pthread_t *>(handle);
        m_tasks.push_back(std::move(task));
    }
    return error;
}

/** A thread's handle may be that of an earlier one, which has ended. */
void Scheduler::awaitEndOf(const void *handle)
{
    const auto task = std::find_if(m_tasks.rbegin(), m_tasks.rend(), [handle](const auto &candidate) {
        return pthread_equal(candidate->handle, *static_cast<const pthread_t *>(handle)) != 0;
    });
    while (task != m_tasks.rend() && (*task)->state != Task::State::Ended) {
        sleep(lookPeriod);
    }
}

nanoseconds Scheduler::steadyClock() const
{
    return startOfSteadyClock + m_now;
}

int Scheduler::currentTask()
{
    return isTask() ? TaskEntry::self()->number : 0;
}

int Scheduler::locksHeld()
{
    return isTask() ? static_cast<int>(TaskEntry::self()->held.size()) : 0;
}

bool Scheduler::holds(const void *mutex)
{
    if (!isTask()) {
        return false;
    }
    const auto &held = TaskEntry::self()->held;
    return std::find(held.begin(), held.end(), mutex) != held.end();
}

bool Scheduler::isHeld(const void *mutex) const
{
    return std::any_of(m_tasks.begin(), m_tasks.end(), [mutex](const auto &task) {
        return std::find(task->held.begin(), task->held.end(), mutex) != task->held.end();
    });
}

bool Scheduler::isTask()
{
    return selfPointer != nullptr;
}

Scheduler *Scheduler::instance()
{
    return theScheduler;
}

int Scheduler::starterOf(int task) const
{
    return m_tasks[static_cast<std::size_t>(task - 1)]->starter;
}

nanoseconds Scheduler::endOf(int task) const
{
    return m_tasks[static_cast<std::size_t>(task - 1)]->endedAt;
}

int Scheduler::pointsSinceSleep(int task) const
{
    return m_tasks[static_cast<std::size_t>(task - 1)]->points;
}

void Scheduler::setWallClock(std::chrono::seconds sinceEpoch)
{
    m_wallAtZero = sinceEpoch - m_now;
}

void Scheduler::violate(const std::string &what)
{
    if (m_violation.empty()) {
        const auto ms = std::chrono::duration_cast<milliseconds>(m_now).count();
        m_violation = "at " + std::to_string(ms) + " ms, task " + std::to_string(currentTask()) + ": " + what;
    }
}

void Scheduler::tellHowToRepeat(std::FILE *to) const
{
    const std::string option = m_chooser.option();
    std::fprintf(to, "FAILED %s (the program ends)\n  %s\n  repeat with: --%s\n", option.c_str(), m_violation.c_str(),
                 option.c_str());
}

void Scheduler::trace(const char *what, std::int64_t value)
{
    const auto add = [this](std::uint64_t part) {
        m_fingerprint = (m_fingerprint ^ part) * fingerprintPrime;
    };
    for (; *what != '\0'; ++what) {
        add(static_cast<unsigned char>(*what));
    }
    add(static_cast<std::uint64_t>(value));
}

void Scheduler::sleep(nanoseconds duration)
{
    Task *task = TaskEntry::self();
    task->state = Task::State::Sleeping;
    task->wakeUp = m_now + duration;
    task->points = 0;
    giveWay();
}

void Scheduler::point()
{
    ++TaskEntry::self()->points;
    giveWay();
}

/** The heart: the running task hands over to whomever the chooser names, itself included. */
void Scheduler::giveWay()
{
    ++m_points;
    if (m_onPoint && !m_inCheck) {
        m_inCheck = true;
        m_onPoint();
        m_inCheck = false;
    }
    Task *me = TaskEntry::self();
    Task *next = pick();
    next->state = Task::State::Ready;
    trace("turn", next->number);
    trace("time", m_now.count());
    if (next != me) {
        next->turn.give();
        me->turn.await();
    }
}

Scheduler::Task *Scheduler::pick()
{
    m_choice.tasks.clear();
    m_choice.running = 0;
    nanoseconds soonest = nanoseconds::max();
    for (const auto &task : m_tasks) {
        const bool sleeps = task->state == Task::State::Sleeping;
        if (task->state == Task::State::Ready || (sleeps && task->wakeUp <= m_now)) {
            m_choice.tasks.push_back(task->number);
            m_choice.running = task.get() == TaskEntry::self() && !sleeps ? task->number : m_choice.running;
        } else if (sleeps) {
            soonest = std::min(soonest, task->wakeUp);
        }
    }
    if (m_choice.tasks.empty() && soonest != nanoseconds::max()) {
        m_now = soonest;
        return pick();
    }
    if (m_choice.tasks.empty()) {
        std::fprintf(stderr, "deadlock\n");
        std::abort();
    }
    const int next = m_choice.tasks[m_chooser.choose(m_choice)];
    return m_tasks[static_cast<std::size_t>(next - 1)].get();
}

void Scheduler::ended(Task *task)
{
    task->state = Task::State::Ended;
    task->endedAt = m_now;
    const bool all = std::all_of(m_tasks.begin(), m_tasks.end(),
                                 [](const auto &other) { return other->state == Task::State::Ended; });
    if (all) {
        m_done->turn.give();
        return;
    }
    Task *next = pick();
    next->state = Task::State::Ready;
    next->turn.give();
}

void Scheduler::beforeLock(const void *mutex)
{
    Task *task = TaskEntry::self();
    if (!task->held.empty()) {
        violate("a second lock is taken while one is held");
    }
    point();
    while (isHeld(mutex)) {
        task->state = Task::State::Blocked;
        task->waitsFor = mutex;
        giveWay();
    }
    task->held.push_back(mutex);
    // Others may run while this one holds the lock: up to the point where they want it too.
    point();
}

void Scheduler::afterUnlock(const void *mutex)
{
    auto &held = TaskEntry::self()->held;
    held.erase(std::remove(held.begin(), held.end(), mutex), held.end());
    for (const auto &task : m_tasks) {
        if (task->state == Task::State::Blocked && task->waitsFor == mutex) {
            task->state = Task::State::Ready;
        }
    }
    point();
}

} // namespace biz::scenario

// --- What the library and Qt call -----------------------------------------------------

#define BIZ_INTERPOSED extern "C" [[gnu::visibility("default")]]

using biz::scenario::Scheduler;

BIZ_INTERPOSED int nanosleep(const timespec *request, timespec * /*remaining*/)
{
    if (!Scheduler::isTask()) {
        return 0; // between two runs no time passes
    }
    if (request->tv_sec < 0 || request->tv_nsec < 0) {
        errno = EINVAL;
        return -1;
    }
    Scheduler::instance()->sleep(std::chrono::seconds(request->tv_sec) + std::chrono::nanoseconds(request->tv_nsec));
    return 0;
}

BIZ_INTERPOSED int clock_gettime(clockid_t clock, timespec *time) noexcept
{
    if ((clock != CLOCK_REALTIME && clock != CLOCK_MONOTONIC) || !Scheduler::isTask()) {
        return static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    }
    const Scheduler &scheduler = *Scheduler::instance();
    const std::chrono::nanoseconds now = clock == CLOCK_REALTIME ? scheduler.wallClock() : scheduler.steadyClock();
    const auto wholeSeconds = std::chrono::floor<std::chrono::seconds>(now);
    time->tv_sec = wholeSeconds.count();
    time->tv_nsec = (now - wholeSeconds).count();
    return 0;
}

BIZ_INTERPOSED int gettimeofday(timeval *time, void * /*zone*/) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec;
    time->tv_usec =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::nanoseconds(now.tv_nsec)).count();
    return 0;
}

BIZ_INTERPOSED int pthread_create(pthread_t *handle, const pthread_attr_t *attributes, void *(*routine)(void *),
                                  void *argument) noexcept
{
    if (Scheduler::isTask()) {
        return Scheduler::instance()->create(handle, attributes, routine, argument);
    }
    static const auto real = biz::scenario::systemCall<biz::scenario::ThreadCreate>("pthread_create");
    return real(handle, attributes, routine, argument);
}

BIZ_INTERPOSED int pthread_mutex_lock(pthread_mutex_t *mutex) noexcept
{
    static const auto real = biz::scenario::systemCall<biz::scenario::MutexCall>("pthread_mutex_lock");
    if (Scheduler::isTask() && Scheduler::instance()->watches(mutex)) {
        Scheduler::instance()->beforeLock(mutex);
    }
    return real(mutex);
}

BIZ_INTERPOSED int pthread_mutex_unlock(pthread_mutex_t *mutex) noexcept
{
    static const auto real = biz::scenario::systemCall<biz::scenario::MutexCall>("pthread_mutex_unlock");
    const int result = real(mutex);
    if (Scheduler::isTask() && Scheduler::instance()->watches(mutex)) {
        Scheduler::instance()->afterUnlock(mutex);
    }
    return result;
}

namespace {

/** Wakes without a reason, which whoever waits for a condition has to be ready for: others have had their turns. */
int wakeLater(pthread_mutex_t *mutex)
{
    pthread_mutex_unlock(mutex);
    if (Scheduler::isTask()) {
        Scheduler::instance()->sleep(biz::scenario::lookPeriod);
    } else {
        sched_yield();
    }
    return pthread_mutex_lock(mutex);
}

} // namespace

BIZ_INTERPOSED int pthread_cond_wait(pthread_cond_t * /*condition*/, pthread_mutex_t *mutex)
{
    return wakeLater(mutex);
}

BIZ_INTERPOSED int pthread_cond_clockwait(pthread_cond_t * /*condition*/, pthread_mutex_t *mutex, clockid_t clock,
                                          const timespec *until)
{
    timespec now{};
    clock_gettime(clock, &now);
    const bool isOver = now.tv_sec != until->tv_sec ? now.tv_sec > until->tv_sec : now.tv_nsec >= until->tv_nsec;
    return isOver ? ETIMEDOUT : wakeLater(mutex);
}

BIZ_INTERPOSED int pthread_join(pthread_t handle, void **result)
{
    static const auto real = biz::scenario::systemCall<int (*)(pthread_t, void **)>("pthread_join");
    if (Scheduler::isTask()) {
        Scheduler::instance()->awaitEndOf(&handle);
    }
    return real(handle, result);
}
