// a1_GetQueueWork(): at most one command in flight per device, one pass every 3 ms.

#include "osd_loops_fixture.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <system_error>

#include <support/held_locks.h>

using namespace osd_test;
using biz::test::SleepRequest;

namespace {

constexpr long millisecond = 1000000;

class OsdSendLoop : public OsdLoops
{
protected:
    static Lines pairs(const Tags &tags)
    {
        Lines lines;
        for (const quint32 tag : tags) {
            lines.push_back("signalSendMessage " + std::to_string(tag));
            lines.push_back("signalSendMessageUipro " + std::to_string(tag));
        }
        return lines;
    }

    /** The commands announced since the last call, each as a pair. */
    Lines announced()
    {
        Lines lines = emitted();
        journal.clear();
        return lines;
    }

    /** What is noted as the time of a command that is dispatched at that moment. */
    quint32 sendTimeAt(qint64 second, int milliseconds = 0)
    {
        dispatchAt(second, record(deviceA), milliseconds);
        const quint32 noted = worker.m_mapSendTime.value(deviceA);
        worker.clearQueue();
        return noted;
    }
};

// --- Start and pace -----------------------------------------------------------------

TEST_F(OsdSendLoop, EachPassBeginsWithASleepOfThreeMilliseconds)
{
    startSendLoop();
    sendPasses(4);

    EXPECT_EQ(time.sleepsOf(sendLoop), std::vector<SleepRequest>(5, SleepRequest{sendLoop, 0, 3 * millisecond}));
}

TEST_F(OsdSendLoop, NothingIsDispatchedBeforeTheFirstSleepHasEnded)
{
    Channel::addToSendQueue(record(deviceA, 1));

    startSendLoop();
    EXPECT_EQ(announced(), Lines{});

    sendPasses();
    EXPECT_EQ(announced(), pairs({1}));
}

TEST_F(OsdSendLoop, InterruptedSleepIsNotTakenUpAgain)
{
    Channel::addToSendQueue(record(deviceA, 1));
    startSendLoop();

    time.interrupt(sendLoop);

    EXPECT_EQ(announced(), pairs({1}));
    EXPECT_EQ(time.sleepsOf(sendLoop).size(), 2U);
    EXPECT_EQ(time.sleepsOf(sendLoop).back(), (SleepRequest{sendLoop, 0, 3 * millisecond}));
}

TEST_F(OsdSendLoop, EachCallStartsOneTimeOutLoopOnADetachedThread)
{
    startSendLoop();
    EXPECT_EQ(time.threadCount(), 2);
    EXPECT_EQ(time.sleepsOf(timeoutLoop),
              std::vector<SleepRequest>(1, SleepRequest{timeoutLoop, 0, 500 * millisecond}));

    startSendLoop();
    EXPECT_EQ(time.threadCount(), 4);
    EXPECT_EQ(time.sleepsOf(timeoutLoop).size(), 1U);
}

TEST_F(OsdSendLoop, PassesAfterTheFirstStartNoFurtherThread)
{
    startSendLoop();
    sendPasses(50);

    EXPECT_EQ(time.threadCount(), 2);
}

TEST_F(OsdSendLoop, SendLoopReturnsWithoutWaitingForItsTimeOutLoop)
{
    startSendLoop();
    worker.m_bSendRun = false;

    sendPasses();

    EXPECT_TRUE(time.hasEnded(sendLoop));
    EXPECT_TRUE(time.isParked(timeoutLoop));
}

TEST_F(OsdSendLoop, CallAfterTheRunFlagWasClearedReturnsAtOnceAndItsTimeOutLoopEndsAtItsFirstTest)
{
    Channel::addToSendQueue(record(deviceA, 1));
    worker.m_bSendRun = false;

    startSendLoop();

    EXPECT_EQ(time.threadCount(), 2);
    EXPECT_TRUE(time.hasEnded(sendLoop));
    EXPECT_TRUE(time.hasEnded(timeoutLoop));
    EXPECT_TRUE(time.sleeps().empty());
    EXPECT_EQ(waitingTags(0), Tags{1});
}

TEST_F(OsdSendLoop, TimeOutLoopThatCannotBeStartedRaisesTheErrorBeforeTheFirstPass)
{
    Channel::addToSendQueue(record(deviceA, 1));
    time.failNextThreadStart(EAGAIN);

    int error = 0;
    try {
        worker.a1_GetQueueWork();
    } catch (const std::system_error &failure) {
        error = failure.code().value();
    }

    EXPECT_EQ(error, EAGAIN);
    EXPECT_TRUE(time.sleeps().empty());
    EXPECT_EQ(waitingTags(0), Tags{1});
}

// --- What a pass dispatches ---------------------------------------------------------

TEST_F(OsdSendLoop, PassOverNoDevicesEmitsNothingAndChangesNothing)
{
    startSendLoop();
    sendPasses(3);

    EXPECT_EQ(announced(), Lines{});
    EXPECT_TRUE(Channel::m_bRetFlag.isEmpty());
    EXPECT_TRUE(hasNothingNoted());
    EXPECT_EQ(time.wallClockReadings(), 0);
}

TEST_F(OsdSendLoop, FirstCommandOfADeviceLeavesWithoutAnyReply)
{
    startSendLoop();
    Channel::addToSendQueue(record(deviceA, 1));

    sendPasses();

    EXPECT_EQ(announced(), pairs({1}));
    EXPECT_FALSE(isFree(deviceA));
}

TEST_F(OsdSendLoop, DeviceGetsOneCommandPerPassAndNoneUntilItsFlagIsTrueAgain)
{
    enqueue({{deviceA, 1}, {deviceA, 2}, {deviceA, 3}});
    startSendLoop();

    sendPasses(100);
    EXPECT_EQ(announced(), pairs({1}));
    EXPECT_EQ(waitingTags(0), (Tags{2, 3}));

    Channel::setRetFlag(deviceA, true);
    sendPasses(100);
    EXPECT_EQ(announced(), pairs({2}));

    Channel::addToReceiveQueue(record(deviceA, 90));
    sendPasses(100);
    EXPECT_EQ(announced(), pairs({3}));

    Channel::addToReceiveQueue(record(deviceA, 91));
    sendPasses(100);
    EXPECT_EQ(announced(), Lines{});
    EXPECT_TRUE(isFree(deviceA));
}

TEST_F(OsdSendLoop, FreeDevicesAreAllServedInOnePassInTheOrderOfTheirSlots)
{
    enqueue({{deviceC, 1}, {deviceA, 2}, {deviceB, 3}});
    startSendLoop();

    sendPasses();

    EXPECT_EQ(announced(), pairs({1, 2, 3}));
}

TEST_F(OsdSendLoop, HeldDeviceDoesNotKeepTheOthersWaiting)
{
    enqueue({{deviceA, 1}, {deviceB, 2}, {deviceC, 3}});
    Channel::setRetFlag(deviceB, false);
    startSendLoop();

    sendPasses();

    EXPECT_EQ(announced(), pairs({1, 3}));
    EXPECT_EQ(waitingTags(1), Tags{2});
}

TEST_F(OsdSendLoop, HoldingAFreeDeviceStopsItsDispatchUntilItIsFreed)
{
    startSendLoop();
    Channel::addToSendQueue(record(deviceA, 1));
    Channel::setRetFlag(deviceA, false);

    sendPasses(10);
    EXPECT_EQ(announced(), Lines{});

    Channel::setRetFlag(deviceA, true);
    sendPasses();
    EXPECT_EQ(announced(), pairs({1}));
}

TEST_F(OsdSendLoop, FreeDeviceWithoutCommandsStaysFree)
{
    Channel::addToSendQueue(record(deviceA, 1));
    Channel::queueHexCmd[0].pop();
    startSendLoop();

    sendPasses(3);

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}}));
    EXPECT_TRUE(hasNothingNoted());
    EXPECT_EQ(time.wallClockReadings(), 0);
}

