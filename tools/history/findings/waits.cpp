#include <history/findings/findings.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace biz::history {

namespace {

// The channel of one device sends again after two thirds of the wait; docs/timing.md says why.
constexpr double deviceUsableShare = 2.0 / 3.0;

// An OSD wait is counted in whole seconds, and the second in which a command is sent counts as a whole one.
constexpr int osdResolutionMs = 1000;

/** Below this share of the time, there is room for a device that is slower now and then. */
constexpr double tightAbove = 0.75;

/** Advised waits are round numbers. */
constexpr double advisedStepMs = 50.0;

double percentile(const std::vector<double> &sorted, double share)
{
    const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(sorted.size())));
    return sorted[std::max<std::size_t>(rank, 1) - 1];
}

int roundedUp(double value, double step)
{
    return static_cast<int>(std::ceil(value / step) * step);
}

int advisedWaitMs(const Device &device, double p99Ms)
{
    const double usableMs = p99Ms / tightAbove;
    return device.isOfDevice ? roundedUp(usableMs / deviceUsableShare, advisedStepMs)
                             : roundedUp(usableMs, osdResolutionMs) + osdResolutionMs;
}

} // namespace

double usableWaitMs(const Device &device, int waitMs)
{
    if (device.isOfDevice) {
        return waitMs * deviceUsableShare;
    }
    return std::max(0, waitMs / osdResolutionMs - 1) * osdResolutionMs;
}

std::vector<WaitAdvice> waitAdviceOf(const Device &device)
{
    std::map<int, std::vector<double>> responses;
    for (const Command &command : device.commands) {
        const double responseMs = command.responseMs();
        if (responseMs >= 0.0 && command.waitMs > 0) {
            responses[command.waitMs].push_back(responseMs);
        }
    }
    std::vector<WaitAdvice> all;
    for (auto &[waitMs, times] : responses) {
        std::sort(times.begin(), times.end());
        WaitAdvice advice;
        advice.waitMs = waitMs;
        advice.usableMs = usableWaitMs(device, waitMs);
        advice.replies = times.size();
        advice.medianMs = percentile(times, 0.5);
        advice.p99Ms = percentile(times, 0.99);
        advice.longestMs = times.back();
        if (advice.p99Ms > advice.usableMs) {
            advice.verdict = WaitAdvice::Verdict::TooShort;
        } else if (advice.p99Ms > advice.usableMs * tightAbove) {
            advice.verdict = WaitAdvice::Verdict::Tight;
        }
        advice.advisedMs = std::max(advisedWaitMs(device, advice.p99Ms), 0);
        all.push_back(advice);
    }
    return all;
}

} // namespace biz::history
