#include "device_channel_fixture.h"

#include <support/throwing_slot.h>

using namespace biz::test;

// A slot of the host that throws: the exception leaves the thread body at the emission, and
// the channel stays as it stood there, so that a host which catches it can start again.

namespace {

class ThrowingSlot : public DeviceChannelTest
{
protected:
    void startSendLoopCatching()
    {
        sendLoop = time.start("send loop", [this] { left = isLeftByException([this] { worker.a1_GetQueueWork(); }); });
    }

    void watchCatching()
    {
        const ThreadId watchdog = time.start(
            "watchdog", [this] { left = isLeftByException([this] { worker.timeoutWatchdog(biz_CMDSWork::iSN); }); });
        time.finish();
        EXPECT_EQ(time.threadCount(), watchdog) << "a successor was started";
    }

    /** One pass ends the loop, and no lock stays behind. */
    void expectPassIsLeft()
    {
        passes(1);
        EXPECT_TRUE(left);
        EXPECT_TRUE(time.hasEnded(sendLoop));
        EXPECT_TRUE(heldOf(deviceChannelLocks()).empty());
    }

    bool left = false;
};

struct TakeRow
{
    std::string thrower;
    Lines emitted;
};

class ThrowingSlotOfATake : public ThrowingSlot, public ::testing::WithParamInterface<TakeRow>
{
};

TEST_P(ThrowingSlotOfATake, LeavesTheLoopAtOnceWithTheCommandInFlight)
{
    startSendLoopCatching();
    enqueue({1, 2});
    throwAt(signals, GetParam().thrower);
    expectPassIsLeft();
    EXPECT_EQ(signals.names(), GetParam().emitted);
    EXPECT_EQ(worker.m_curSend.nTag, 1U);
    EXPECT_EQ(biz_CMDSWork::iSN, 2);
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::queueHexCmd.size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(Signals, ThrowingSlotOfATake,
                         ::testing::Values(TakeRow{"signalSendMessage", {"signalSendMessage"}},
                                           TakeRow{"signalQueueSize", {"signalSendMessage", "signalQueueSize"}},
                                           TakeRow{"signalSendMessageUipro",
                                                   {"signalSendMessage", "signalQueueSize", "signalSendMessageUipro"}}),
                         [](const auto &row) { return row.param.thrower; });

TEST_F(ThrowingSlot, LeavesTheNextCommandToTheLoopThatIsStartedAfterwards)
{
    startSendLoopCatching();
    enqueue({1, 2});
    throwAt(signals, "signalSendMessage");
    expectPassIsLeft();
    signals.onEmission({});
    setGate(true);
    startSendLoopCatching();
    passes(1);
    EXPECT_EQ(announced(), (Tags{1, 2}));
    EXPECT_EQ(worker.m_curSend.ucHead[0], 2);
}

TEST_F(ThrowingSlot, LeavesTheLoopBeforeTheResendThatItWasToPrepare)
{
    startSendLoopCatching();
    putInFlight(1, 15);
    throwAt(signals, "signalInitCore");
    expectPassIsLeft();
    EXPECT_TRUE(announced().empty());
    EXPECT_EQ(time.sleepsOf(sendLoop).size(), 0U) << "the resend delay was waited for";
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 1);
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
}

TEST_F(ThrowingSlot, LeavesTheLoopAfterTheResendWithTheCountOfPassesStanding)
{
    startSendLoopCatching();
    putInFlight(1, 15);
    throwAt(signals, "signalSendMessage");
    expectPassIsLeft();
    EXPECT_EQ(announced(), Tags{1});
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 1);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 1);
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
}

TEST_F(ThrowingSlot, LeavesTheWatchdogBeforeTheResendThatItWasToPrepare)
{
    setGate(false);
    throwAt(signals, "signalInitCore");
    watchCatching();
    EXPECT_TRUE(left);
    EXPECT_TRUE(announced().empty());
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 1);
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
}

TEST_F(ThrowingSlot, LeavesTheWatchdogAfterTheResendWithoutASuccessor)
{
    setGate(false);
    throwAt(signals, "signalSendMessage");
    watchCatching();
    EXPECT_TRUE(left);
    EXPECT_EQ(signals.names(), (Lines{"signalInitCore", "signalSendMessage"}));
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
}

TEST_F(ThrowingSlot, LeavesTheReceiveLoopWithItsReplyTakenAndTheNextOneQueued)
{
    pushReply(acceptedReply(1));
    pushReply(acceptedReply(2));
    throwAt(signals, "signalSendReceiveMessage");
    receiveLoop =
        time.start("receive loop", [this] { left = isLeftByException([this] { worker.a1_receiveGetQueueWork(); }); });
    receivePasses(1);
    EXPECT_TRUE(left);
    EXPECT_TRUE(time.hasEnded(receiveLoop));
    EXPECT_EQ(worker.m_curRecv.nTag, 1U);
    EXPECT_EQ(biz_CMDSWork::receivequeueHexCmd.size(), 1U);
    EXPECT_TRUE(heldOf(deviceChannelLocks()).empty());
}

} // namespace