TEST_F(OsdSendLoop, HeldDeviceWithoutCommandsStaysHeld)
{
    Channel::addToSendQueue(record(deviceA, 1));
    startSendLoop();

    sendPasses(3);

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}}));
}

TEST_F(OsdSendLoop, DeviceWithoutAFlagGetsOneAndWaits)
{
    Channel::addToSendQueue(record(deviceA, 1));
    Channel::m_bRetFlag.clear();
    startSendLoop();

    sendPasses(3);
    EXPECT_EQ(announced(), Lines{});
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}}));

    Channel::setRetFlag(deviceA, true);
    sendPasses();
    EXPECT_EQ(announced(), pairs({1}));
}

TEST_F(OsdSendLoop, DeviceWithoutAFlagAndWithoutCommandsGetsOneToo)
{
    Channel::addToSendQueue(record(deviceA, 1));
    Channel::queueHexCmd[0].pop();
    Channel::m_bRetFlag.clear();
    startSendLoop();

    sendPasses();

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}}));
}

TEST_F(OsdSendLoop, FlagOfAnIpThatHasNoSlotIsLeftAlone)
{
    Channel::m_bRetFlag = {{deviceB, true}};
    startSendLoop();

    sendPasses();

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceB, true}}));
}

TEST_F(OsdSendLoop, SlotWithoutAQueueDispatchesNothingAndItsFlagIsLookedUp)
{
    Channel::m_qsIp = {deviceA, deviceB, deviceC};
    Channel::queueHexCmd.resize(1);
    Channel::queueHexCmd[0].push(record(deviceA, 1));
    Channel::m_bRetFlag = {{deviceA, true}, {deviceB, true}};
    startSendLoop();

    sendPasses(2);

    EXPECT_EQ(announced(), pairs({1}));
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}, {deviceB, true}, {deviceC, false}}));
    EXPECT_EQ(Channel::queueHexCmd.size(), 1);
}

