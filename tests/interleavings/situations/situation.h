#ifndef BIZ_INTERLEAVINGS_SITUATION_H
#define BIZ_INTERLEAVINGS_SITUATION_H

#include <limits>
#include <string>
#include <vector>

#include <interleavings/choosers/choosers.h>
#include <interleavings/situations/stage.h>

namespace biz::interleavings {

/** Instead of a number of preemptions: every interleaving. */
constexpr int withoutBound = std::numeric_limits<int>::max();

/** A few tasks that meet, with a host that keeps its duties or makes one planted error. */
struct Situation
{
    std::string name;
    Findings (*play)(RecordingChooser &chooser, bool planted);

    int bound;     ///< of preemptions, in every test run
    int deepBound; ///< with --deep

    Findings documented; ///< what the public headers warn of: each is to be found, and nothing else
    std::string planted; ///< what the planted error brings about
};

/** What one series of random runs is to be able to state. */
struct Sampling
{
    int depth;           ///< of the errors that it is after
    int tasks;           ///< no run has more
    std::size_t choices; ///< no run has more
    int runs;
    int deepRuns;
};

/** Too many tasks for all interleavings. */
struct LargeSituation
{
    Situation situation;
    Sampling sampling;
};

/** All that the program plays. */
std::vector<Situation> smallSituations();
std::vector<LargeSituation> largeSituations();

} // namespace biz::interleavings

#endif
