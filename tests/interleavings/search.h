#ifndef BIZ_INTERLEAVINGS_SEARCH_H
#define BIZ_INTERLEAVINGS_SEARCH_H

#include <cstdint>
#include <map>
#include <string>

#include <interleavings/situations/situation.h>

namespace biz::interleavings {

/** Where a finding came up first with the fewest preemptions. */
struct Found
{
    Schedule schedule;
    int preemptions = 0;
    std::uint64_t execution = 0;
};

/** What many runs of one situation have shown. */
struct Search
{
    std::uint64_t executions = 0;
    bool isComplete = false; ///< no run is left within the bound
    bool hasRepeated = true; ///< equal choices have led to equal runs
    std::size_t mostChoices = 0;
    int mostTasks = 0;
    std::map<std::string, Found> found;

    bool has(const std::string &finding) const { return found.count(finding) != 0; }
};

/** Every run of the situation with at most `bound` preemptions. */
Search searchAll(const Situation &situation, bool planted, int bound);

/** Runs with no preemption, then with one more each time, up to `bound`, until `wanted` is found. */
Search searchFor(const std::string &wanted, const Situation &situation, bool planted, int bound);

/** As many random runs as `runs` says, or until `wanted` is found. */
Search sample(const LargeSituation &large, bool planted, int runs, const std::string &wanted = {});

/** One run by a schedule. */
Findings replay(const Situation &situation, bool planted, const Schedule &schedule);

/** How a schedule of a situation is named for the option that repeats it. */
std::string nameOf(const Situation &situation, bool planted);

} // namespace biz::interleavings

#endif
