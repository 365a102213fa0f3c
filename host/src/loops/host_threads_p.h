#ifndef BIZ_HOST_THREADS_P_H
#define BIZ_HOST_THREADS_P_H

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include <QtCore/QStringList>
#include <QtCore/QThread>

#include <loops/host_clock_p.h>

namespace biz::host {

/** A named thread that runs one loop of the library. */
class LoopThread
{
public:
    /** Starts `body` on a thread of that name; debuggers show its first 15 letters. */
    LoopThread(const QString &name, std::function<void()> body);

    /** Whether the loop has returned by the deadline; a later call may still say yes. */
    bool join(TimePoint deadline);

    QString name() const { return m_thread->objectName(); }

private:
    /** What the loop did happens before a join() that says yes, for every tool to see. */
    std::atomic<bool> m_hasReturned{false};
    std::unique_ptr<QThread> m_thread;
};

/** Waits for all of them; returns the names of those that have not returned by then. */
QStringList joinAll(const std::vector<std::unique_ptr<LoopThread>> &loops, TimePoint deadline);

} // namespace biz::host

#endif
