#include <report/drawing/lanes.h>

#include <algorithm>
#include <array>

namespace biz::report {

namespace {

/** As a bar; one that goes on when the stretch ends ends there. */
Bar barOf(const history::Command &command, const Stretch &stretch, bool showsWaiting)
{
    Bar bar;
    bar.look = lookOf(command);
    bar.sentMs = command.sentMs >= 0.0 ? command.sentMs : command.beginMs();
    bar.fromMs = showsWaiting ? command.beginMs() : bar.sentMs;
    bar.toMs = command.endMs >= 0.0 ? command.endMs : stretch.toMs;
    bar.command = &command;
    return bar;
}

std::vector<Bar> barsOf(const history::Device &device, const Stretch &stretch, bool showsWaiting)
{
    std::vector<Bar> bars;
    for (const history::Command &command : device.commands) {
        const Bar bar = barOf(command, stretch, showsWaiting);
        if (stretch.touches(bar.fromMs, bar.toMs)) {
            bars.push_back(bar);
        }
    }
    std::stable_sort(bars.begin(), bars.end(), [](const Bar &a, const Bar &b) { return a.fromMs < b.fromMs; });
    return bars;
}

/** Gives each bar the first lane that is free; false when there are not lanes enough. */
bool fill(std::vector<Bar> &bars, int lanes, int *used)
{
    std::vector<double> freeFromMs;
    *used = 1;
    for (Bar &bar : bars) {
        const auto lane =
            std::find_if(freeFromMs.begin(), freeFromMs.end(), [&bar](double ms) { return ms <= bar.fromMs; });
        bar.lane = static_cast<int>(lane - freeFromMs.begin());
        if (lane != freeFromMs.end()) {
            *lane = bar.toMs;
        } else if (static_cast<int>(freeFromMs.size()) < lanes) {
            freeFromMs.push_back(bar.toMs);
        } else {
            return false;
        }
        *used = std::max(*used, bar.lane + 1);
    }
    return true;
}

/** What overlaps shares the last lane. */
void fillAnyhow(std::vector<Bar> &bars, int lanes, int *used)
{
    std::vector<double> freeFromMs(static_cast<std::size_t>(lanes), 0.0);
    *used = 1;
    for (Bar &bar : bars) {
        auto lane = std::find_if(freeFromMs.begin(), freeFromMs.end(), [&bar](double ms) { return ms <= bar.fromMs; });
        lane = lane == freeFromMs.end() ? std::prev(lane) : lane;
        *lane = std::max(*lane, bar.toMs);
        bar.lane = static_cast<int>(lane - freeFromMs.begin());
        *used = std::max(*used, bar.lane + 1);
    }
}

/** Joins neighbours of one look that are closer than anybody sees. */
std::vector<Bar> thinned(const std::vector<Bar> &bars, double gapMs)
{
    std::vector<Bar> kept;
    std::vector<std::array<int, std::size(looks)>> last; // by lane and look, the place in `kept`
    for (const Bar &bar : bars) {
        const auto lane = static_cast<std::size_t>(bar.lane);
        if (last.size() <= lane) {
            std::array<int, std::size(looks)> none{};
            none.fill(-1);
            last.resize(lane + 1, none);
        }
        int &place = last[lane][static_cast<std::size_t>(bar.look)];
        if (place >= 0 && bar.fromMs - kept[static_cast<std::size_t>(place)].toMs <= gapMs) {
            Bar &joined = kept[static_cast<std::size_t>(place)];
            joined.toMs = std::max(joined.toMs, bar.toMs);
            ++joined.count;
            continue;
        }
        place = static_cast<int>(kept.size());
        kept.push_back(bar);
    }
    return kept;
}

} // namespace

Lanes lanesOf(const history::Device &device, const Stretch &stretch, const LaneLimits &limits)
{
    Lanes lanes;
    lanes.showsWaiting = true;
    lanes.bars = barsOf(device, stretch, true);
    const bool isCrowded = lanes.bars.size() > static_cast<std::size_t>(limits.bars);
    if (isCrowded || !fill(lanes.bars, limits.lanes, &lanes.count)) {
        lanes.showsWaiting = false;
        lanes.bars = barsOf(device, stretch, false);
        fillAnyhow(lanes.bars, limits.lanes, &lanes.count);
    }
    lanes.commands = lanes.bars.size();
    if (lanes.bars.size() > static_cast<std::size_t>(limits.bars)) {
        lanes.isThinned = true;
        lanes.bars = thinned(lanes.bars, stretch.lengthMs() / limits.bars);
    }
    return lanes;
}

} // namespace biz::report
