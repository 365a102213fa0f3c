#ifndef BIZ_HOST_QUIET_TIME_P_H
#define BIZ_HOST_QUIET_TIME_P_H

#include <algorithm>
#include <functional>

#include <QtCore/QTimer>

#include <loops/host_clock_p.h>

namespace biz::host {

/** The quiet time that a link needs after each reply; nobody is blocked meanwhile. */
class QuietTime
{
public:
    QuietTime(const std::function<void()> &whenOver, QObject *parent)
        : m_timer(parent)
    {
        m_timer.setSingleShot(true);
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, parent, whenOver);
    }

    void setLength(int milliseconds) { m_length = std::chrono::milliseconds(std::max(milliseconds, 0)); }

    void begin(TimePoint reply) { m_end = reply + m_length; }

    TimePoint end() const { return m_end; }

    /** Whether it is over; if it is not, the callback follows when it is. */
    bool isOver()
    {
        const TimePoint now = Clock::now();
        if (now >= m_end) {
            return true;
        }
        m_timer.start(std::chrono::ceil<std::chrono::milliseconds>(m_end - now));
        return false;
    }

    void cancel()
    {
        m_timer.stop();
        m_end = {};
    }

private:
    QTimer m_timer;
    std::chrono::milliseconds m_length{0};
    TimePoint m_end{};
};

} // namespace biz::host

#endif
