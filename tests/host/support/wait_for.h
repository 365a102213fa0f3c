#ifndef BIZ_TESTS_HOST_WAIT_FOR_H
#define BIZ_TESTS_HOST_WAIT_FOR_H

#include <functional>

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>

namespace biz::test {

/** How long a test waits for what should happen at once: long only when it does not happen. */
constexpr int patienceMs = 20000;

/**
 * Runs the event loop until the condition holds; false when it did not within the time.
 * The condition is looked at after every event, and every few milliseconds for what other
 * threads change.
 */
inline bool waitFor(const std::function<bool()> &condition, int milliseconds = patienceMs)
{
    constexpr int lookMs = 5;
    QTimer wakeUp;
    wakeUp.start(lookMs);
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        if (clock.elapsed() >= milliseconds) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        // A nested loop leaves these to the outermost one, and a test has none.
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

} // namespace biz::test

#endif
