#ifndef BIZ_PLATFORM_UNLOCKED_ACCESS_P_H
#define BIZ_PLATFORM_UNLOCKED_ACCESS_P_H

#include <cstddef>
#include <queue>

class model_Protocoldata;

/**
 * The only accesses to shared state that are made without its guard.
 *
 * They are deliberate: the loops look every few milliseconds whether there is anything to
 * do, hosts write the flags as plain members, and no pass may wait on a lock just to find
 * that it has nothing to do. What a pass then acts on is tested again under the lock where
 * that matters. A race between these functions and a host's plain write is expected; the
 * thread sanitizer is told so by name, hence none of them may be inlined.
 */
namespace biz::unlocked {

/** The present value of a flag or counter that another thread may be writing. */
[[gnu::noinline]] bool load(const bool &member);
[[gnu::noinline]] int load(const int &member);

/** Sets a flag that another thread may be reading. */
[[gnu::noinline]] void store(bool &member, bool value);

/**
 * The number of waiting records, possibly stale, and possibly torn while a push or pop
 * is going on: good for "is it worth taking the lock", and for reports.
 */
[[gnu::noinline]] std::size_t queueSize(const std::queue<model_Protocoldata> &queue);

/**
 * Destroys every waiting record, front first. Safe only while nobody pushes, takes or
 * clears, which is what skip mode asks of the host.
 */
[[gnu::noinline]] void discard(std::queue<model_Protocoldata> &queue);

} // namespace biz::unlocked

#endif
