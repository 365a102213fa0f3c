#include <common/units.h>

#include <cmath>

namespace biz::tools {

namespace {

constexpr double nanosecondsPerMillisecond = 1e6;
constexpr double microsecondsPerMillisecond = 1e3;

} // namespace

double elapsedMs(const QElapsedTimer &clock)
{
    return static_cast<double>(clock.nsecsElapsed()) / nanosecondsPerMillisecond;
}

double roundedMs(double milliseconds)
{
    return std::round(milliseconds * microsecondsPerMillisecond) / microsecondsPerMillisecond;
}

QString millisecondsText(double milliseconds)
{
    return milliseconds < 0 ? QStringLiteral("-") : QString::number(milliseconds, 'f', 1) + QStringLiteral(" ms");
}

} // namespace biz::tools
