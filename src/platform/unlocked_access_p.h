#ifndef BIZ_PLATFORM_UNLOCKED_ACCESS_P_H
#define BIZ_PLATFORM_UNLOCKED_ACCESS_P_H

#include <cstddef>
#include <queue>

#include <model/model_protocoldata.h>

// The thread sanitizer knows the exempted functions by name, which they lose when they are inlined.
// Anywhere else they are: a call leads a loop that has just woken up to code that has gone cold.
#if defined(__SANITIZE_THREAD__)
#define BIZ_UNLOCKED_ACCESS [[gnu::noinline]] inline
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define BIZ_UNLOCKED_ACCESS [[gnu::noinline]] inline
#endif
#endif
#ifndef BIZ_UNLOCKED_ACCESS
#define BIZ_UNLOCKED_ACCESS inline
#endif

/**
 * The only accesses to shared state that are made without its guard.
 *
 * They are deliberate: the loops look every few milliseconds whether there is anything to
 * do, hosts write the flags as plain members, and no pass may wait on a lock just to find
 * that it has nothing to do. What a pass then acts on is tested again under the lock where
 * that matters. A race between these functions and a host's plain write is expected; the
 * thread sanitizer is told so by name.
 *
 * The members are plain by contract, hence the compiler's own atomic access to them: it
 * keeps a loop from reading its flag once and for all.
 */
namespace biz::unlocked {

/** The present value of a flag that another thread may be writing. */
BIZ_UNLOCKED_ACCESS bool load(const bool &member)
{
    return __atomic_load_n(&member, __ATOMIC_RELAXED);
}

/** The present value of a counter that another thread may be writing. */
BIZ_UNLOCKED_ACCESS int load(const int &member)
{
    return __atomic_load_n(&member, __ATOMIC_RELAXED);
}

/** Sets a flag that another thread may be reading. */
BIZ_UNLOCKED_ACCESS void store(bool &member, bool value)
{
    __atomic_store_n(&member, value, __ATOMIC_RELAXED);
}

/**
 * The number of waiting records, possibly stale, and possibly torn while a push or pop
 * is going on: good for "is it worth taking the lock", and for reports.
 */
BIZ_UNLOCKED_ACCESS std::size_t queueSize(const std::queue<model_Protocoldata> &queue)
{
    return queue.size();
}

/**
 * Destroys every waiting record, front first. Safe only while nobody pushes, takes or
 * clears, which is what skip mode asks of the host.
 */
BIZ_UNLOCKED_ACCESS void discard(std::queue<model_Protocoldata> &queue)
{
    while (!queue.empty()) {
        queue.pop();
    }
}

} // namespace biz::unlocked

#undef BIZ_UNLOCKED_ACCESS

#endif
