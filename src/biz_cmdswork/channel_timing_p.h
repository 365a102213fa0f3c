#ifndef BIZ_CHANNEL_TIMING_P_H
#define BIZ_CHANNEL_TIMING_P_H

#include <chrono>

/** The periods, scales and limits of the device command channel. */
namespace biz::timing {

using std::chrono::milliseconds;

/** The send loop's period: bounds the rate to 100 commands a second. */
constexpr milliseconds sendPassPeriod{10};

/** The receive loop's period: bounds the rate to 200 replies a second. */
constexpr milliseconds receivePassPeriod{5};

/**
 * Deliberate: what one send pass counts against a command's wait time. It is more than
 * the pass sleeps, so a command waits for about two thirds of its `iWaitTime`.
 */
constexpr milliseconds passCountsAs{15};
static_assert(passCountsAs > sendPassPeriod, "the wait must end before iWaitTime is over");

/** Time for the host to bring the link up again between signalInitCore and the resend. */
constexpr milliseconds resendDelay{20};

/** This many time-outs give a command up; fewer resend it. */
constexpr int timeoutsToGiveUp = 2;

/** Blocked passes from one report of the queue size to the next. */
constexpr int blockedPassesPerReport = 20;

/** timeoutClearQueue() acts when more time-outs than this have been counted. */
constexpr int timeoutsToleratedByClear = 9;

} // namespace biz::timing

#endif
