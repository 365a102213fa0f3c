#include <clock/scheduler_p.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <netinet/in.h>
#include <sched.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <clock/thread_description_p.h>

namespace biz::testkit {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds startOfWallClock{1704067200}; // 2024-01-01 00:00 UTC

/** Until a thread that is no task must have woken one, when no task will wake by itself. */
constexpr milliseconds patienceWithOthers{15'000};

/** Of the points where others may go first, and a choice would cost more than the step: one in so many has one. */
constexpr std::uint64_t pointsPerSeldomChoice = 16;

/** Turns at one moment after which time moves on nevertheless, as it does for who is busy. */
constexpr int mostTurnsAtMoment = 20'000;

/** Readings of a clock at one moment after which the reader is taken to wait by reading, and how long it then waits. */
constexpr int mostReadingsAtMoment = 20'000;
constexpr milliseconds waitOfReader{1};

/** Rounds of a thread's own cleaning up that come before its end: the library of threads does four. */
constexpr int roundsBeforeEnd = 3;

/** Of a 64-bit FNV-1a hash. */
constexpr std::uint64_t traceOfNothing = 14695981039346656037U;
constexpr std::uint64_t tracePrime = 1099511628211U;

/** One thread runs at a time: on one processor they take turns without waking another one, several times as fast. */
void stayOnOneProcessor()
{
    cpu_set_t own;
    CPU_ZERO(&own);
    CPU_SET(static_cast<std::size_t>(::sched_getcpu()), &own);
    ::sched_setaffinity(0, sizeof own, &own);
}

bool isNetworkSocket(int descriptor)
{
    int domain = AF_UNSPEC;
    socklen_t size = sizeof domain;
    return ::getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 &&
           (domain == AF_INET || domain == AF_INET6);
}

bool watches(const Task &task, int descriptor)
{
    return std::any_of(task.descriptors, task.descriptors + task.descriptorCount,
                       [descriptor](const pollfd &each) { return each.fd == descriptor; });
}

} // namespace

Scheduler *Scheduler::s_instance = nullptr;
thread_local Task *Scheduler::s_current = nullptr;

/** Holds the scheduler's lock; the replaced calls would wait for a turn. */
class Scheduler::Lock
{
public:
    explicit Lock(Scheduler &scheduler)
        : m_scheduler(scheduler)
    {
        lock();
    }
    ~Lock()
    {
        if (m_isLocked) {
            unlock();
        }
    }
    Lock(const Lock &) = delete;
    Lock &operator=(const Lock &) = delete;

