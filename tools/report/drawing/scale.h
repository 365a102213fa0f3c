#ifndef BIZ_REPORT_SCALE_H
#define BIZ_REPORT_SCALE_H

#include <vector>

#include <QtCore/QString>

namespace biz::report {

/** A stretch of time, in milliseconds since 1970. */
struct Stretch
{
    double fromMs = 0.0;
    double toMs = 0.0;

    double lengthMs() const { return toMs - fromMs; }
    bool touches(double firstMs, double lastMs) const { return firstMs <= toMs && lastMs >= fromMs; }
    bool contains(double ms) const { return ms >= fromMs && ms <= toMs; }
};

struct Tick
{
    double position = 0.0;
    QString label;
};

/** Time along a drawing. */
class TimeScale
{
public:
    TimeScale(const Stretch &stretch, double left, double right);

    /** Where a time stands; one beyond an end stands at the end. */
    double at(double ms) const;

    /** Round times, so many at most. */
    std::vector<Tick> ticks(int most) const;

    double left() const { return m_left; }
    double right() const { return m_right; }
    const Stretch &stretch() const { return m_stretch; }

private:
    Stretch m_stretch;
    double m_left;
    double m_right;
};

/** Durations along a drawing, by their logarithm: a round trip of 0.3 ms and a wait of a second both show. */
class DurationScale
{
public:
    /** Covers both, to the next power of ten. */
    DurationScale(double shortestMs, double longestMs, double from, double to);

    double at(double ms) const;
    std::vector<Tick> ticks() const;
    double shortestMs() const { return m_shortestMs; }
    double longestMs() const { return m_longestMs; }

private:
    double m_shortestMs;
    double m_longestMs;
    double m_from;
    double m_to;
};

/** The shortest of the round lengths of time that is not shorter than asked for. */
double roundDuration(double ms);

} // namespace biz::report

#endif
