#include <report/drawing/scale.h>

#include <algorithm>
#include <cmath>

#include <QtCore/QDateTime>
#include <QtCore/QLocale>

namespace biz::report {

namespace {

constexpr double secondMs = 1000.0;
constexpr double minuteMs = 60.0 * secondMs;
constexpr double hourMs = 60.0 * minuteMs;
constexpr double dayMs = 24.0 * hourMs;

constexpr double roundDurations[] = {
    1,
    2,
    5,
    10,
    20,
    50,
    100,
    200,
    500,
    secondMs,
    2 * secondMs,
    5 * secondMs,
    10 * secondMs,
    30 * secondMs,
    minuteMs,
    2 * minuteMs,
    5 * minuteMs,
    10 * minuteMs,
    30 * minuteMs,
    hourMs,
    2 * hourMs,
    6 * hourMs,
    12 * hourMs,
    dayMs,
    2 * dayMs,
    7 * dayMs,
    30 * dayMs,
    365 * dayMs,
};

QString formatFor(double stepMs)
{
    if (stepMs < secondMs) {
        return QStringLiteral("hh:mm:ss.zzz");
    }
    if (stepMs < minuteMs) {
        return QStringLiteral("hh:mm:ss");
    }
    return stepMs < dayMs ? QStringLiteral("hh:mm") : QStringLiteral("MM-dd");
}

/** The local clock is so far ahead of UTC. */
double localOffsetMs(double ms)
{
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(ms)).offsetFromUtc() * secondMs;
}

QString durationLabel(double ms)
{
    return ms < secondMs ? QStringLiteral("%1 ms").arg(ms) : QStringLiteral("%1 s").arg(ms / secondMs);
}

} // namespace

double roundDuration(double ms)
{
    const auto *found = std::lower_bound(std::begin(roundDurations), std::end(roundDurations), ms);
    return found == std::end(roundDurations) ? std::ceil(ms / dayMs) * dayMs : *found;
}

TimeScale::TimeScale(const Stretch &stretch, double left, double right)
    : m_stretch(stretch)
    , m_left(left)
    , m_right(right)
{
    constexpr double shortestMs = 10.0;
    m_stretch.toMs = std::max(m_stretch.toMs, m_stretch.fromMs + shortestMs);
}

double TimeScale::at(double ms) const
{
    const double share = (ms - m_stretch.fromMs) / m_stretch.lengthMs();
    return m_left + std::clamp(share, 0.0, 1.0) * (m_right - m_left);
}

std::vector<Tick> TimeScale::ticks(int most) const
{
    const double stepMs = roundDuration(m_stretch.lengthMs() / most);
    const double offsetMs = localOffsetMs(m_stretch.fromMs);
    const QString format = formatFor(stepMs);
    std::vector<Tick> ticks;
    for (double ms = std::ceil((m_stretch.fromMs + offsetMs) / stepMs) * stepMs - offsetMs; ms <= m_stretch.toMs;
         ms += stepMs) {
        const QDateTime time = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(std::llround(ms)));
        ticks.push_back({at(ms), QLocale::c().toString(time, format)});
    }
    return ticks;
}

DurationScale::DurationScale(double shortestMs, double longestMs, double from, double to)
    : m_from(from)
    , m_to(to)
{
    constexpr double leastMs = 0.01;
    constexpr double decade = 10.0;
    m_shortestMs = std::pow(decade, std::floor(std::log10(std::max(shortestMs, leastMs))));
    m_longestMs = std::pow(decade, std::ceil(std::log10(std::max(longestMs, leastMs))));
    m_longestMs = std::max(m_longestMs, m_shortestMs * decade);
}

double DurationScale::at(double ms) const
{
    const double share = std::log(std::max(ms, m_shortestMs) / m_shortestMs) / std::log(m_longestMs / m_shortestMs);
    return m_from + std::min(share, 1.0) * (m_to - m_from);
}

std::vector<Tick> DurationScale::ticks() const
{
    constexpr double decade = 10.0;
    constexpr double rounding = 1.0001;
    std::vector<Tick> ticks;
    for (double ms = m_shortestMs; ms <= m_longestMs * rounding; ms *= decade) {
        constexpr double digits = 1000.0;
        ticks.push_back({at(ms), durationLabel(std::round(ms * digits) / digits)});
    }
    return ticks;
}

} // namespace biz::report
