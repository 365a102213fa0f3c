#include <platform/sleep_p.h>

#include <ctime>

namespace biz::platform {

int sleepFor(std::chrono::milliseconds duration)
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
    return ::nanosleep(&request, nullptr);
}

} // namespace biz::platform
