#ifndef BIZ_TESTKIT_SYSTEM_CALLS_P_H
#define BIZ_TESTKIT_SYSTEM_CALLS_P_H

#include <ctime>

#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/time.h>

namespace biz::testkit {

/** The system's own calls, behind those of the same names that replace them in the program. */
struct SystemCalls
{
    int (*nanosleep)(const timespec *, timespec *);
    int (*clockNanosleep)(clockid_t, int, const timespec *, timespec *);
    int (*usleep)(useconds_t);
    unsigned (*sleep)(unsigned);
    int (*clockGettime)(clockid_t, timespec *);
    int (*gettimeofday)(timeval *, void *);
    time_t (*time)(time_t *);
    int (*poll)(pollfd *, nfds_t, int);
    int (*ppoll)(pollfd *, nfds_t, const timespec *, const sigset_t *);
    int (*eventfdWrite)(int, unsigned long);
    int (*schedYield)();
    int (*socket)(int, int, int);
    long (*syscall)(long, ...);
    int (*pthreadCreate)(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *);
    int (*pthreadJoin)(pthread_t, void **);
    int (*mutexLock)(pthread_mutex_t *);
    int (*mutexTryLock)(pthread_mutex_t *);
    int (*mutexTimedLock)(pthread_mutex_t *, const timespec *);
    int (*mutexClockLock)(pthread_mutex_t *, clockid_t, const timespec *);
    int (*mutexUnlock)(pthread_mutex_t *);
    int (*conditionWait)(pthread_cond_t *, pthread_mutex_t *);
    int (*conditionTimedWait)(pthread_cond_t *, pthread_mutex_t *, const timespec *);
    int (*conditionClockWait)(pthread_cond_t *, pthread_mutex_t *, clockid_t, const timespec *);
    int (*conditionSignal)(pthread_cond_t *);
    int (*conditionBroadcast)(pthread_cond_t *);
    int (*readLock)(pthread_rwlock_t *);
    int (*tryReadLock)(pthread_rwlock_t *);
    int (*writeLock)(pthread_rwlock_t *);
    int (*tryWriteLock)(pthread_rwlock_t *);
    int (*readWriteUnlock)(pthread_rwlock_t *);
    int (*timedReadLock)(pthread_rwlock_t *, const timespec *);
    int (*timedWriteLock)(pthread_rwlock_t *, const timespec *);
    int (*clockReadLock)(pthread_rwlock_t *, clockid_t, const timespec *);
    int (*clockWriteLock)(pthread_rwlock_t *, clockid_t, const timespec *);
    int (*once)(pthread_once_t *, void (*)());
    int (*semaphoreWait)(sem_t *);
    int (*semaphoreTryWait)(sem_t *);
    int (*semaphoreTimedWait)(sem_t *, const timespec *);
    int (*semaphorePost)(sem_t *);
};

const SystemCalls &systemCalls();

} // namespace biz::testkit

#endif
