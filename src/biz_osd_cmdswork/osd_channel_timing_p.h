#ifndef BIZ_OSD_CHANNEL_TIMING_P_H
#define BIZ_OSD_CHANNEL_TIMING_P_H

#include <chrono>

/** The periods of the OSD command channel. */
namespace biz::osd_timing {

using std::chrono::milliseconds;

/** The send loop's period: the most that a command for a free device waits. */
constexpr milliseconds sendPassPeriod{3};

/** The time-out loop's period: deadlines are whole seconds, so twice a second is enough. */
constexpr milliseconds timeoutPassPeriod{500};

/** The receive loop's period. Deliberate: it paces the host to 200 replies a second. */
constexpr milliseconds receivePassPeriod{5};

/** `iWaitTime` counts in whole seconds. */
constexpr int millisecondsPerSecond = 1000;

} // namespace biz::osd_timing

#endif
