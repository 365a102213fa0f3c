#include <report/charts.h>

#include <algorithm>
#include <cmath>
#include <set>

#include <history/words.h>
#include <report/drawing/chart_frame.h>
#include <report/drawing/html.h>

namespace biz::report {

namespace {

using history::Command;
using history::Device;

/** A wait that commands have, and how long the channel really waits. */
struct Wait
{
    int waitMs = 0;
    double usableMs = 0.0;
    bool isOfDevice = true;

    bool operator<(const Wait &other) const { return waitMs < other.waitMs; }
};

/** What is told of replies in a stretch. */
struct Responses
{
    std::vector<std::pair<double, double>> inTime; ///< when the command was sent, and how long it took
    std::vector<std::pair<double, double>> late;
    std::vector<double> none; ///< when a command was sent that had no reply that could be accepted
    std::set<Wait> waits;
    double shortestMs = 0.0;
    double longestMs = 0.0;
};

void note(Responses &all, const Device &device, const Command &command)
{
    const double responseMs = command.responseMs();
    if (responseMs >= 0.0) {
        (command.isAnswered() ? all.inTime : all.late).emplace_back(command.sentMs, responseMs);
    } else if (command.isGivenUp()) {
        all.none.push_back(command.sentMs);
    }
    constexpr std::size_t mostWaits = 3;
    if (command.waitMs > 0 && all.waits.size() < mostWaits) {
        all.waits.insert({command.waitMs, history::usableWaitMs(device, command.waitMs), device.isOfDevice});
    }
}

Responses responsesOf(const Scene &scene)
{
    Responses all;
    for (const Device &device : scene.history.devices) {
        for (const Command &command : device.commands) {
            if (command.sentMs >= 0.0 && scene.stretch.contains(command.sentMs)) {
                note(all, device, command);
            }
        }
    }
    double shortest = all.waits.empty() ? 1.0 : all.waits.begin()->waitMs;
    double longest = all.waits.empty() ? 1.0 : all.waits.rbegin()->waitMs;
    for (const auto *responses : {&all.inTime, &all.late}) {
        for (const auto &[sentMs, responseMs] : *responses) {
            shortest = std::min(shortest, responseMs);
            longest = std::max(longest, responseMs);
        }
    }
    all.shortestMs = shortest;
    all.longestMs = longest;
    return all;
}

/** Points on a grid of so many cells each way: what lies under another cannot be seen. */
class Sieve
{
public:
    explicit Sieve(int cells)
        : m_cell(std::max((chart::right - chart::left) / cells, 1.0))
    {
    }

    bool admits(double x, double y)
    {
        return m_taken.insert({static_cast<int>(x / m_cell), static_cast<int>(y / m_cell)}).second;
    }

private:
    double m_cell;
    std::set<std::pair<int, int>> m_taken;
};

constexpr double noReplyHeight = chart::top - 17.0;

QString usableText(const Wait &wait)
{
    return (wait.isOfDevice ? QStringLiteral("sent again after %1") : QStringLiteral("sure to wait %1"))
        .arg(history::durationText(wait.usableMs));
}

void drawWaits(Svg &svg, const Responses &all, const DurationScale &durations)
{
    constexpr double above = 3.0;
    for (const Wait &wait : all.waits) {
        const double y = durations.at(wait.waitMs);
        svg.line("wait", chart::left, y, chart::right, y);
        svg.text("alarm", chart::right, y - above, QStringLiteral("wait %1 ms").arg(wait.waitMs), Anchor::End);
        if (wait.usableMs >= durations.shortestMs()) {
            const double usable = durations.at(wait.usableMs);
            svg.line("usable", chart::left, usable, chart::right, usable);
            if (all.waits.size() == 1) {
                constexpr double below = 11.0;
                const double baseline = usable + below < chart::bottom ? usable + below : usable - above;
                svg.text("axis", chart::right, baseline, usableText(wait), Anchor::End);
            }
        }
    }
}

void drawDurationAxis(Svg &svg, const DurationScale &durations)
{
    constexpr double toLabel = 6.0;
    constexpr double toBaseline = 4.0;
    for (const Tick &tick : durations.ticks()) {
        svg.line("grid", chart::left, tick.position, chart::right, tick.position);
        svg.text("axis", chart::left - toLabel, tick.position + toBaseline, tick.label, Anchor::End);
    }
}

/** The highest of the classes of a distribution, and where they begin. */
struct Classes
{
    static constexpr int perDecade = 12;

    /** Of replies that took about the same time. */
    struct Count
    {
        quint64 inTime = 0;
        quint64 late = 0;

        quint64 all() const { return inTime + late; }
    };

    double shortestMs = 1.0;
    std::vector<Count> counts;

    explicit Classes(const Responses &all, const DurationScale &durations)
        : shortestMs(durations.shortestMs())
        , counts(static_cast<std::size_t>(
              std::lround(std::log10(durations.longestMs() / durations.shortestMs()) * perDecade)))
    {
        for (const auto &[sentMs, responseMs] : all.inTime) {
            ++classOf(responseMs).inTime;
        }
        for (const auto &[sentMs, responseMs] : all.late) {
            ++classOf(responseMs).late;
        }
    }

    Count &classOf(double responseMs)
    {
        const double place = std::log10(std::max(responseMs, shortestMs) / shortestMs) * perDecade;
        return counts[std::min(static_cast<std::size_t>(place), counts.size() - 1)];
    }

