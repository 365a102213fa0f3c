#ifndef BIZ_HOST_ROUND_TRIPS_H
#define BIZ_HOST_ROUND_TRIPS_H

#include <algorithm>
#include <cmath>

#include <QtCore/QVector>
#include <QtCore/QtGlobal>

namespace biz::host {

/**
 * Round-trip times of one device over any running time, in at most 4 kB: they are counted in
 * classes, 16 to each doubling, from a microsecond to 18 minutes. A percentile is the middle
 * of its class and so within 2.2 % of the true value; minimum and maximum are exact. What two of them have
 * counted can be put together without loss.
 */
class RoundTrips
{
public:
    void add(double ms)
    {
        m_min = m_count == 0 ? ms : std::min(m_min, ms);
        m_max = m_count == 0 ? ms : std::max(m_max, ms);
        ++m_count;
        const int index = classOf(ms);
        if (index >= m_classes.size()) {
            m_classes.resize(index + 1);
        }
        ++m_classes[index];
    }

    RoundTrips &operator+=(const RoundTrips &other)
    {
        if (other.m_count == 0) {
            return *this;
        }
        m_min = m_count == 0 ? other.m_min : std::min(m_min, other.m_min);
        m_max = std::max(m_max, other.m_max);
        m_count += other.m_count;
        m_classes.resize(std::max(m_classes.size(), other.m_classes.size()));
        for (int index = 0; index < other.m_classes.size(); ++index) {
            m_classes[index] += other.m_classes.at(index);
        }
        return *this;
    }

    quint64 count() const { return m_count; }

    // All negative when there is none yet.
    double min() const { return m_min; }
    double max() const { return m_max; }
    double median() const { return percentile(50); }

    /** The time that `percent` of the round trips did not exceed. */
    double percentile(int percent) const
    {
        constexpr quint64 all = 100;
        // Whole hundreds first: the product with a count of many years still fits.
        const auto share = static_cast<quint64>(percent);
        const quint64 rank = std::max<quint64>(m_count / all * share + (m_count % all * share + all - 1) / all, 1);
        quint64 counted = 0;
        for (int index = 0; index < m_classes.size(); ++index) {
            counted += m_classes.at(index);
            if (counted >= rank) {
                return std::clamp(middleOf(index), m_min, m_max);
            }
        }
        return m_max;
    }

    /**
     * How many took less than a microsecond doubled so many times: 10 is 1.024 ms, 20 is 1.05 s. These are bounds of
     * classes, so the number is exact.
     */
    quint64 countBelow(int doublingsOfMicrosecond) const
    {
        const int end = std::min<int>(perDoubling * doublingsOfMicrosecond, static_cast<int>(m_classes.size()));
        quint64 counted = 0;
        for (int index = 0; index < end; ++index) {
            counted += m_classes.at(index);
        }
        return counted;
    }

    /** All together, in milliseconds, within 2.2 %. */
    double sum() const
    {
        double total = 0.0;
        for (int index = 0; index < m_classes.size(); ++index) {
            total += static_cast<double>(m_classes.at(index)) * std::clamp(middleOf(index), m_min, m_max);
        }
        return total;
    }

private:
    static constexpr int perDoubling = 16;
    static constexpr int doublings = 30;
    static constexpr double shortestMs = 0.001;

    static int classOf(double ms)
    {
        const double position = perDoubling * std::log2(std::max(ms, shortestMs) / shortestMs);
        return std::min(static_cast<int>(position), perDoubling * doublings - 1);
    }

    static double middleOf(int index)
    {
        return shortestMs * std::exp2((static_cast<double>(index) + 0.5) / perDoubling);
    }

    QVector<quint64> m_classes; ///< up to the longest so far
    quint64 m_count = 0;
    double m_min = -1.0;
    double m_max = -1.0;
};

} // namespace biz::host

#endif
