#include <biz_monitor/plots/time_axis.h>

#include <algorithm>

namespace biz::monitor {

void TimeAxis::setNow(double nowMs)
{
    m_nowMs = nowMs;
    if (m_isFollowing) {
        m_endMs = nowMs;
    }
}

void TimeAxis::setLength(double lengthMs)
{
    m_lengthMs = std::clamp(lengthMs, shortestMs, longestMs);
    Q_EMIT changed();
}

void TimeAxis::setFollowing(bool isFollowing)
{
    if (isFollowing == m_isFollowing) {
        return;
    }
    m_isFollowing = isFollowing;
    setNow(m_nowMs);
    Q_EMIT followingChanged(isFollowing);
    Q_EMIT changed();
}

void TimeAxis::goBack(double share)
{
    setEnd(m_endMs - share * m_lengthMs);
}

void TimeAxis::setEnd(double endMs)
{
    m_endMs = std::min(endMs, m_nowMs);
    const bool isAtEnd = endMs >= m_nowMs;
    if (isAtEnd != m_isFollowing) {
        setFollowing(isAtEnd);
        return;
    }
    Q_EMIT changed();
}

void TimeAxis::zoom(double factor, double around)
{
    const double lengthMs = std::clamp(m_lengthMs * factor, shortestMs, longestMs);
    const double fixedMs = m_endMs - m_lengthMs * (1.0 - around);
    m_lengthMs = lengthMs;
    if (m_isFollowing) {
        Q_EMIT changed();
        return;
    }
    setEnd(fixedMs + lengthMs * (1.0 - around));
}

} // namespace biz::monitor
