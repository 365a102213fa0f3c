#include "device_channel_fixture.h"

#include <climits>
#include <mutex>

using namespace biz::test;

namespace {

using ClearQueue = DeviceChannelTest;
using TimeoutClearQueue = DeviceChannelTest;

TEST_F(ClearQueue, OfAnEmptyQueueOpensTheGateCountsOnAndSaysSoOnce)
{
    setGate(false);
    worker.clearQueue();
    EXPECT_EQ(messages(), Lines{"\"Clear QueueHexCmd!\""});
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iSN, 2);
}

TEST_F(ClearQueue, OfFiveCommandsAnnouncesNone)
{
    setGate(false);
    enqueue({1, 2, 3, 4, 5});
    worker.clearQueue();
    EXPECT_EQ(messages(), (Lines{"biz_CMDSWork::clearQueue()", "\"Clear QueueHexCmd!\""}));
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iSN, 2);
    passes(50);
    EXPECT_TRUE(signals.events().empty());
}

TEST_F(ClearQueue, WritesItsMessagesOnTheCallersThreadWithNoLockHeld)
{
    enqueue({1});
    worker.clearQueue();
    for (const DebugMessage &message : output.messages()) {
        EXPECT_EQ(message.thread, testThread);
        EXPECT_EQ(message.type, QtDebugMsg);
        EXPECT_EQ(message.heldLocks, Lines{});
    }
}

TEST_F(ClearQueue, LeavesTheCountersAndTheCommandInFlightAsTheyAre)
{
    putInFlight(1, longWait);
    biz_CMDSWork::iTimeoutCount = 3;
    biz_CMDSWork::iWatchdogSleepCnt = 4;
    enqueue({2});
    worker.clearQueue();
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 3);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 4);
    EXPECT_EQ(worker.m_curSend.nTag, 1U);
}

TEST_F(ClearQueue, LeavesTheRepliesAndTheirLockAlone)
{
    pushReply(acceptedReply(1));
    enqueue({2});
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
    const ThreadId host = time.start("host", [this] { worker.clearQueue(); });
    EXPECT_TRUE(time.hasEnded(host));
    EXPECT_EQ(biz_CMDSWork::receivequeueHexCmd.size(), 1U);
}

TEST_F(ClearQueue, DestroysTheOldRecords)
{
    const QByteArray payload(100, 'x');
    {
        model_Protocoldata record = command(1);
        record.baData = payload;
        enqueue(record);
    }
    EXPECT_FALSE(payload.isDetached());
    worker.clearQueue();
    EXPECT_TRUE(payload.isDetached());
}

TEST_F(ClearQueue, WrapsTheSequenceCounter)
{
    biz_CMDSWork::iSN = INT_MAX;
    worker.clearQueue();
    EXPECT_EQ(biz_CMDSWork::iSN, INT_MIN);
}

TEST_F(ClearQueue, KeepsTheCommandInFlightFromEverBeingResent)
{
    putInFlight(1, 30);
    enqueue({2});
    worker.clearQueue();
    setGate(false);
    passes(100);
    EXPECT_TRUE(announced().empty());
}

TEST_F(ClearQueue, LetsTheNextCommandGoWithTheCounterOneHigher)
{
    putInFlight(1, longWait);
    enqueue({2});
    worker.clearQueue();
    enqueue({3});
    passes(1);
    EXPECT_EQ(announced(), Tags{3});
    EXPECT_EQ(signals.events().at(0).record.ucHead[0], 3);
}

TEST_F(ClearQueue, MayBeCalledOnAnyObject)
{
    enqueue({1});
    otherWorker.clearQueue();
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
}

TEST_F(TimeoutClearQueue, ToleratesNineTimeouts)
{
    for (const int count : {9, 0, -1, INT_MIN}) {
        biz_CMDSWork::iTimeoutCount = count;
        enqueue({1});
        worker.timeoutClearQueue();
        EXPECT_EQ(biz_CMDSWork::queueHexCmd.size(), 1U) << count;
        EXPECT_EQ(biz_CMDSWork::iTimeoutCount, count);
        EXPECT_TRUE(messages().empty());
        biz_CMDSWork::queueHexCmd = {};
    }
}

TEST_F(TimeoutClearQueue, ActsFromTenOn)
{
    for (const int count : {10, 11, INT_MAX}) {
        forgetAll();
        biz_CMDSWork::iTimeoutCount = count;
        enqueue({1, 2, 3});
        worker.timeoutClearQueue();
        EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty()) << count;
        EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 0);
        EXPECT_EQ(messages(), Lines{"\"Clear QueueHexCmd!\""});
    }
}

TEST_F(TimeoutClearQueue, ActsOnAnEmptyQueueToo)
{
    biz_CMDSWork::iTimeoutCount = 10;
    worker.timeoutClearQueue();
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 0);
    EXPECT_EQ(messages(), Lines{"\"Clear QueueHexCmd!\""});
}

TEST_F(TimeoutClearQueue, WritesItsMessageWhileItHoldsTheLock)
{
    biz_CMDSWork::iTimeoutCount = 10;
    worker.timeoutClearQueue();
    EXPECT_EQ(output.messages().at(0).heldLocks, Lines{"HexCmdlock"});
    EXPECT_EQ(output.messages().at(0).thread, testThread);
}

TEST_F(TimeoutClearQueue, BelowItsLimitTakesNoLock)
{
    biz_CMDSWork::iTimeoutCount = 9;
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    const ThreadId host = time.start("host", [this] { worker.timeoutClearQueue(); });
    EXPECT_TRUE(time.hasEnded(host));
}

TEST_F(TimeoutClearQueue, LeavesGateSequenceCounterAndPassesAsTheyAre)
{
    for (const bool gate : {false, true}) {
        setGate(gate);
        biz_CMDSWork::iSN = 5;
        biz_CMDSWork::iWatchdogSleepCnt = 6;
        biz_CMDSWork::iTimeoutCount = 10;
        worker.timeoutClearQueue();
        EXPECT_EQ(biz_CMDSWork::bRetFlag, gate);
        EXPECT_EQ(biz_CMDSWork::iSN, 5);
        EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 6);
    }
}

TEST_F(TimeoutClearQueue, TheCommandInFlightGoesOnBeingWatched)
{
    putInFlight(1, 30);
    biz_CMDSWork::iTimeoutCount = 10;
    enqueue({2});
    worker.timeoutClearQueue();
    forgetAll();
    passes(2);
    EXPECT_EQ(messages(), Lines{"\"Timeout watchdog resend! iTimeoutCount:1\""});
    EXPECT_EQ(announced(), Tags{1});
}

TEST_F(TimeoutClearQueue, LeavesTheRepliesAndTheirLockAlone)
{
    pushReply(acceptedReply(1));
    biz_CMDSWork::iTimeoutCount = 10;
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
    const ThreadId host = time.start("host", [this] { worker.timeoutClearQueue(); });
    EXPECT_TRUE(time.hasEnded(host));
    EXPECT_EQ(biz_CMDSWork::receivequeueHexCmd.size(), 1U);
}

} // namespace
