#ifndef BIZ_TESTS_HOST_ON_THREAD_H
#define BIZ_TESTS_HOST_ON_THREAD_H

#include <functional>
#include <mutex>

#include <QtCore/QMetaObject>
#include <QtCore/QObject>

namespace biz::test {

/**
 * Runs a call on the thread of `context` and waits for it. The mutex says what Qt's own
 * hand-over does as well, in a way that the thread sanitizer understands.
 */
inline void runOnThreadOf(QObject *context, const std::function<void()> &call)
{
    static std::mutex handOver;
    static const std::function<void()> *next = nullptr;
    {
        const std::lock_guard<std::mutex> lock(handOver);
        next = &call;
    }
    const auto run = [] {
        const std::lock_guard<std::mutex> lock(handOver);
        (*next)();
    };
    QMetaObject::invokeMethod(context, run, Qt::BlockingQueuedConnection);
    const std::lock_guard<std::mutex> lock(handOver);
    next = nullptr;
}

} // namespace biz::test

#endif
