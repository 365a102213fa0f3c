#include "cabled_device.h"

using namespace biz::host;
using namespace biz::test;

namespace {

using std::chrono::milliseconds;

/** The cable is out for so many milliseconds. */
class CableOut : public CabledDevice, public testing::WithParamInterface<int>
{
};

using ShortCableOut = CableOut;
using LongCableOut = CableOut;
using HeldByCable = CabledDevice;

} // namespace

TEST_P(ShortCableOut, LeavesNothingStaleAndIsOverSoon)
{
    pullCableUnderTraffic();
    runUntil(clock, GetParam());
    const int firstAnswer = plugAndWaitForAnswer();
    RecordProperty("firstAnswerMs", firstAnswer);
    RecordProperty("losses", losses());
    EXPECT_LE(firstAnswer, firstAnswerMs);
    expectOneConnection();
    EXPECT_LE(losses(), 1);
}
INSTANTIATE_TEST_SUITE_P(Milliseconds, ShortCableOut, testing::Values(300, 1000));

TEST_P(LongCableOut, IsToldOnceAndLeavesNothingStale)
{
    pullCableUnderTraffic();
    ASSERT_TRUE(waitForLosses(1));
    const int told = static_cast<int>(clock.elapsed());
    EXPECT_LE(told, trafficPeriodMs + silenceToldMs);
    EXPECT_EQ(host.linkStatus().error, Error::LinkSilent);

    runUntil(clock, GetParam());
    const int firstAnswer = plugAndWaitForAnswer();
    EXPECT_LE(firstAnswer, firstAnswerMs);
    expectOneConnection();
    EXPECT_EQ(losses(), 1);
    RecordProperty("toldAfterMs", told);
    RecordProperty("firstAnswerMs", firstAnswer);
}
INSTANTIATE_TEST_SUITE_P(Milliseconds, LongCableOut, testing::Values(5000, 20000));

TEST_F(HeldByCable, ACommandThatWasGivenUpNeverArrivesAndTheOthersAreAnsweredInOrderOrExpire)
{
    host.setWhileDown(WhileDown::Hold);
    cable.pull();
    const int written = give();
    const int waiting = give();
    ASSERT_TRUE(waitForLosses(1));
    const int givenLater = give();
    CommandOptions soonWorthless;
    soonWorthless.validFor = milliseconds(1);
    const int expired = give(waitMs, soonWorthless);
    cable.plug();
    ASSERT_TRUE(waitForAllEnds());
    expectOneConnection();
    EXPECT_EQ(outcomeOf(written), "gaveUp"); // its wait had passed before the silence was told
    EXPECT_EQ(outcomeOf(expired), "expired");
    EXPECT_EQ(arrived, (std::vector<int>{waiting, givenLater}));
}

TEST_F(HeldByCable, WhatWasHandedOverButNotWrittenGoesFirst)
{
    host.setWhileDown(WhileDown::Hold);
    host.setPipelined(true);
    cable.pull();
    const int written = give(longWaitMs);
    ASSERT_TRUE(waitFor([&] { return seen.countFor(ticketOf(written), QStringLiteral("sent")) == 1; }));
    const int handedOver = give(longWaitMs);
    ASSERT_TRUE(host.cancel(ticketOf(written))); // no command is written until its bytes are gone
    const int givenLater = give(longWaitMs);
    EXPECT_EQ(host.pending(), 2);
    ASSERT_TRUE(waitFor([this] { return !isUp(); }));
    cable.plug();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(outcomeOf(handedOver), "answered");
    EXPECT_EQ(arrived, (std::vector<int>{handedOver, givenLater}));
}

TEST_F(HeldByCable, ADeviceThatTakesOneClientRefusesUntilItNoticesTheFormerConnectionsEnd)
{
    device->takesOneClient = true;
    cable.pull();
    give();
    ASSERT_TRUE(waitForLosses(1));
    // By then the system has dropped a packet that it kept for when the device's address is known again.
    ASSERT_TRUE(waitFor([this] { return host.linkStatus().attempts >= 2; }));
    cable.plug();
    ASSERT_TRUE(waitFor([this] { return device->refused() > 0; }));
    device->probe();
    ASSERT_TRUE(waitFor([this] { return device->connections() == 0; }));
    beginTraffic();
    EXPECT_TRUE(waitForAnswers(1));
}
