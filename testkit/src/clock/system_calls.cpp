#include <clock/system_calls_p.h>

#include <dlfcn.h>

namespace biz::testkit {

namespace {

template<typename Function>
void find(Function *&function, const char *name)
{
    function = reinterpret_cast<Function *>(::dlsym(RTLD_NEXT, name));
}

/** On some platforms an older condition variable has the same name, and would be found first. */
template<typename Function>
void findOfConditions(Function *&function, const char *name)
{
    function = reinterpret_cast<Function *>(::dlvsym(RTLD_NEXT, name, "GLIBC_2.3.2"));
    if (function == nullptr) {
        find(function, name);
    }
}

void findSleepsAndClocks(SystemCalls &calls)
{
    find(calls.nanosleep, "nanosleep");
    find(calls.clockNanosleep, "clock_nanosleep");
    find(calls.usleep, "usleep");
    find(calls.sleep, "sleep");
    find(calls.clockGettime, "clock_gettime");
    find(calls.gettimeofday, "gettimeofday");
    find(calls.time, "time");
    find(calls.poll, "poll");
    find(calls.ppoll, "ppoll");
    find(calls.eventfdWrite, "eventfd_write");
    find(calls.schedYield, "sched_yield");
    find(calls.socket, "socket");
    find(calls.syscall, "syscall");
}

void findThreadsAndLocks(SystemCalls &calls)
{
    find(calls.pthreadCreate, "pthread_create");
    find(calls.pthreadJoin, "pthread_join");
    find(calls.mutexLock, "pthread_mutex_lock");
    find(calls.mutexTryLock, "pthread_mutex_trylock");
    find(calls.mutexTimedLock, "pthread_mutex_timedlock");
    find(calls.mutexClockLock, "pthread_mutex_clocklock");
    find(calls.mutexUnlock, "pthread_mutex_unlock");
    findOfConditions(calls.conditionWait, "pthread_cond_wait");
    findOfConditions(calls.conditionTimedWait, "pthread_cond_timedwait");
    find(calls.conditionClockWait, "pthread_cond_clockwait");
    findOfConditions(calls.conditionSignal, "pthread_cond_signal");
    findOfConditions(calls.conditionBroadcast, "pthread_cond_broadcast");
    find(calls.readLock, "pthread_rwlock_rdlock");
    find(calls.tryReadLock, "pthread_rwlock_tryrdlock");
    find(calls.writeLock, "pthread_rwlock_wrlock");
    find(calls.tryWriteLock, "pthread_rwlock_trywrlock");
    find(calls.readWriteUnlock, "pthread_rwlock_unlock");
    find(calls.timedReadLock, "pthread_rwlock_timedrdlock");
    find(calls.timedWriteLock, "pthread_rwlock_timedwrlock");
    find(calls.clockReadLock, "pthread_rwlock_clockrdlock");
    find(calls.clockWriteLock, "pthread_rwlock_clockwrlock");
    find(calls.once, "pthread_once");
    find(calls.semaphoreWait, "sem_wait");
    find(calls.semaphoreTryWait, "sem_trywait");
    find(calls.semaphoreTimedWait, "sem_timedwait");
    find(calls.semaphorePost, "sem_post");
}

} // namespace

const SystemCalls &systemCalls()
{
    static const SystemCalls calls = [] {
        SystemCalls found{};
        findSleepsAndClocks(found);
        findThreadsAndLocks(found);
        return found;
    }();
    return calls;
}

} // namespace biz::testkit
