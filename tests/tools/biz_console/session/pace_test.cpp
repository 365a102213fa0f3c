#include <cmath>

#include <gtest/gtest.h>

#include <biz_console/session/pace.h>
#include <biz_console/session/session_walk.h>
#include <biz_console/session/turns.h>

using namespace biz::console;

namespace {

/** How many commands a pace gives within `untilMs` when it is asked every `everyMs`. */
int takenUntil(Pace &pace, double untilMs, double everyMs)
{
    int taken = 0;
    const int asked = static_cast<int>(std::ceil(untilMs / everyMs));
    for (int i = 0; i < asked; ++i) {
        while (taken < 1'000'000 && pace.take(i * everyMs)) {
            ++taken;
        }
    }
    return taken;
}

TEST(ConsolePace, WithoutALimitEveryCommandMayBeGiven)
{
    Pace pace(0.0);
    for (int i = 0; i < 1000; ++i) {
        EXPECT_TRUE(pace.take(0.0));
    }
}

TEST(ConsolePace, GivesTheFirstAtOnceAndTheNextAPeriodLater)
{
    Pace pace(10.0);
    EXPECT_TRUE(pace.take(0.0));
    EXPECT_FALSE(pace.take(99.9));
    EXPECT_DOUBLE_EQ(pace.waitMs(40.0), 60.0);
    EXPECT_TRUE(pace.take(100.0));
    EXPECT_DOUBLE_EQ(pace.waitMs(250.0), 0.0);
}

TEST(ConsolePace, ATimerThatIsAlwaysALittleLateDoesNotSlowItDown)
{
    Pace pace(100.0);
    EXPECT_EQ(takenUntil(pace, 10'000.0, 1.3), 1000);
}

TEST(ConsolePace, IsKeptAlsoWhereThePeriodIsShorterThanTheTimers)
{
    Pace pace(2500.0);
    EXPECT_NEAR(takenUntil(pace, 10'000.0, 2.0), 25'000, 10);
}

TEST(ConsolePace, NoBurstFollowsAStall)
{
    Pace pace(100.0);
    EXPECT_TRUE(pace.take(0.0));
    EXPECT_TRUE(pace.take(5000.0));
    EXPECT_TRUE(pace.take(5006.0));
    EXPECT_FALSE(pace.take(5010.0));
}

/** "command/number/device/round" of every step of the round, and goes on to the next. */
std::string roundOf(SessionWalk &walk)
{
    std::string steps;
    for (; !walk.isRoundGiven(); walk.advance()) {
        const WalkStep &step = walk.step();
        steps += std::to_string(step.command) + "/" + std::to_string(step.number) + "/" + std::to_string(step.device) +
                 "/" + std::to_string(step.round) + " ";
    }
    return steps;
}

TEST(ConsoleSessionWalk, GivesEachRepetitionToEveryDeviceBeforeTheNext)
{
    SessionWalk walk({2, 1}, 2, 1);
    EXPECT_EQ(walk.total(), 6);
    EXPECT_EQ(roundOf(walk), "0/1/0/1 0/1/1/1 0/2/0/1 0/2/1/1 1/1/0/1 1/1/1/1 ");
    EXPECT_FALSE(walk.beginRound());
}

TEST(ConsoleSessionWalk, ARoundIsTheWholeSession)
{
    SessionWalk walk({1, 1}, 1, 2);
    EXPECT_EQ(walk.total(), 4);
    roundOf(walk);
    EXPECT_TRUE(walk.beginRound());
    EXPECT_EQ(roundOf(walk), "0/1/0/2 1/1/0/2 ");
    EXPECT_FALSE(walk.beginRound());
}

TEST(ConsoleSessionWalk, WithoutEndTheTotalGrowsWithEachRound)
{
    SessionWalk walk({3}, 1, 0);
    for (int round = 1; round < 5; ++round) {
        EXPECT_EQ(walk.total(), 3 * round);
        roundOf(walk);
        EXPECT_TRUE(walk.beginRound());
    }
}

TEST(ConsoleSessionWalk, WhatIsLeftIsCountedThroughAllRounds)
{
    SessionWalk walk({2, 3}, 10, 2);
    EXPECT_EQ(walk.left(0), 40);
    EXPECT_EQ(walk.left(1), 60);
    for (int i = 0; i < 13; ++i) {
        walk.advance();
    }
    EXPECT_EQ(walk.left(0), 27);
    EXPECT_EQ(walk.left(1), 60);
    roundOf(walk);
    EXPECT_EQ(walk.left(0), 20);
    EXPECT_EQ(walk.left(1), 30);
}

TEST(ConsoleTurns, WithoutARecordingEveryCommandMayBeGiven)
{
    Turns turns({});
    EXPECT_TRUE(turns.isDue(0.0));
    EXPECT_TRUE(turns.isOver());
}

TEST(ConsoleTurns, ACommandFollowsTheEndsThatItFollowedAndAsLongAfterThem)
{
    Turns turns({{0, 0.0}, {1, 100.0}});
    EXPECT_TRUE(turns.isDue(0.0));
    turns.take();
    EXPECT_FALSE(turns.isDue(1e9)) << "nothing has ended";
    turns.noteEnd(500.0);
    EXPECT_DOUBLE_EQ(turns.waitMs(540.0), 60.0);
    EXPECT_TRUE(turns.isDue(600.0));
}

TEST(ConsoleTurns, NothingIsGivenThatWasNotGivenThen)
{
    Turns turns({{0, 0.0}});
    turns.take();
    EXPECT_TRUE(turns.isOver());
    EXPECT_FALSE(turns.isDue(1e9));
}

} // namespace
