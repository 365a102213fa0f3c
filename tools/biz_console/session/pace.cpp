#include <biz_console/session/pace.h>

#include <algorithm>

#include <common/units.h>

namespace biz::console {

namespace {

/** What a timer was late is made up for; a longer stall is not, since a burst would follow it. */
constexpr double madeUpMs = 5.0;

} // namespace

Pace::Pace(double perSecond)
    : m_periodMs(perSecond > 0 ? tools::millisecondsPerSecond / perSecond : 0.0)
{
}

bool Pace::take(double nowMs)
{
    if (nowMs < m_nextMs) {
        return false;
    }
    m_nextMs = std::max(m_nextMs, nowMs - madeUpMs) + m_periodMs;
    return true;
}

double Pace::waitMs(double nowMs) const
{
    return std::max(0.0, m_nextMs - nowMs);
}

} // namespace biz::console
