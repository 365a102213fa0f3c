#ifndef BIZ_PLATFORM_SLEEP_P_H
#define BIZ_PLATFORM_SLEEP_P_H

#include <chrono>
#include <ctime>

namespace biz::platform {

/**
 * Puts the calling thread to sleep by one call of POSIX nanosleep and returns its result:
 * 0, or -1 for a negative duration (at once) or an interruption (early; not taken up
 * again). Every wait of the library goes through here, so that a program which brings its
 * own nanosleep decides when each loop makes its next pass.
 */
inline int sleepFor(std::chrono::milliseconds duration)
{
    using std::chrono::duration_cast;
    using std::chrono::nanoseconds;
    using std::chrono::seconds;

    // Both parts keep the sign of the duration: a negative wait is an invalid request,
    // which the call refuses at once.
    const auto wholeSeconds = duration_cast<seconds>(duration);
    const auto rest = duration_cast<nanoseconds>(duration - wholeSeconds);

    timespec request{};
    request.tv_sec = static_cast<time_t>(wholeSeconds.count());
    request.tv_nsec = static_cast<long>(rest.count());
    return nanosleep(&request, nullptr);
}

} // namespace biz::platform

#endif
