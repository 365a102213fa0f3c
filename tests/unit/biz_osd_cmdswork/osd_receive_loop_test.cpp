// a1_receiveGetQueueWork(): one reply at most every 5 ms.

#include "osd_loops_fixture.h"

using namespace osd_test;
using biz::test::SleepRequest;
using std::chrono::milliseconds;

namespace {

class OsdReceiveLoop : public OsdLoops
{
protected:
    static Lines replies(const Tags &tags)
    {
        Lines lines;
        for (const quint32 tag : tags) {
            lines.push_back("signalSendReceiveMessage " + std::to_string(tag));
        }
        return lines;
    }
};

TEST_F(OsdReceiveLoop, EachPassBeginsWithASleepOfFiveMilliseconds)
{
    startReceiveLoop();
    receivePasses(3);

    EXPECT_EQ(time.sleepsOf(receiveLoop), std::vector<SleepRequest>(4, SleepRequest{receiveLoop, 0, 5000000}));
}

TEST_F(OsdReceiveLoop, NothingIsDeliveredBeforeTheFirstSleepHasEnded)
{
    Channel::addToReceiveQueue(record(deviceA, 1));

    startReceiveLoop();
    EXPECT_EQ(emitted(), Lines{});

    receivePasses();
    EXPECT_EQ(emitted(), replies({1}));
}

TEST_F(OsdReceiveLoop, InterruptedSleepIsNotTakenUpAgain)
{
    Channel::addToReceiveQueue(record(deviceA, 1));
    startReceiveLoop();

    time.interrupt(receiveLoop);

    EXPECT_EQ(emitted(), replies({1}));
    EXPECT_EQ(time.sleepsOf(receiveLoop).size(), 2U);
}

TEST_F(OsdReceiveLoop, LoopStartsNoThread)
{
    startReceiveLoop();
    receivePasses(3);

    EXPECT_EQ(time.threadCount(), 1);
}

TEST_F(OsdReceiveLoop, EmptyQueueDeliversNothing)
{
    startReceiveLoop();

    receivePasses(3);

    EXPECT_EQ(emitted(), Lines{});
}

TEST_F(OsdReceiveLoop, ThreeRepliesAreDeliveredInThreePassesInTheOrderOfTheirArrival)
{
    receive({{deviceA, 3}, {deviceB, 1}, {deviceA, 2}});
    startReceiveLoop();

    receivePasses();
    EXPECT_EQ(emitted(), replies({3}));
    receivePasses();
    EXPECT_EQ(emitted(), replies({3, 1}));
    receivePasses();
    EXPECT_EQ(emitted(), replies({3, 1, 2}));
    receivePasses();
    EXPECT_EQ(emitted(), replies({3, 1, 2}));
}

TEST_F(OsdReceiveLoop, TwoHundredRepliesASecondAreDelivered)
{
    for (quint32 tag = 0; tag < 250; ++tag) {
        Channel::addToReceiveQueue(record(deviceA, tag));
    }
    startReceiveLoop();

    time.advance(milliseconds(1000));

    EXPECT_EQ(emitted().size(), 200U);
    EXPECT_EQ(replyTags().size(), 50U);
    EXPECT_EQ(replyTags().front(), 200U);
}

TEST_F(OsdReceiveLoop, EveryFieldOfTheReplyIsDelivered)
{
    Channel::addToReceiveQueue(fullRecord(deviceA));
    startReceiveLoop();

    receivePasses();

    ASSERT_EQ(signalsOfWorker.events().size(), 1U);
    EXPECT_TRUE(signalsOfWorker.events().front().record == fullRecord(deviceA));
}

TEST_F(OsdReceiveLoop, ReplyIsDeliveredOnTheReceiveLoopWithNoLockHeld)
{
    Channel::addToReceiveQueue(record(deviceA, 1));
    startReceiveLoop();

    receivePasses();

    ASSERT_EQ(signalsOfWorker.events().size(), 1U);
    EXPECT_EQ(signalsOfWorker.events().front().thread, receiveLoop);
    EXPECT_EQ(signalsOfWorker.events().front().heldLocks, std::vector<std::string>{});
}

TEST_F(OsdReceiveLoop, ReplyHasLeftTheQueueWhenItIsDelivered)
{
    receive({{deviceA, 1}, {deviceA, 2}});
    Tags left;
    signalsOfWorker.onEmission([&](const auto &) { left = replyTags(); });
    startReceiveLoop();

    receivePasses();

    EXPECT_EQ(left, Tags{2});
}

TEST_F(OsdReceiveLoop, WhatAReceiverWritesStaysInItsCopy)
{
    Channel::addToReceiveQueue(fullRecord(deviceA));
    Channel::addToReceiveQueue(fullRecord(deviceA));
    QObject::connect(&worker, &Channel::signalSendReceiveMessage,
                     [](void *reply) { *static_cast<model_OsdParam *>(reply) = model_OsdParam(); });
    startReceiveLoop();

    receivePasses(2);

    ASSERT_EQ(signalsOfWorker.events().size(), 2U);
    EXPECT_TRUE(signalsOfWorker.events().back().record == fullRecord(deviceA));
}

TEST_F(OsdReceiveLoop, ReplyQueuedByAReceiverIsDeliveredInTheNextPass)
{
    Channel::addToReceiveQueue(record(deviceA, 1));
    onFirstEmission([] { Channel::addToReceiveQueue(record(deviceA, 2)); });
    startReceiveLoop();

    receivePasses();
    EXPECT_EQ(emitted(), replies({1}));

    receivePasses();
    EXPECT_EQ(emitted(), replies({1, 2}));
}

TEST_F(OsdReceiveLoop, ReplyFromAnUnregisteredIpIsDelivered)
{
    Channel::addToReceiveQueue(record(QStringLiteral("nobody"), 1));
    startReceiveLoop();

    receivePasses();

    EXPECT_EQ(emitted(), replies({1}));
    EXPECT_TRUE(Channel::m_bRetFlag.isEmpty());
}

TEST_F(OsdReceiveLoop, DeviceIsFreeForItsNextCommandBeforeItsReplyIsDelivered)
{
    startSendLoop();
    startReceiveLoop();
    dispatchAt(1000, record(deviceA, 1));
    Channel::addToSendQueue(record(deviceA, 2));
    Channel::addToReceiveQueue(record(deviceA, 90));

    sendPasses();
    receivePasses();

    EXPECT_EQ(emitted(), (Lines{"signalSendMessage 2", "signalSendMessageUipro 2", "signalSendReceiveMessage 90"}));
}

TEST_F(OsdReceiveLoop, RepliesQueuedBeforeAClearAreStillDelivered)
{
    receive({{deviceA, 1}, {deviceA, 2}});
    startReceiveLoop();

    worker.clearQueue();
    receivePasses(2);

    EXPECT_EQ(emitted(), replies({1, 2}));
}

TEST_F(OsdReceiveLoop, LoopWritesNoDebugText)
{
    Channel::addToReceiveQueue(record(deviceA, 1));
    startReceiveLoop();
    const TraceRecorder recorder;

    receivePasses(2);

    EXPECT_EQ(recorder.texts(), QStringList());
}

TEST_F(OsdReceiveLoop, LoopThatFindsItsFlagClearedAtItsFirstTestMakesNoPass)
{
    Channel::addToReceiveQueue(record(deviceA, 1));
    worker.m_bRecvRun = false;

    startReceiveLoop();

    EXPECT_TRUE(time.hasEnded(receiveLoop));
    EXPECT_TRUE(time.sleeps().empty());
    EXPECT_EQ(replyTags(), Tags{1});
}

TEST_F(OsdReceiveLoop, FlagClearedDuringTheSleepStillLetsThePassDeliverOneReply)
{
    receive({{deviceA, 1}, {deviceA, 2}});
    startReceiveLoop();
    worker.m_bRecvRun = false;

    receivePasses();

    EXPECT_EQ(emitted(), replies({1}));
    EXPECT_EQ(replyTags(), Tags{2});
    EXPECT_TRUE(time.hasEnded(receiveLoop));
}

TEST_F(OsdReceiveLoop, FlagClearedInAReceiverEndsTheLoopWithoutAnotherSleep)
{
    Channel::addToReceiveQueue(record(deviceA, 1));
    signalsOfWorker.onEmission([&](const auto &) { worker.m_bRecvRun = false; });
    startReceiveLoop();

    receivePasses();

    EXPECT_TRUE(time.hasEnded(receiveLoop));
    EXPECT_EQ(time.sleepsOf(receiveLoop).size(), 1U);
}

TEST_F(OsdReceiveLoop, SendFlagDoesNotEndTheReceiveLoop)
{
    startReceiveLoop();
    worker.m_bSendRun = false;

    receivePasses(3);

    EXPECT_TRUE(time.isParked(receiveLoop));
}

TEST_F(OsdReceiveLoop, TwoObjectsLoopsShareTheRepliesEachDeliveredOnce)
{
    Channel other;
    biz::test::Journal ofOther;
    biz::test::OsdSignals signalsOfOther({}, &ofOther);
    signalsOfOther.attach(other);
    receive({{deviceA, 1}, {deviceA, 2}, {deviceA, 3}});
    startReceiveLoop();
    const ThreadId otherLoop = time.start("other's receive loop", [&] { other.a1_receiveGetQueueWork(); });

    receivePasses();
    time.step(otherLoop);
    receivePasses();

    EXPECT_EQ(emitted(), replies({1, 3}));
    EXPECT_EQ(ofOther.lines(), replies({2}));

    other.m_bRecvRun = false;
    worker.m_bRecvRun = false;
    time.finish();
}

} // namespace
