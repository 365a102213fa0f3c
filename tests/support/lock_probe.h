#ifndef BIZ_TEST_LOCK_PROBE_H
#define BIZ_TEST_LOCK_PROBE_H

#include <functional>
#include <mutex>
#include <string>

#include <support/held_locks.h>
#include <support/journal.h>

/**
 * Sees the library take and leave its locks: a program that links this file defines
 * pthread_mutex_lock and pthread_mutex_unlock itself. While no LockProbe object exists,
 * and for every mutex that it does not watch, the calls go to the system.
 */
namespace biz::test {

/** Watches the named locks on all threads. One at a time; make it when nobody runs. */
class LockProbe
{
public:
    /** Journal lines read "lock HexCmdlock" and "unlock HexCmdlock". */
    explicit LockProbe(NamedLocks watched, Journal *journal = nullptr);
    ~LockProbe();
    LockProbe(const LockProbe &) = delete;
    LockProbe &operator=(const LockProbe &) = delete;

    /**
     * Runs `action` on the locking thread just before its `nth` lock of the watched mutex
     * `name` from now on (1: the next one): what another thread does in between. The
     * action may use the lock itself.
     */
    void beforeLock(const std::string &name, int nth, std::function<void()> action);

    /** The same just before that mutex is left, while it is still held. */
    void beforeUnlock(const std::string &name, int nth, std::function<void()> action);

    /** The `nth` lock of that mutex from now on fails with `error`. */
    void failLock(const std::string &name, int nth, int error);
};

} // namespace biz::test

#endif