TEST_F(OsdSendLoop, QueueWithoutASlotIsNotServed)
{
    Channel::m_qsIp = {deviceA};
    Channel::queueHexCmd.resize(2);
    Channel::queueHexCmd[1].push(record(deviceB, 1));
    Channel::m_bRetFlag = {{deviceA, true}, {deviceB, true}};
    startSendLoop();

    sendPasses();

    EXPECT_EQ(announced(), Lines{});
    EXPECT_EQ(waitingTags(1), Tags{1});
}

// --- What a dispatch notes ----------------------------------------------------------

TEST_F(OsdSendLoop, DispatchNotesTheWholeCommandAndThePresentSecond)
{
    Channel::addToSendQueue(fullRecord(deviceA));
    startSendLoop();

    sendPassAt(1700000000, 0);

    ASSERT_EQ(worker.m_mapCurSend.keys(), QList<QString>{deviceA});
    EXPECT_TRUE(worker.m_mapCurSend.value(deviceA) == fullRecord(deviceA));
    EXPECT_EQ(worker.m_mapSendTime, (SendTimes{{deviceA, 1700000000}}));
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}}));
}

TEST_F(OsdSendLoop, SendTimeIsTheSecondThatHasBegunAndTheHighestValueIfThatNeedsMoreThanThirtyTwoBits)
{
    startSendLoop();

    EXPECT_EQ(sendTimeAt(1700000000, 999), 1700000000U);
    EXPECT_EQ(sendTimeAt(0xFFFFFFFE), 0xFFFFFFFEU);
    EXPECT_EQ(sendTimeAt(0x100000005), 0xFFFFFFFFU);
    EXPECT_EQ(sendTimeAt(-5), 0xFFFFFFFFU) << "before 1970";
}

TEST_F(OsdSendLoop, SendTimeDoesNotDependOnTheTimeZone)
{
    const QByteArray before = qgetenv("TZ");
    qputenv("TZ", "XYZ-9");
    tzset();
    startSendLoop();

    const quint32 sendTime = sendTimeAt(1700000000);

    if (before.isNull()) {
        qunsetenv("TZ");
    } else {
        qputenv("TZ", before);
    }
    tzset();
    EXPECT_EQ(sendTime, 1700000000U);
}

TEST_F(OsdSendLoop, LaterDispatchOverwritesWhatTheEarlierOneNoted)
{
    enqueue({{deviceA, 1}, {deviceA, 2}});
    startSendLoop();
    sendPassAt(1000);
    Channel::setRetFlag(deviceA, true);

    sendPassAt(900);

    EXPECT_EQ(worker.m_mapCurSend.value(deviceA).nTag, 2U);
    EXPECT_EQ(worker.m_mapSendTime, (SendTimes{{deviceA, 900}}));
}

