#ifndef BIZ_KIT_SEEDS_CLOCK_H
#define BIZ_KIT_SEEDS_CLOCK_H

#include <algorithm>
#include <chrono>
#include <vector>

namespace biz::kit_seeds {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

/** The virtual time. */
inline nanoseconds now()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

/** Earlier than anything that happens. */
constexpr nanoseconds never = nanoseconds::min() / 2;

/** When the thread of the hosts had no time for its events, whichever host's slot kept it. */
class BusyTimes
{
public:
    void add(nanoseconds from, nanoseconds until) { m_times.push_back({from, until}); }

    bool overlap(nanoseconds from, nanoseconds until) const
    {
        return std::any_of(m_times.begin(), m_times.end(),
                           [=](const Time &time) { return time.from <= until && time.until >= from; });
    }
    bool since(nanoseconds from) const { return !m_times.empty() && m_times.back().until >= from; }

    /** The end of the last one. */
    nanoseconds last() const { return m_times.empty() ? never : m_times.back().until; }

private:
    struct Time
    {
        nanoseconds from;
        nanoseconds until;
    };
    std::vector<Time> m_times;
};

/** Both hosts of a seed share their thread, and each seed has a process of its own. */
inline BusyTimes busyTimes;

} // namespace biz::kit_seeds

#endif
