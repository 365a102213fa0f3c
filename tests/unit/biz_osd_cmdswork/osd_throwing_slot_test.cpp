// A slot of the host that throws: the exception leaves the thread body at the emission, and
// the channel stays as it stood there, so that a host which catches it can start again.

#include "osd_loops_fixture.h"

#include <support/held_locks.h>
#include <support/throwing_slot.h>

using namespace osd_test;
using biz::test::isLeftByException;
using biz::test::throwAt;

namespace {

class OsdThrowingSlot : public OsdLoops
{
protected:
    /** One pass over two free devices with a command of 3 s each; the first one's slot throws. */
    void leaveASendPassAt(const std::string &signal)
    {
        enqueue({{deviceA, 1}, {deviceB, 2}});
        throwAt(signalsOfWorker, signal);
        sendLoop = time.start("send loop", [this] { left = isLeftByException([this] { worker.a1_GetQueueWork(); }); });
        timeoutLoop = sendLoop + 1;
        time.setWallClock(moment(1000));
        sendPasses();
        EXPECT_TRUE(left);
        EXPECT_TRUE(time.hasEnded(sendLoop));
        EXPECT_TRUE(biz::test::heldOf(biz::test::osdChannelLocks()).empty());
    }

    bool left = false;
};

TEST_F(OsdThrowingSlot, LeavesTheSendLoopWithEveryCommandOfThePassInFlight)
{
    leaveASendPassAt("signalSendMessage");
    EXPECT_EQ(emitted(), Lines{"signalSendMessage 1"});
    for (const QString &ip : {deviceA, deviceB}) {
        EXPECT_FALSE(isFree(ip));
        EXPECT_TRUE(worker.m_mapSendTime.contains(ip));
    }
    EXPECT_EQ(waitingTags(0), Tags{});
    EXPECT_EQ(waitingTags(1), Tags{});
}

TEST_F(OsdThrowingSlot, LeavesTheSendLoopBetweenTheTwoSignalsOfTwoCommands)
{
    leaveASendPassAt("signalSendMessageUipro");
    EXPECT_EQ(emitted(), (Lines{"signalSendMessage 1", "signalSendMessageUipro 1"}));
}

TEST_F(OsdThrowingSlot, LeavesTheTimeOutLoopRunningWhichFreesTheDevices)
{
    leaveASendPassAt("signalSendMessage");
    timeoutPassAt(1003);
    EXPECT_TRUE(isFree(deviceA));
    EXPECT_TRUE(isFree(deviceB));
    EXPECT_FALSE(time.hasEnded(timeoutLoop));
}

TEST_F(OsdThrowingSlot, LeavesTheReceiveLoopWithItsReplyTakenAndTheNextOneQueued)
{
    receive({{deviceA, 1}, {deviceA, 2}});
    throwAt(signalsOfWorker, "signalSendReceiveMessage");
    receiveLoop =
        time.start("receive loop", [this] { left = isLeftByException([this] { worker.a1_receiveGetQueueWork(); }); });
    receivePasses();
    EXPECT_TRUE(left);
    EXPECT_TRUE(time.hasEnded(receiveLoop));
    EXPECT_EQ(emitted(), Lines{"signalSendReceiveMessage 1"});
    EXPECT_EQ(replyTags(), Tags{2});
    EXPECT_TRUE(biz::test::heldOf(biz::test::osdChannelLocks()).empty());
}

} // namespace