TEST_F(OsdSendLoop, ClockIsReadForEachDispatchedCommandWithTheLockHeld)
{
    enqueue({{deviceA, 1}, {deviceB, 2}, {deviceC, 3}});
    Channel::setRetFlag(deviceB, false);
    std::vector<Lines> held;
    time.onWallClockReading([&] { held.push_back(biz::test::heldOf(biz::test::osdChannelLocks())); });
    time.setNextWallClockReadings({moment(1000, 999), moment(1001)});
    startSendLoop();

    sendPasses();

    EXPECT_EQ(worker.m_mapSendTime, (SendTimes{{deviceA, 1000}, {deviceC, 1001}}));
    EXPECT_EQ(held, (std::vector<Lines>{{"HexCmdlock"}, {"HexCmdlock"}}));
}

TEST_F(OsdSendLoop, CommandIsNotedBeforeTheClockIsReadAndTheFlagClearedAfterwards)
{
    Channel::addToSendQueue(record(deviceA, 1));
    std::size_t waiting = 99;
    qsizetype noted = 0;
    bool free = false;
    time.onWallClockReading([&] {
        waiting = Channel::queueHexCmd.at(0).size();
        noted = worker.m_mapCurSend.size();
        free = isFree(deviceA);
    });
    startSendLoop();

    sendPasses();

    EXPECT_EQ(waiting, 0U);
    EXPECT_EQ(noted, 1);
    EXPECT_TRUE(free);
    EXPECT_FALSE(isFree(deviceA));
}

TEST_F(OsdSendLoop, TimeAndCopyStandUnderTheIpOfTheRecordAndTheFlagUnderThatOfTheSlot)
{
    Channel::m_qsIp = {deviceA};
    Channel::queueHexCmd.resize(1);
    Channel::queueHexCmd[0].push(record(deviceB, 1));
    Channel::m_bRetFlag = {{deviceA, true}, {deviceB, true}};
    startSendLoop();

    sendPassAt(1000);

    EXPECT_EQ(announced(), pairs({1}));
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}, {deviceB, true}}));
    EXPECT_EQ(worker.m_mapSendTime, (SendTimes{{deviceB, 1000}}));
    EXPECT_EQ(worker.m_mapCurSend.keys(), QList<QString>{deviceB});
}

// --- The emissions ------------------------------------------------------------------

TEST_F(OsdSendLoop, BothSignalsPointToTheSameRecordWithEveryField)
{
    Channel::addToSendQueue(fullRecord(deviceA));
    startSendLoop();

    sendPasses();

    const auto events = signalsOfWorker.events();
    ASSERT_EQ(events.size(), 2U);
    EXPECT_TRUE(events[0].record == fullRecord(deviceA));
    EXPECT_TRUE(events[1].record == fullRecord(deviceA));
    EXPECT_EQ(events[0].address, events[1].address);
}

TEST_F(OsdSendLoop, SignalsLeaveOnTheSendLoopWithNoLockHeld)
{
    enqueue({{deviceA, 1}, {deviceB, 2}});
    startSendLoop();

    sendPasses();

    ASSERT_EQ(signalsOfWorker.events().size(), 4U);
    for (const auto &event : signalsOfWorker.events()) {
        EXPECT_EQ(event.thread, sendLoop);
        EXPECT_EQ(event.heldLocks, Lines{});
    }
}

TEST_F(OsdSendLoop, TablesOfTheWholePassAreDoneBeforeTheFirstSignalLeaves)
{
    enqueue({{deviceA, 1}, {deviceB, 2}});
    Flags flags;
    qsizetype noted = 0;
    onFirstEmission([&] {
        flags = Channel::m_bRetFlag;
        noted = worker.m_mapCurSend.size();
    });
    startSendLoop();

    sendPasses();

    EXPECT_EQ(flags, (Flags{{deviceA, false}, {deviceB, false}}));
    EXPECT_EQ(noted, 2);
}

TEST_F(OsdSendLoop, WhatTheFirstReceiverWritesTheSecondSeesAndTheNotedCopyDoesNot)
{
    Channel::addToSendQueue(record(deviceA, 1));
    QObject::connect(&worker, &Channel::signalSendMessage,
                     [](void *command) { static_cast<model_OsdParam *>(command)->nTag = 7; });
    startSendLoop();

    sendPasses();

    EXPECT_EQ(announced(), (Lines{"signalSendMessage 1", "signalSendMessageUipro 7"}));
    EXPECT_EQ(worker.m_mapCurSend.value(deviceA).nTag, 1U);
}

