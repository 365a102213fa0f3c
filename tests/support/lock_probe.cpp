#include <support/lock_probe.h>

#include <atomic>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <pthread.h>

namespace biz::test {

namespace {

struct Planned
{
    int remaining = 0;
    std::function<void()> action;
    int error = 0;
};

struct Watched
{
    std::string name;
    pthread_mutex_t *mutex;
    bool locked; ///< by a call that was seen; guarded by the mutex itself
};

struct Probe
{
    std::vector<Watched> watched;
    Journal *journal = nullptr;
    std::map<std::string, Planned> planned;
};

std::atomic<Probe *> probe{nullptr};

/** Never freed: a thread that is on its way out may still be looking at a former one. */
std::vector<std::unique_ptr<Probe>> &everyProbe()
{
    static auto *probes = new std::vector<std::unique_ptr<Probe>>;
    return *probes;
}

/** The watched mutex behind an address; null for all others. */
Watched *find(Probe *active, const pthread_mutex_t *mutex)
{
    if (active == nullptr) {
        return nullptr;
    }
    for (Watched &watched : active->watched) {
        if (watched.mutex == mutex) {
            return &watched;
        }
    }
    return nullptr;
}

/** What the test has planned for this step; an error keeps a lock from being taken. */
int carryOutPlan(Probe &active, const std::string &step)
{
    const auto plan = active.planned.find(step);
    if (plan == active.planned.end() || --plan->second.remaining > 0) {
        return 0;
    }
    const Planned due = std::move(plan->second);
    active.planned.erase(plan);
    if (due.action) {
        // The action's own locks are no part of what is watched.
        Probe *const before = probe.exchange(nullptr);
        due.action();
        probe = before;
    }
    return due.error;
}

} // namespace

LockProbe::LockProbe(NamedLocks watched, Journal *journal)
{
    auto active = std::make_unique<Probe>();
    active->journal = journal;
    for (const auto &[name, mutex] : watched) {
        active->watched.push_back({name, mutex->native_handle(), false});
    }
    probe = active.get();
    everyProbe().push_back(std::move(active));
}

LockProbe::~LockProbe()
{
    probe = nullptr;
}

void LockProbe::beforeLock(const std::string &name, int nth, std::function<void()> action)
{
    probe.load()->planned["lock " + name] = {nth, std::move(action), 0};
}

void LockProbe::beforeUnlock(const std::string &name, int nth, std::function<void()> action)
{
    probe.load()->planned["unlock " + name] = {nth, std::move(action), 0};
}

void LockProbe::failLock(const std::string &name, int nth, int error)
{
    probe.load()->planned["failure of " + name] = {nth, nullptr, error};
}

} // namespace biz::test

// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizers' own names
extern "C" [[gnu::weak]] int __interceptor_pthread_mutex_lock(pthread_mutex_t *);
extern "C" [[gnu::weak]] int __interceptor_pthread_mutex_unlock(pthread_mutex_t *);
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using MutexCall = int (*)(pthread_mutex_t *);

MutexCall systemCall(MutexCall sanitizer, const char *name)
{
    return sanitizer != nullptr ? sanitizer : reinterpret_cast<MutexCall>(dlsym(RTLD_NEXT, name));
}

} // namespace

#define BIZ_INTERPOSED extern "C" [[gnu::visibility("default")]]

BIZ_INTERPOSED int pthread_mutex_lock(pthread_mutex_t *mutex) noexcept
{
    static std::atomic<MutexCall> real{nullptr};
    if (real.load() == nullptr) {
        real = systemCall(&__interceptor_pthread_mutex_lock, "pthread_mutex_lock");
    }
    using namespace biz::test;
    Probe *const active = probe;
    Watched *const watched = find(active, mutex);
    if (watched == nullptr) {
        return real.load()(mutex);
    }
    carryOutPlan(*active, "lock " + watched->name);
    if (const int error = carryOutPlan(*active, "failure of " + watched->name)) {
        return error;
    }
    const int result = real.load()(mutex);
    watched->locked = true;
    if (active->journal != nullptr) {
        active->journal->add("lock " + watched->name);
    }
    return result;
}

BIZ_INTERPOSED int pthread_mutex_unlock(pthread_mutex_t *mutex) noexcept
{
    static std::atomic<MutexCall> real{nullptr};
    if (real.load() == nullptr) {
        real = systemCall(&__interceptor_pthread_mutex_unlock, "pthread_mutex_unlock");
    }
    using namespace biz::test;
    Probe *const active = probe;
    Watched *const watched = find(active, mutex);
    // One that was taken by a mere try is no lock of the library's.
    if (watched != nullptr && watched->locked) {
        watched->locked = false;
        carryOutPlan(*active, "unlock " + watched->name);
        if (active->journal != nullptr) {
            active->journal->add("unlock " + watched->name);
        }
    }
    return real.load()(mutex);
}
