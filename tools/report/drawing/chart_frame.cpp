#include <report/drawing/chart_frame.h>

#include <algorithm>
#include <cmath>

namespace biz::report {

namespace {

constexpr double belowAxis = 15.0;

} // namespace

void drawTimeAxis(Svg &svg, const TimeScale &time)
{
    constexpr int mostTicks = 5;
    for (const Tick &tick : time.ticks(mostTicks)) {
        svg.line("grid", tick.position, chart::top, tick.position, chart::bottom);
        svg.label(tick.position, chart::bottom + belowAxis, tick.label, chart::width);
    }
}

double roundedTop(double number)
{
    constexpr double decade = 10.0;
    const double power = std::pow(decade, std::floor(std::log10(std::max(number, 1.0))));
    // Half of it is a whole number, too.
    for (const double factor : {2.0, 4.0, 6.0, 8.0, decade}) {
        if (factor * power >= number) {
            return factor * power;
        }
    }
    return decade * power;
}

double heightOf(double number, double highest)
{
    return chart::bottom - number / highest * (chart::bottom - chart::top);
}

void drawCountAxis(Svg &svg, double highest, const QString &unit)
{
    constexpr double toLabel = 6.0;
    constexpr double toBaseline = 4.0;
    for (const double share : {0.0, 0.5, 1.0}) {
        const double y = heightOf(highest * share, highest);
        svg.line("grid", chart::left, y, chart::right, y);
        svg.text("axis", chart::left - toLabel, y + toBaseline, QString::number(highest * share), Anchor::End);
    }
    svg.text("axis", chart::left, chart::top - 2.0 * toLabel, unit);
}

} // namespace biz::report