TEST_F(OsdSendLoop, ReceiverMayAnswerAndEnqueueAndTheNextCommandLeavesInTheNextPass)
{
    Channel::addToSendQueue(record(deviceA, 1));
    onFirstEmission([] {
        enqueue({{deviceA, 2}, {deviceB, 3}});
        Channel::addToReceiveQueue(record(deviceA, 90));
    });
    startSendLoop();

    sendPasses();
    EXPECT_EQ(announced(), pairs({1}));

    sendPasses();
    EXPECT_EQ(announced(), pairs({2, 3}));
}

TEST_F(OsdSendLoop, ClearingInAReceiverKeepsNothingOfThePassFromBeingAnnounced)
{
    enqueue({{deviceA, 1}, {deviceA, 2}, {deviceB, 3}});
    onFirstEmission([this] { worker.clearQueue(); });
    startSendLoop();

    sendPasses(5);

    EXPECT_EQ(announced(), pairs({1, 3}));
}

TEST_F(OsdSendLoop, LoopWritesNoDebugText)
{
    Channel::addToSendQueue(record(deviceA, 1));
    startSendLoop();
    const TraceRecorder recorder;

    sendPasses(3);

    EXPECT_EQ(recorder.texts(), QStringList());
}

// --- The end ------------------------------------------------------------------------

TEST_F(OsdSendLoop, FlagClearedDuringTheSleepStillLetsThePassDispatchAndAnnounce)
{
    Channel::addToSendQueue(record(deviceA, 1));
    startSendLoop();
    worker.m_bSendRun = false;

    sendPasses();

    EXPECT_EQ(announced(), pairs({1}));
    EXPECT_TRUE(time.hasEnded(sendLoop));
    EXPECT_EQ(time.sleepsOf(sendLoop).size(), 1U);
}

TEST_F(OsdSendLoop, FlagClearedInAReceiverStillLetsThePassAnnounceTheRest)
{
    enqueue({{deviceA, 1}, {deviceB, 2}});
    signalsOfWorker.onEmission([&](const auto &) { worker.m_bSendRun = false; });
    startSendLoop();

    sendPasses();

    EXPECT_EQ(announced(), pairs({1, 2}));
    EXPECT_TRUE(time.hasEnded(sendLoop));
}

TEST_F(OsdSendLoop, ReceiveFlagDoesNotEndTheSendLoop)
{
    startSendLoop();
    worker.m_bRecvRun = false;

    sendPasses(3);
    timeoutPasses();

    EXPECT_TRUE(time.isParked(sendLoop));
    EXPECT_TRUE(time.isParked(timeoutLoop));
}

// --- Clearing while the loop runs ---------------------------------------------------

TEST_F(OsdSendLoop, ClearedChannelIsServedOverNoDevicesAndARegisteredDeviceAfresh)
{
    enqueue({{deviceA, 1}, {deviceA, 2}});
    startSendLoop();
    sendPasses();
    worker.clearQueue();
    Channel::addToReceiveQueue(record(deviceA, 90));

    sendPasses(3);
    EXPECT_EQ(announced(), pairs({1}));
    EXPECT_TRUE(Channel::m_bRetFlag.isEmpty());

    Channel::addToSendQueue(record(deviceA, 3));
    sendPasses();
    EXPECT_EQ(announced(), pairs({3}));
}

// --- Two objects --------------------------------------------------------------------

TEST_F(OsdSendLoop, CommandsAreServedByWhicheverObjectsLoopComesFirst)
{
    Channel other;
    signalsOfWorker.attach(other);
    enqueue({{deviceA, 1}, {deviceA, 2}});
    startSendLoop();
    const ThreadId otherLoop = time.start("other's send loop", [&] { other.a1_GetQueueWork(); });

    time.step(otherLoop);
    sendPasses();
    EXPECT_EQ(announced(), pairs({1}));
    EXPECT_EQ(other.m_mapCurSend.value(deviceA).nTag, 1U);
    EXPECT_TRUE(worker.m_mapCurSend.isEmpty());

    Channel::setRetFlag(deviceA, true);
    sendPasses();
    EXPECT_EQ(announced(), pairs({2}));
    EXPECT_EQ(worker.m_mapCurSend.value(deviceA).nTag, 2U);

    other.m_bSendRun = false;
    worker.m_bSendRun = false;
    time.finish();
}

} // namespace