    double beginMs(std::size_t place) const
    {
        constexpr double decade = 10.0;
        return shortestMs * std::pow(decade, static_cast<double>(place) / perDecade);
    }

    double highest() const
    {
        const auto most = std::max_element(counts.begin(), counts.end(),
                                           [](const Count &a, const Count &b) { return a.all() < b.all(); });
        return static_cast<double>(most->all());
    }
};

void drawDistributionAxes(Svg &svg, const Responses &all, const DurationScale &durations, double highest)
{
    constexpr double belowAxis = 15.0;
    constexpr double baseline = 12.0;
    constexpr double toLine = 5.0;
    constexpr double widestLabel = 130.0;
    drawCountAxis(svg, highest, QStringLiteral("replies"));
    for (const Tick &tick : durations.ticks()) {
        svg.line("grid", tick.position, chart::top, tick.position, chart::bottom);
        svg.label(tick.position, chart::bottom + belowAxis, tick.label, chart::width);
    }
    for (const Wait &wait : all.waits) {
        const double x = durations.at(wait.waitMs);
        svg.line("wait", x, chart::top, x, chart::bottom);
        svg.text("alarm", x, chart::top - 4.0, QStringLiteral("wait %1 ms").arg(wait.waitMs), Anchor::Middle);
        if (wait.usableMs >= durations.shortestMs()) {
            const double usable = durations.at(wait.usableMs);
            svg.line("usable", usable, chart::top, usable, chart::bottom);
            if (all.waits.size() == 1 && usable - chart::left > widestLabel) {
                svg.text("axis", usable - toLine, chart::top + baseline, usableText(wait), Anchor::End);
            }
        }
    }
}

/** Replies in time, and on top of them those that came too late. */
void drawClass(Svg &svg, const Classes &classes, std::size_t place, const DurationScale &durations, double highest)
{
    const Classes::Count &count = classes.counts[place];
    const QString span =
        QStringLiteral(" from %1 to %2")
            .arg(history::durationText(classes.beginMs(place)), history::durationText(classes.beginMs(place + 1)));
    constexpr double gap = 1.0;
    const double left = durations.at(classes.beginMs(place));
    const double width = durations.at(classes.beginMs(place + 1)) - left - gap;
    const double middle = heightOf(static_cast<double>(count.inTime), highest);
    const double top = heightOf(static_cast<double>(count.all()), highest);
    if (count.inTime > 0) {
        svg.rect("b answered", {left, middle, width, chart::bottom - middle},
                 history::countText(count.inTime, "reply", "replies") + span);
    }
    if (count.late > 0) {
        svg.rect("b late", {left, top, width, middle - top},
                 history::countText(count.late, "late reply", "late replies") + span);
    }
}

} // namespace

Drawing roundTripsOverTime(const Scene &scene, int mostDots)
{
    const Responses all = responsesOf(scene);
    const TimeScale time(scene.stretch, chart::left, chart::right);
    const DurationScale durations(all.shortestMs, all.longestMs, chart::bottom, chart::top);
    Svg svg(chart::width, chart::height, QStringLiteral("Round trips over time"),
            QStringLiteral("%1 in time, %2 late, %3 not answered; from %4 to %5.")
                .arg(history::countText(all.inTime.size(), "reply", "replies"), history::countText(all.late.size()),
                     history::countText(all.none.size(), "command", "commands"), history::durationText(all.shortestMs),
                     history::durationText(all.longestMs)));
    drawTimeAxis(svg, time);
    drawDurationAxis(svg, durations);
    drawWaits(svg, all, durations);
    Sieve sieve(mostDots);
    QString dots;
    for (const auto &[sentMs, responseMs] : all.inTime) {
        const double x = time.at(sentMs);
        const double y = durations.at(responseMs);
        dots += sieve.admits(x, y) ? QStringLiteral("M%1 %2h.1").arg(coordinate(x), coordinate(y)) : QString();
    }
    svg.path("dots", dots);
    constexpr int markCells = 60;
    Sieve marks(markCells);
    for (const auto &[sentMs, responseMs] : all.late) {
        if (marks.admits(time.at(sentMs), durations.at(responseMs))) {
            svg.mark(Mark::Diamond, time.at(sentMs), durations.at(responseMs), QStringLiteral("late reply"));
        }
    }
    for (const double sentMs : all.none) {
        if (marks.admits(time.at(sentMs), noReplyHeight)) {
            svg.mark(Mark::Cross, time.at(sentMs), noReplyHeight, QStringLiteral("not answered"));
        }
    }
    if (!all.none.empty()) {
        svg.text("axis", chart::left - 6.0, noReplyHeight + 4.0, QStringLiteral("no answer"), Anchor::End);
    }
    return {svg.markup(), {}};
}

Drawing roundTripDistribution(const Scene &scene)
{
    const Responses all = responsesOf(scene);
    const DurationScale durations(all.shortestMs, all.longestMs, chart::left, chart::right);
    const Classes classes(all, durations);
    const double highest = roundedTop(classes.highest());
    Svg svg(chart::width, chart::height, QStringLiteral("Distribution of round trips"),
            QStringLiteral("How many of %1 took how long; from %2 to %3.")
                .arg(history::countText(all.inTime.size() + all.late.size(), "reply", "replies"),
                     history::durationText(all.shortestMs), history::durationText(all.longestMs)));
    drawDistributionAxes(svg, all, durations, highest);
    for (std::size_t place = 0; place < classes.counts.size(); ++place) {
        drawClass(svg, classes, place, durations, highest);
    }
    return {svg.markup(), {}};
}

} // namespace biz::report
