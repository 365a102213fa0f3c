#include <gtest/gtest.h>

#include <set>

#include <interleavings/search.h>

namespace biz::interleavings {
namespace {

constexpr int enoughPreemptions = 100;

/** Two threads add one each, in a look and a write. */
Findings addTwice(RecordingChooser &chooser, bool /*planted*/)
{
    Stage stage(chooser, false);
    return stage.run([&stage] {
        int counter = 0;
        const auto add = [&stage, &counter] {
            const int seen = counter;
            stage.point();
            counter = seen + 1;
        };
        stage.race([&] {
            stage.beside("second", add);
            add();
        });
        stage.require(counter == 2, "an addition is lost");
    });
}

/** Two threads of some steps each; the only finding is the order of the steps. */
template<int Steps>
Findings orderOfSteps(RecordingChooser &chooser, bool /*planted*/)
{
    Stage stage(chooser, false);
    return stage.run([&stage] {
        std::string order;
        const auto walk = [&stage, &order](char name) {
            for (int step = 0; step < Steps; ++step) {
                order += name;
                stage.point();
            }
        };
        stage.race([&] {
            stage.beside("second", [&walk] { walk('b'); });
            walk('a');
        });
        stage.find(order);
    });
}

/** Has one choice fewer each time. */
Findings neverTheSame(RecordingChooser &chooser, bool /*planted*/)
{
    static int points = 10;
    --points;
    Stage stage(chooser, false);
    return stage.run([&stage] {
        stage.race([&] {
            stage.beside("second", [] {});
            for (int point = 0; point < points; ++point) {
                stage.point();
            }
        });
    });
}

Situation situation(Findings (*play)(RecordingChooser &, bool))
{
    return {"toy", play, 0, 0, {}, {}};
}

std::set<std::string> whatWasFound(const Search &search)
{
    std::set<std::string> all;
    for (const auto &[what, found] : search.found) {
        all.insert(what);
    }
    return all;
}

TEST(DepthFirst, TriesEveryOrderOfTheStepsOfTwoThreads)
{
    const Search search = searchAll(situation(orderOfSteps<3>), false, enoughPreemptions);
    EXPECT_TRUE(search.isComplete);
    EXPECT_EQ(search.found.size(), 20U); // of six places, three for the first thread
}

TEST(DepthFirst, WithoutPreemptionsRunsOneThreadAfterTheOther)
{
    const Search search = searchAll(situation(orderOfSteps<2>), false, 0);
    EXPECT_TRUE(search.isComplete);
    EXPECT_EQ(whatWasFound(search), std::set<std::string>{"aabb"});
}

TEST(DepthFirst, WithOnePreemptionStopsAThreadOnce)
{
    const Search search = searchAll(situation(orderOfSteps<2>), false, 1);
    EXPECT_EQ(whatWasFound(search), (std::set<std::string>{"aabb", "abba", "bbaa"}));
}

TEST(DepthFirst, FindsAnErrorWithAsManyPreemptionsAsItNeedsAndNotWithFewer)
{
    EXPECT_FALSE(searchAll(situation(addTwice), false, 0).has("an addition is lost"));
    const Search search = searchAll(situation(addTwice), false, 2);
    ASSERT_TRUE(search.has("an addition is lost"));
    EXPECT_EQ(search.found.at("an addition is lost").preemptions, 1);
}

TEST(DepthFirst, NoticesASituationThatDoesNotRepeat)
{
    const Search search = searchAll(situation(neverTheSame), false, enoughPreemptions);
    EXPECT_FALSE(search.hasRepeated);
    EXPECT_FALSE(search.isComplete);
}

TEST(Replay, MakesTheChoicesOfAScheduleAgain)
{
    const Search search = searchAll(situation(orderOfSteps<3>), false, enoughPreemptions);
    for (const auto &[order, found] : search.found) {
        EXPECT_EQ(replay(situation(orderOfSteps<3>), false, found.schedule), Findings{order});
    }
}

TEST(Schedule, IsReadAsItIsPrinted)
{
    for (const char *text : {"-", "3=1", "0=2,17=1"}) {
        const auto schedule = Schedule::fromString(text);
        ASSERT_TRUE(schedule.has_value()) << text;
        EXPECT_EQ(schedule->toString(), text);
    }
}

TEST(Schedule, IsNotReadFromAnythingElse)
{
    for (const char *text : {"", "3", "3=", "3=1,", "3:1", "3=1;4=1", "x=1", "3=1 "}) {
        EXPECT_FALSE(Schedule::fromString(text).has_value()) << text;
    }
}

/** How many of some runs with random priorities show what is wanted, and that no run breaks the premises. */
int runsThatShow(const std::string &wanted, Findings (*play)(RecordingChooser &, bool), const Sampling &sampling)
{
    int shown = 0;
    for (int seed = 0; seed < sampling.runs; ++seed) {
        RandomPriorities chooser(static_cast<std::uint64_t>(seed), sampling.depth, sampling.tasks, sampling.choices);
        shown += play(chooser, false).count(wanted) != 0 ? 1 : 0;
        EXPECT_LE(chooser.tasks(), sampling.tasks);
        EXPECT_LE(chooser.choices(), sampling.choices);
    }
    return shown;
}

double statedRuns(const Sampling &sampling)
{
    return RandomPriorities::chance(sampling.depth, sampling.tasks, sampling.choices) * sampling.runs;
}

constexpr Sampling depthTwo{2, 2, 5, 2000, 0};
constexpr Sampling depthThree{3, 2, 5, 2000, 0};

TEST(RandomPriorities, FindAnErrorOfDepthTwoAtLeastAsOftenAsStated)
{
    EXPECT_GE(runsThatShow("an addition is lost", addTwice, depthTwo), statedRuns(depthTwo));
}

TEST(RandomPriorities, FindAnErrorOfDepthThreeAtLeastAsOftenAsStated)
{
    EXPECT_GE(runsThatShow("abab", orderOfSteps<2>, depthThree), statedRuns(depthThree));
}

TEST(RandomPriorities, DoNotFindAnErrorThatIsDeeperThanTheyGo)
{
    EXPECT_EQ(runsThatShow("abab", orderOfSteps<2>, depthTwo), 0);
}

TEST(RandomPriorities, StateTheChanceOfDepthOneByTheNumberOfTasksAlone)
{
    EXPECT_DOUBLE_EQ(RandomPriorities::chance(1, 4, 100), 1.0 / 4);
    EXPECT_DOUBLE_EQ(RandomPriorities::chance(3, 4, 100), 1.0 / (4 * 100 * 100));
}

} // namespace
} // namespace biz::interleavings
