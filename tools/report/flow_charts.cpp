#include <report/charts.h>

#include <algorithm>
#include <cmath>

#include <history/words.h>
#include <report/drawing/chart_frame.h>
#include <report/drawing/html.h>

namespace biz::report {

namespace {

using history::Command;
using history::Device;

/** The number of waiting commands changes by one. */
struct Step
{
    double atMs = 0.0;
    int by = 0;
};

/** A command waits from its giving to its sending, or to its end where it is never sent. */
std::vector<Step> stepsOf(const history::History &history)
{
    std::vector<Step> steps;
    for (const Device &device : history.devices) {
        for (const Command &command : device.commands) {
            const double untilMs = command.sentMs >= 0.0 ? command.sentMs : command.endMs;
            if (command.givenMs < 0.0) {
                continue;
            }
            steps.push_back({command.givenMs, 1});
            if (untilMs >= 0.0) {
                steps.push_back({untilMs, -1});
            }
        }
    }
    std::stable_sort(steps.begin(), steps.end(), [](const Step &a, const Step &b) { return a.atMs < b.atMs; });
    return steps;
}

/** The most that waited in each column of the chart. */
std::vector<int> mostWaiting(const Scene &scene, std::size_t columns)
{
    std::vector<int> most(columns, 0);
    int waiting = 0;
    std::size_t reached = 0;
    for (const Step &step : stepsOf(scene.history)) {
        const double share = (step.atMs - scene.stretch.fromMs) / std::max(scene.stretch.lengthMs(), 1.0);
        const auto column = static_cast<std::size_t>(std::clamp(share, 0.0, 1.0) * static_cast<double>(columns - 1));
        for (; reached < column; ++reached) {
            most[reached + 1] = waiting;
        }
        waiting += step.by;
        if (step.atMs <= scene.stretch.toMs) {
            most[column] = std::max(most[column], waiting);
        }
    }
    return most;
}

/** What ended in a column of time. */
struct Ends
{
    quint64 answered = 0;
    quint64 others = 0;
};

std::vector<Ends> endsOf(const Scene &scene, std::size_t columns)
{
    std::vector<Ends> ends(columns);
    for (const Device &device : scene.history.devices) {
        for (const Command &command : device.commands) {
            if (!command.hasEnded || !scene.stretch.contains(command.endMs)) {
                continue;
            }
            const double share = (command.endMs - scene.stretch.fromMs) / std::max(scene.stretch.lengthMs(), 1.0);
            Ends &column = ends[std::min(static_cast<std::size_t>(share * static_cast<double>(columns)), columns - 1)];
            ++(command.isAnswered() ? column.answered : column.others);
        }
    }
    return ends;
}

} // namespace

Drawing waitingCommands(const Scene &scene)
{
    constexpr std::size_t columns = 400;
    const std::vector<int> most = mostWaiting(scene, columns);
    const int highest = *std::max_element(most.begin(), most.end());
    const double top = roundedTop(highest);
    Svg svg(chart::width, chart::height, QStringLiteral("Waiting commands"),
            QStringLiteral("How many commands waited to be sent; at most %1.").arg(highest));
    drawCountAxis(svg, top, QStringLiteral("commands"));
    drawTimeAxis(svg, TimeScale(scene.stretch, chart::left, chart::right));
    constexpr double columnWidth = (chart::right - chart::left) / static_cast<double>(columns);
    QString area = QStringLiteral("M%1 %2").arg(coordinate(chart::left), coordinate(chart::bottom));
    int before = 0;
    for (std::size_t column = 0; column < columns; ++column) {
        if (most[column] != before) {
            area += QStringLiteral("H%1V%2").arg(coordinate(chart::left + static_cast<double>(column) * columnWidth),
                                                 coordinate(heightOf(most[column], top)));
            before = most[column];
        }
    }
    area += QStringLiteral("H%1V%2z").arg(coordinate(chart::right), coordinate(chart::bottom));
    svg.path("queue", area);
    return {svg.markup(), {}};
}

Drawing rateOfCommands(const Scene &scene)
{
    constexpr double secondMs = 1000.0;
    constexpr double fewestColumns = 20.0;
    constexpr double mostColumns = 60.0;
    const double seconds = std::max(scene.stretch.lengthMs(), 1.0) / secondMs;
    const auto columns = static_cast<std::size_t>(std::clamp(seconds, fewestColumns, mostColumns));
    const std::vector<Ends> ends = endsOf(scene, columns);
    const double columnSeconds = seconds / static_cast<double>(columns);
    const auto rate = [columnSeconds](quint64 count) {
        return static_cast<double>(count) / columnSeconds;
    };
    double highest = 0.0;
    for (const Ends &column : ends) {
        highest = std::max(highest, rate(column.answered + column.others));
    }
    const double top = roundedTop(highest);
    Svg svg(chart::width, chart::height, QStringLiteral("Commands a second"),
            QStringLiteral("How many commands ended each second, answered or not; at most %1.")
                .arg(QString::number(highest, 'f', 1)));
    drawCountAxis(svg, top, QStringLiteral("commands a second"));
    drawTimeAxis(svg, TimeScale(scene.stretch, chart::left, chart::right));
    const double columnWidth = (chart::right - chart::left) / static_cast<double>(columns);
    constexpr double gap = 1.0;
    for (std::size_t place = 0; place < columns; ++place) {
        const Ends &column = ends[place];
        const double x = chart::left + static_cast<double>(place) * columnWidth;
        const double middle = heightOf(rate(column.answered), top);
        const double y = heightOf(rate(column.answered + column.others), top);
        if (column.answered > 0) {
            svg.rect("b answered", {x, middle, columnWidth - gap, chart::bottom - middle});
        }
        if (column.others > 0) {
            svg.rect("b givenup", {x, y, columnWidth - gap, middle - y});
        }
    }
    return {svg.markup(), {}};
}

} // namespace biz::report
