#ifndef BIZ_HOST_ROUND_TRIPS_P_H
#define BIZ_HOST_ROUND_TRIPS_P_H

#include <algorithm>
#include <vector>

namespace biz::host {

/** Round-trip times of one device: the maximum of all, the median of the latest. */
class RoundTrips
{
public:
    void add(double ms)
    {
        m_max = std::max(m_max, ms);
        if (m_latest.size() < kept) {
            m_latest.push_back(ms);
        } else {
            m_latest[m_next] = ms;
            m_next = (m_next + 1) % kept;
        }
    }

    /** Negative when there is none yet. */
    double max() const { return m_max; }

    /** Negative when there is none yet. */
    double median() const
    {
        if (m_latest.empty()) {
            return -1.0;
        }
        std::vector<double> sorted = m_latest;
        const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
        std::nth_element(sorted.begin(), middle, sorted.end());
        return *middle;
    }

private:
    /** Enough for a steady median, little enough for thousands of devices. */
    static constexpr std::size_t kept = 256;

    std::vector<double> m_latest;
    std::size_t m_next = 0;
    double m_max = -1.0;
};

} // namespace biz::host

#endif
