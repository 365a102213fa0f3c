#include <interleavings/search.h>

#include <algorithm>

namespace biz::interleavings {

namespace {

/** Beyond every bound in use: a search that gets here is not complete. */
constexpr std::uint64_t mostExecutions = 5000000;

void note(Search &search, const RecordingChooser &chooser, const Findings &findings)
{
    ++search.executions;
    search.mostChoices = std::max(search.mostChoices, chooser.choices());
    search.mostTasks = std::max(search.mostTasks, chooser.tasks());
    for (const std::string &what : findings) {
        const auto known = search.found.find(what);
        if (known == search.found.end() || chooser.preemptions() < known->second.preemptions) {
            search.found[what] = {chooser.schedule(), chooser.preemptions(), search.executions};
        }
    }
}

/** Every run within the bound, or until `wanted` is found. */
Search search(const Situation &situation, bool planted, int bound, const std::string &wanted)
{
    Search search;
    DepthFirst chooser(bound);
    chooser.setSituation(nameOf(situation, planted));
    do {
        note(search, chooser, situation.play(chooser, planted));
        search.isComplete = !chooser.next();
    } while (!search.isComplete && !search.has(wanted) && chooser.hasRepeated() && search.executions < mostExecutions);
    search.hasRepeated = chooser.hasRepeated();
    return search;
}

} // namespace

std::string nameOf(const Situation &situation, bool planted)
{
    return situation.name + (planted ? "+planted" : "");
}

Search searchAll(const Situation &situation, bool planted, int bound)
{
    return search(situation, planted, bound, {});
}

Search searchFor(const std::string &wanted, const Situation &situation, bool planted, int bound)
{
    Search all;
    for (int preemptions = 0; preemptions <= bound && !all.has(wanted); ++preemptions) {
        const std::uint64_t before = all.executions;
        all = search(situation, planted, preemptions, wanted);
        all.executions += before;
    }
    return all;
}

Search sample(const LargeSituation &large, bool planted, int runs, const std::string &wanted)
{
    const Sampling &sampling = large.sampling;
    Search search;
    for (int run = 0; run < runs && !search.has(wanted); ++run) {
        RandomPriorities chooser(static_cast<std::uint64_t>(run), sampling.depth, sampling.tasks, sampling.choices);
        chooser.setSituation(nameOf(large.situation, planted));
        note(search, chooser, large.situation.play(chooser, planted));
    }
    return search;
}

Findings replay(const Situation &situation, bool planted, const Schedule &schedule)
{
    Replay chooser(schedule);
    chooser.setSituation(nameOf(situation, planted));
    return situation.play(chooser, planted);
}

} // namespace biz::interleavings
