#include <support/lock_probe.h>

#include <atomic>
#include <map>
#include <utility>

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

struct Probe
{
    NamedLocks watched;
    Journal *journal;
    std::map<std::string, Planned> planned;
};

std::atomic<Probe *> probe{nullptr};

/** The name of a watched mutex; null for all others. */
const std::string *nameOf(const Probe &active, const pthread_mutex_t *mutex)
{
    for (const auto &[name, watched] : active.watched) {
        if (watched->native_handle() == mutex) {
            return &name;
        }
    }
    return nullptr;
}

/** What the test has planned for this lock; an error keeps it from being taken. */
int carryOutPlan(Probe &active, const std::string &name)
{
    const auto plan = active.planned.find(name);
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
    probe = new Probe{std::move(watched), journal, {}};
}

LockProbe::~LockProbe()
{
    delete probe.exchange(nullptr);
}

void LockProbe::beforeLock(const std::string &name, int nth, std::function<void()> action)
{
    probe.load()->planned[name] = {nth, std::move(action), 0};
}

void LockProbe::failLock(const std::string &name, int nth, int error)
{
    probe.load()->planned[name] = {nth, nullptr, error};
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
    const std::string *const name = active == nullptr ? nullptr : nameOf(*active, mutex);
    if (name != nullptr) {
        if (const int error = carryOutPlan(*active, *name)) {
            return error;
        }
    }
    const int result = real.load()(mutex);
    if (name != nullptr && active->journal != nullptr) {
        active->journal->add("lock " + *name);
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
    const std::string *const name = active == nullptr ? nullptr : nameOf(*active, mutex);
    if (name != nullptr && active->journal != nullptr) {
        active->journal->add("unlock " + *name);
    }
    return real.load()(mutex);
}