    void lock()
    {
        systemCalls().mutexLock(&m_scheduler.m_mutex);
        m_isLocked = true;
    }
    void unlock()
    {
        m_isLocked = false;
        systemCalls().mutexUnlock(&m_scheduler.m_mutex);
    }

private:
    Scheduler &m_scheduler;
    bool m_isLocked = false;
};

void endTest(const std::string &sentence)
{
    std::fflush(stdout);
    std::fprintf(stderr, "TestKit: %s\n", sentence.c_str());
    std::fflush(stderr);
    std::_Exit(EXIT_FAILURE);
}

Scheduler::Scheduler()
    : m_wallAtZero(startOfWallClock)
    , m_trace(traceOfNothing)
    , m_kick(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
{
    pthread_key_create(&m_endKey, &Scheduler::end);
}

Scheduler &Scheduler::start()
{
    stayOnOneProcessor();
    auto *const scheduler = new Scheduler;
    auto task = std::make_unique<Task>();
    task->number = ++scheduler->m_created;
    task->handle = ::pthread_self();
    task->thread = ::gettid();
    scheduler->m_runningThread = task->thread;
    s_current = task.get();
    scheduler->m_tasks.push_back(std::move(task));
    s_instance = scheduler;
    return *scheduler;
}

void Scheduler::setSeed(std::uint64_t seed)
{
    m_random.seed(seed);
    m_trace = traceOfNothing;
    m_traceFrom = m_now;
    m_created = 0;
    for (const auto &task : m_tasks) {
        task->number = ++m_created;
    }
    m_turnsAtMoment = 0;
    m_readingsAtMoment = 0;
    m_ranSinceLook = false;
    collectReady();
    m_mayChoose = m_ready.size() > 1;
}

void Scheduler::alignTime()
{
    if (m_tasks.size() == 1) {
        m_now = std::chrono::ceil<seconds>(m_now);
    }
}

nanoseconds Scheduler::boundNextPoll(nanoseconds at)
{
    return std::exchange(s_current->pollBound, at);
}

bool Scheduler::setLooksAtEachMoment(bool on)
{
    return std::exchange(s_current->looksAtEachMoment, on);
}

void Scheduler::addToTrace(std::uint64_t value)
{
    m_trace = (m_trace ^ value) * tracePrime;
}

// --- Waiting and waking ---------------------------------------------------------------

bool Scheduler::wait(Wait wait, const void *object, nanoseconds due)
{
    Lock lock(*this);
    Task *const me = s_current;
    me->wait = wait;
    me->object = object;
    me->due = due;
    me->isWoken = false;
    me->order = ++m_waits;
    m_lockWaiters += wait == Wait::Lock ? 1 : 0;
    switchFrom(me, lock);
    m_lockWaiters -= wait == Wait::Lock ? 1 : 0;
    return me->isWoken;
}

int Scheduler::waitForEvents(pollfd *descriptors, nfds_t count, nanoseconds due)
{
    refuseSockets(descriptors, count);
    for (;;) {
        const int ready = count == 0 ? 0 : systemCalls().poll(descriptors, count, 0);
        if (ready != 0 || due <= m_now) {
            giveWay();
            return ready;
        }
        Lock lock(*this);
        Task *const me = s_current;
        me->wait = Wait::Events;
        me->object = nullptr;
        me->descriptors = descriptors;
        me->descriptorCount = count;
        me->due = std::min(due, me->pollBound);
        me->isWoken = false;
        me->order = ++m_waits;
        switchFrom(me, lock);
        lock.unlock();
        const bool isBound = me->pollBound <= m_now;
        if (isBound || (me->looksAtEachMoment && !me->isWoken)) {
            me->pollBound = isBound ? never : me->pollBound;
            m_interruptPoll();
        }
    }
}

int Scheduler::wake(const void *object, int most)
{
    const Lock lock(*this);
    int woken = 0;
    for (; woken < most; ++woken) {
        Task *longest = nullptr;
        for (const auto &task : m_tasks) {
            const bool waits = task->wait != Wait::Nothing && task->object == object && !task->isWoken;
            if (waits && (longest == nullptr || task->order < longest->order)) {
                longest = task.get();
            }
        }
        if (longest == nullptr) {
            break;
        }
        longest->isWoken = true;
        m_mayChoose = true;
    }
    if (woken > 0 && m_awaitsOthers) {
        systemCalls().eventfdWrite(m_kick, 1);
    }
    return woken;
}

void Scheduler::wakePollers(int descriptor)
{
    const Lock lock(*this);
    for (const auto &task : m_tasks) {
        if (task->wait == Wait::Events && watches(*task, descriptor)) {
            task->isWoken = true;
            m_mayChoose = true;
        }
    }
}

void Scheduler::giveWay()
{
    m_progress.fetch_add(1, std::memory_order_relaxed);
    Lock lock(*this);
    ++m_turnsAtMoment;
    if (m_mayChoose || m_turnsAtMoment > mostTurnsAtMoment) {
        switchFrom(s_current, lock);
    }
}

void Scheduler::giveWaySeldom()
{
    if (m_mayChoose && m_random() % pointsPerSeldomChoice == 0) {
        giveWay();
    }
}

void Scheduler::noteReading()
{
    if (++m_readingsAtMoment > mostReadingsAtMoment) {
        wait(Wait::Time, nullptr, m_now + waitOfReader);
    }
}

// --- Choosing who goes on --------------------------------------------------------------

void Scheduler::switchFrom(Task *me, Lock &lock)
{
    Task *const chosen = next(lock);
    addToTrace(static_cast<std::uint64_t>(chosen->number));
    addToTrace(static_cast<std::uint64_t>((m_now - m_traceFrom).count()));
    chosen->wait = Wait::Nothing;
    chosen->object = nullptr;
    m_ranSinceLook = m_ranSinceLook || !chosen->looksAtEachMoment;
    m_runningThread = chosen->thread;
    m_progress.fetch_add(1, std::memory_order_relaxed);
    lock.unlock();
    if (chosen != me) {
        chosen->turn.give();
        if (me != nullptr) {
            me->turn.await();
        }
    }
}

Task *Scheduler::next(Lock &lock)
{
    if (m_turnsAtMoment > mostTurnsAtMoment) {
        moveTime();
    }
    for (;;) {
        collectReady();
        if (!m_ready.empty()) {
            return choose();
        }
        if (readsEvents() || looksNow() || moveTime()) {
            continue;
        }
        awaitOthers(lock);
    }
}

Task *Scheduler::choose()
{
    m_mayChoose = m_ready.size() > 1;
    ++m_turnsAtMoment;
    return m_ready.size() == 1 ? m_ready.front() : m_ready[m_random() % m_ready.size()];
}

void Scheduler::collectReady()
{
    m_ready.clear();
    for (const auto &task : m_tasks) {
        if (task->wait == Wait::Nothing || task->isWoken || task->due <= m_now) {
            m_ready.push_back(task.get());
        }
    }
}

/** Looks for events that no task has told of. True when there is one for a task. */
bool Scheduler::readsEvents()
{
    m_polled.clear();
    for (const auto &task : m_tasks) {
        if (task->wait == Wait::Events) {
            m_polled.insert(m_polled.end(), task->descriptors, task->descriptors + task->descriptorCount);
        }
    }
    if (m_polled.empty() || systemCalls().poll(m_polled.data(), m_polled.size(), 0) <= 0) {
        return false;
    }
    for (const pollfd &polled : m_polled) {
        for (const auto &task : m_tasks) {
            task->isWoken =
                task->isWoken || (polled.revents != 0 && task->wait == Wait::Events && watches(*task, polled.fd));
        }
    }
    return true;
}

/** Gives the task that looks at each moment its turn before time moves, once after others have run. */
bool Scheduler::looksNow()
{
    if (!m_ranSinceLook) {
        return false;
    }
    m_ranSinceLook = false;
    for (const auto &task : m_tasks) {
        if (task->looksAtEachMoment && task->wait == Wait::Events) {
            task->due = m_now;
            return true;
        }
    }
    return false;
}

/** To the next moment at which a task is due. */
bool Scheduler::moveTime()
{
    nanoseconds soonest = never;
    for (const auto &task : m_tasks) {
        if (task->wait != Wait::Nothing && task->due > m_now) {
            soonest = std::min(soonest, task->due);
        }
    }
    if (soonest == never) {
        return false;
    }
    m_now = soonest;
    m_turnsAtMoment = 0;
    m_readingsAtMoment = 0;
    return true;
}

/** Every task waits for something that no task and no time will bring. */
void Scheduler::awaitOthers(Lock &lock)
{
    m_awaitsOthers = true;
    m_runningThread = 0;
    m_polled.push_back({m_kick, POLLIN, 0});
    lock.unlock();
    const int ready =
        systemCalls().poll(m_polled.data(), m_polled.size(), static_cast<int>(patienceWithOthers.count()));
    std::uint64_t kicks = 0;
    static_cast<void>(!::read(m_kick, &kicks, sizeof kicks));
    if (ready == 0) {
        endTest("nobody can go on: every thread waits, and for no time.\n" + description());
    }
    lock.lock();
    m_awaitsOthers = false;
}

// --- Threads ------------------------------------------------------------------------------

int Scheduler::create(pthread_t *handle, const pthread_attr_t *attributes, void *(*routine)(void *), void *argument)
{
    auto task = std::make_unique<Task>();
    Task *const created = task.get();
    created->routine = routine;
    created->argument = argument;
    Lock lock(*this);
    created->number = ++m_created;
    const int error = systemCalls().pthreadCreate(&created->handle, attributes, &Scheduler::enter, created);
    if (error != 0) {
        return error;
    }
    *handle = created->handle;
    m_tasks.push_back(std::move(task));
    m_mayChoose = true;
    lock.unlock();
    giveWay();
    return 0;
}

void *Scheduler::enter(void *argument)
{
    auto *const task = static_cast<Task *>(argument);
    s_current = task;
    task->turn.await();
    // Known from the first turn on: whoever looks before sees a thread that has not begun.
    task->thread = ::gettid();
    s_instance->m_runningThread = task->thread;
    pthread_setspecific(s_instance->m_endKey, task);
    return task->routine(task->argument);
}

/** Called for each round of the thread's cleaning up: what others clean up belongs to the task's last turn. */
void Scheduler::end(void *argument)
{
    auto *const task = static_cast<Task *>(argument);
    if (++task->endings < roundsBeforeEnd) {
        pthread_setspecific(s_instance->m_endKey, task);
        return;
    }
    s_current = nullptr;
    s_instance->ended(task);
}

void Scheduler::ended(Task *task)
{
    Lock lock(*this);
    for (const auto &other : m_tasks) {
        if (other->wait == Wait::End && ::pthread_equal(other->handle, task->handle) == 0) {
            other->isWoken = true; // it looks whether this was the one
        }
    }
    m_tasks.erase(
        std::find_if(m_tasks.begin(), m_tasks.end(), [task](const auto &each) { return each.get() == task; }));
    switchFrom(nullptr, lock);
}

void Scheduler::awaitEnd(pthread_t handle)
{
    const auto lives = [this, handle] {
        const Lock lock(*this);
        return std::any_of(m_tasks.begin(), m_tasks.end(),
                           [handle](const auto &task) { return ::pthread_equal(task->handle, handle) != 0; });
    };
    while (lives()) {
        wait(Wait::End, nullptr, never);
    }
}

// --- What cannot be followed ----------------------------------------------------------------

void Scheduler::noteNetworkSocket(int descriptor)
{
    const Lock lock(*this);
    if (std::find(m_sockets.begin(), m_sockets.end(), descriptor) == m_sockets.end()) {
        m_sockets.push_back(descriptor);
    }
}

void Scheduler::refuseSockets(const pollfd *descriptors, nfds_t count) const
{
    for (nfds_t i = 0; i < count && !m_sockets.empty(); ++i) {
        const int descriptor = descriptors[i].fd;
        const bool wasSocket = std::find(m_sockets.begin(), m_sockets.end(), descriptor) != m_sockets.end();
        if (wasSocket && isNetworkSocket(descriptor)) {
            endTest("the thread " + nameOfThread(s_current->thread) + " waits for the network socket " +
                    describeDescriptor(descriptor) +
                    ", on whose other side time goes on as ever; give hosts the links of simulated devices.");
        }
    }
}

std::string Scheduler::description()
{
    const Lock lock(*this);
    std::string text;
    for (const auto &task : m_tasks) {
        static constexpr const char *waits[] = {"can go on",
                                                "sleeps",
                                                "waits for events",
                                                "waits for a lock",
                                                "waits for a condition",
                                                "waits for a semaphore",
                                                "waits for the end of a thread"};
        text += "  thread " + nameOfThread(task->thread) + " " + waits[static_cast<std::size_t>(task->wait)] + "\n";
    }
    return text;
}

} // namespace biz::testkit
