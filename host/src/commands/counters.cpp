#include <commands/counters_p.h>

#include <algorithm>

namespace biz::host {

void sumUpRoundTrips(Counters &counters)
{
    if (counters.roundTrips.count() == 0) {
        return;
    }
    constexpr int almostAll = 99;
    counters.roundTripMinMs = counters.roundTrips.min();
    counters.roundTripMedianMs = counters.roundTrips.median();
    counters.roundTripP99Ms = counters.roundTrips.percentile(almostAll);
    counters.roundTripMaxMs = counters.roundTrips.max();
}

Counters &operator+=(Counters &total, const Counters &share)
{
    for (const CounterRow &row : counterRows) {
        total.*row.value += share.*row.value;
    }
    for (auto rule = share.rejectedByRule.begin(); rule != share.rejectedByRule.end(); ++rule) {
        total.rejectedByRule[rule.key()] += rule.value();
    }
    total.queueLength += share.queueLength;
    total.queueLengthMax = std::max(total.queueLengthMax, share.queueLengthMax);
    total.lastSeenUtcMs = std::max(total.lastSeenUtcMs, share.lastSeenUtcMs);
    total.roundTrips += share.roundTrips;
    sumUpRoundTrips(total);
    return total;
}

} // namespace biz::host
