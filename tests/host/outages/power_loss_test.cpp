#include "cabled_device.h"

using namespace biz::host;
using namespace biz::test;

namespace {

/** The device is without power, its connections are forgotten, and nobody says so on the line. */
class PowerLoss : public CabledDevice
{
protected:
    void switchOff()
    {
        clock.start();
        cable.pull();
        device->switchOff();
    }

    void switchOn()
    {
        cable.atDevice([this] { device->switchOn(); });
        cable.plug();
    }
};

/** It is without power for so many milliseconds. */
class PowerLossOf : public PowerLoss, public testing::WithParamInterface<int>
{
};

} // namespace

TEST_P(PowerLossOf, IsToldAndCommandsEndAtOnceUntilTheHostIsBackByItself)
{
    beginTraffic();
    ASSERT_TRUE(waitForAnswers(3));
    switchOff();
    ASSERT_TRUE(waitForLosses(1));
    const int told = static_cast<int>(clock.elapsed());
    EXPECT_LE(told, trafficPeriodMs + silenceToldMs);
    const int given = give();
    EXPECT_EQ(host.pending(), 0);
    ASSERT_TRUE(waitForEnd(given));
    EXPECT_EQ(outcomeOf(given), "unreachable");

    runUntil(clock, GetParam());
    switchOn();
    QElapsedTimer sinceReturn;
    sinceReturn.start();
    ASSERT_TRUE(waitForAnswers(1));
    const int firstAnswer = static_cast<int>(sinceReturn.elapsed());
    EXPECT_LE(firstAnswer, firstAnswerMs);
    EXPECT_EQ(losses(), 1);
    RecordProperty("toldAfterMs", told);
    RecordProperty("firstAnswerMs", firstAnswer);
}
INSTANTIATE_TEST_SUITE_P(Milliseconds, PowerLossOf, testing::Values(2000, 15000));

TEST_F(PowerLoss, HeldCommandsAreAnsweredInOrderWhenTheDeviceIsBack)
{
    host.setWhileDown(WhileDown::Hold);
    switchOff();
    const int written = give();
    const int waiting = give();
    ASSERT_TRUE(waitForLosses(1));
    const int givenLater = give();
    runUntil(clock, 2000);
    EXPECT_EQ(host.pending(), 2);
    switchOn();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(outcomeOf(written), "gaveUp"); // its wait had passed before the silence was told
    EXPECT_EQ(outcomeOf(waiting), "answered");
    EXPECT_EQ(outcomeOf(givenLater), "answered");
    EXPECT_EQ(arrived, (std::vector<int>{waiting, givenLater}));
}

TEST_F(PowerLoss, ACommandThatWasWrittenWhenTheDeviceHungUpIsUnreachableAndNeverSentAgain)
{
    host.setWhileDown(WhileDown::Hold);
    device->isMute = true;
    const int written = give(longWaitMs);
    const int waiting = give(longWaitMs);
    ASSERT_TRUE(waitFor([this] { return arrived.size() == 1; }));
    device->hangUp(true);
    device->isMute = false;
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(outcomeOf(written), "unreachable");
    EXPECT_EQ(outcomeOf(waiting), "answered");
    EXPECT_EQ(arrived, (std::vector<int>{written, waiting}));
}
