#ifndef BIZ_HOST_LOOP_THREAD_P_H
#define BIZ_HOST_LOOP_THREAD_P_H

#include <atomic>
#include <functional>
#include <memory>

#include <QtCore/QString>
#include <QtCore/QThread>

#include <host_clock_p.h>

namespace biz::host {

/** A named thread that runs one loop of the library. */
class LoopThread
{
public:
    /** Starts `body` on a thread of that name; debuggers show its first 15 letters. */
    LoopThread(const QString &name, std::function<void()> body);

    /** False when the system gave no thread. */
    bool hasStarted() const { return m_hasStarted; }

    /** Whether the loop has returned by the deadline; a later call may still say yes. */
    bool join(TimePoint deadline);

    QString name() const { return m_thread->objectName(); }

private:
    /** What the loop did happens before a join() that says yes, for every tool to see. */
    std::atomic<bool> m_hasReturned{false};
    bool m_hasStarted = false;
    std::unique_ptr<QThread> m_thread;
};

} // namespace biz::host

#endif
