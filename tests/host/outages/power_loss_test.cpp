#include "cabled_device.h"

using namespace biz::host;
using namespace biz::test;

namespace {

/** The device is without power, its connections are forgotten, and nobody says so on the line. */
class PowerLoss : public CabledDevice
{
protected:
    static constexpr int powerLossMs = 2000;

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

} // namespace

TEST_F(PowerLoss, IsToldAndCommandsEndAtOnceUntilTheHostIsBackByItself)
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

    runUntil(clock, powerLossMs);
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

TEST_F(PowerLoss, HeldCommandsAreAnsweredInOrderWhenTheDeviceIsBack)
{
    host.setWhileDown(WhileDown::Hold);
    switchOff();
    const int written = give();
    const int waiting = give();
    ASSERT_TRUE(waitForLosses(1));
    const int givenLater = give();
    runUntil(clock, powerLossMs);
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
