#ifndef BIZ_PLATFORM_SLEEP_P_H
#define BIZ_PLATFORM_SLEEP_P_H

#include <chrono>

namespace biz::platform {

/**
 * Puts the calling thread to sleep by one call of POSIX nanosleep and returns its result:
 * 0, or -1 for a negative duration (at once) or an interruption (early; not taken up
 * again). Every wait of the library goes through here, so that a program which brings its
 * own nanosleep decides when each loop makes its next pass.
 */
int sleepFor(std::chrono::milliseconds duration);

} // namespace biz::platform

#endif
