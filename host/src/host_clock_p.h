#ifndef BIZ_HOST_CLOCK_P_H
#define BIZ_HOST_CLOCK_P_H

#include <chrono>

namespace biz::host {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

inline double millisecondsBetween(TimePoint from, TimePoint to)
{
    return std::chrono::duration<double, std::milli>(to - from).count();
}

} // namespace biz::host

#endif
