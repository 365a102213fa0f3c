#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include <interleavings/options.h>
#include <interleavings/search.h>

namespace biz::interleavings {

std::ostream &operator<<(std::ostream &stream, const Situation &situation)
{
    return stream << situation.name;
}

std::ostream &operator<<(std::ostream &stream, const LargeSituation &large)
{
    return stream << large.situation;
}

namespace {

const auto nameOfSituation = [](const auto &info) {
    return info.param.name;
};
const auto nameOfLargeSituation = [](const auto &info) {
    return info.param.situation.name;
};

std::string describe(const Situation &situation, bool planted, const std::string &what, const Found &found)
{
    return what + ", with " + std::to_string(found.preemptions) + " preemptions, in execution " +
           std::to_string(found.execution) + "; repeat with --schedule " + nameOf(situation, planted) + ":" +
           found.schedule.toString();
}

void tell(const Situation &situation, bool planted, const Search &search, const std::string &extent)
{
    std::printf("%s: %llu executions, %s, at most %zu choices among %d tasks\n", nameOf(situation, planted).c_str(),
                static_cast<unsigned long long>(search.executions), extent.c_str(), search.mostChoices,
                search.mostTasks);
    for (const auto &[what, found] : search.found) {
        std::printf("  %s\n", describe(situation, planted, what, found).c_str());
    }
}

std::string extentOf(int bound)
{
    return bound == withoutBound ? "all there are" : "all with at most " + std::to_string(bound) + " preemptions";
}

void expectNothingButDocumented(const Situation &situation, const Search &search)
{
    for (const auto &[what, found] : search.found) {
        EXPECT_EQ(situation.documented.count(what), 1U) << describe(situation, false, what, found);
    }
}

class SmallSituation : public testing::TestWithParam<Situation>
{
};

TEST_P(SmallSituation, ShowsInAllItsInterleavingsWhatTheHeadersWarnOfAndNothingElse)
{
    const Situation &situation = GetParam();
    const int bound = options().isDeep ? situation.deepBound : situation.bound;
    const Search search = searchAll(situation, false, bound);
    tell(situation, false, search, extentOf(bound) + (search.isComplete ? "" : ", INCOMPLETE"));
    EXPECT_TRUE(search.hasRepeated) << "equal choices have not led to equal runs";
    EXPECT_TRUE(search.isComplete) << "there are more interleavings than were tried";
    expectNothingButDocumented(situation, search);
    for (const std::string &hazard : situation.documented) {
        EXPECT_TRUE(search.has(hazard)) << "no interleaving shows: " << hazard;
    }
}

TEST_P(SmallSituation, ShowsItsPlantedErrorWhichItsScheduleRepeats)
{
    const Situation &situation = GetParam();
    const Search search = searchFor(situation.planted, situation, true, situation.bound);
    tell(situation, true, search, "until the planted error was found");
    ASSERT_TRUE(search.has(situation.planted)) << "no interleaving shows: " << situation.planted;
    const Found &found = search.found.at(situation.planted);
    const auto printed = Schedule::fromString(found.schedule.toString());
    ASSERT_TRUE(printed.has_value());
    EXPECT_EQ(replay(situation, true, *printed).count(situation.planted), 1U);
}

INSTANTIATE_TEST_SUITE_P(Of, SmallSituation, testing::ValuesIn(smallSituations()), nameOfSituation);

class LargeOne : public testing::TestWithParam<LargeSituation>
{
};

/** The chance that an error of the depth is missed by all runs. */
double chanceOfMiss(const Sampling &sampling, int depth, std::uint64_t runs)
{
    const double chance = RandomPriorities::chance(depth, sampling.tasks, sampling.choices);
    return std::pow(1 - chance, static_cast<double>(runs));
}

std::string extentOf(const Sampling &sampling, std::uint64_t runs)
{
    std::string text = "random priorities of depth " + std::to_string(sampling.depth);
    for (int depth = 2; depth <= sampling.depth; ++depth) {
        text += ", an error of depth " + std::to_string(depth) + " found with a chance of at least " +
                std::to_string(1 - chanceOfMiss(sampling, depth, runs));
    }
    return text;
}

void expectStatementHolds(const Sampling &sampling, const Search &search)
{
    EXPECT_LE(search.mostTasks, sampling.tasks);
    EXPECT_LE(search.mostChoices, sampling.choices);
}

TEST_P(LargeOne, ShowsInRandomRunsNothingButWhatTheHeadersWarnOf)
{
    const LargeSituation &large = GetParam();
    const int runs = options().isDeep ? large.sampling.deepRuns : large.sampling.runs;
    const Search search = sample(large, false, runs);
    tell(large.situation, false, search, extentOf(large.sampling, search.executions));
    expectStatementHolds(large.sampling, search);
    expectNothingButDocumented(large.situation, search);
}

TEST_P(LargeOne, ShowsItsPlantedErrorInRandomRuns)
{
    const LargeSituation &large = GetParam();
    const Search search = sample(large, true, large.sampling.runs, large.situation.planted);
    tell(large.situation, true, search, extentOf(large.sampling, search.executions));
    expectStatementHolds(large.sampling, search);
    EXPECT_TRUE(search.has(large.situation.planted)) << "no run shows: " << large.situation.planted;
}

// A program may have none.
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(LargeOne);
INSTANTIATE_TEST_SUITE_P(Of, LargeOne, testing::ValuesIn(largeSituations()), nameOfLargeSituation);

} // namespace
} // namespace biz::interleavings
