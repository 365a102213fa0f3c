#ifndef BIZ_HOST_LOOP_THREAD_P_H
#define BIZ_HOST_LOOP_THREAD_P_H

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include <QtCore/QString>

#include <host_clock_p.h>

namespace biz::host {

/**
 * A named thread that runs one loop of the library. None of Qt's, which opens a descriptor for an event loop that no
 * loop has, and ends the process when there is none left.
 */
class LoopThread
{
public:
    /** Starts `body` on a thread of that name; debuggers show its first 15 letters. */
    LoopThread(QString name, std::function<void()> body);

    /** Waits until the loop has returned. */
    ~LoopThread();
    LoopThread(const LoopThread &) = delete;
    LoopThread &operator=(const LoopThread &) = delete;

    /** False when the system gave no thread. */
    bool hasStarted() const { return m_hasStarted; }

    /** Whether the loop has returned by the deadline; a later call may still say yes. */
    bool join(TimePoint deadline);

    QString name() const { return m_name; }

private:
    void run(const std::function<void()> &body);

    const QString m_name;
    bool m_hasStarted = false;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_hasReturned = false; ///< guarded by m_mutex
    std::thread m_thread;
};

/** Whether the system gives so many threads at once. They are given back. */
bool canHaveThreads(int count);

} // namespace biz::host

#endif
