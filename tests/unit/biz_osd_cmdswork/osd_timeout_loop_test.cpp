// a1_TimeOutWork(): twice a second, devices whose reply is overdue are freed.

#include "osd_loops_fixture.h"

#include <limits>

#include <support/held_locks.h>

using namespace osd_test;
using biz::test::SleepRequest;
using std::chrono::milliseconds;

namespace {

constexpr qint64 T = 1700000000;

class OsdTimeOut : public OsdLoops
{
protected:
    /** A device that awaits a reply, as a dispatch at `sent` leaves it. */
    void await(const QString &ip, quint32 sent, qint32 waitTime)
    {
        Channel::m_qsIp.append(ip);
        Channel::queueHexCmd.append(std::queue<model_OsdParam>());
        Channel::m_bRetFlag[ip] = false;
        worker.m_mapCurSend[ip] = record(ip, 1, waitTime);
        worker.m_mapSendTime[ip] = sent;
    }

    /** Whether a pass at that second frees a device to which a command was sent at `sent`. */
    bool freedAt(qint64 second, quint32 sent, qint32 waitTime)
    {
        worker.clearQueue();
        await(deviceA, sent, waitTime);
        timeoutPassAt(second);
        return isFree(deviceA);
    }

    /** Device A is held until the last moment before that second, and freed in its first. */
    void expectFreedAt(qint64 second)
    {
        timeoutPassAt(second - 1, 999);
        EXPECT_FALSE(isFree(deviceA));

        timeoutPassAt(second);
        EXPECT_TRUE(isFree(deviceA));
    }
};

// --- Start, pace and end ------------------------------------------------------------

TEST_F(OsdTimeOut, EachPassBeginsWithASleepOfHalfASecond)
{
    startSendLoop();
    timeoutPasses(3);

    EXPECT_EQ(time.sleepsOf(timeoutLoop), std::vector<SleepRequest>(4, SleepRequest{timeoutLoop, 0, 500000000}));
}

TEST_F(OsdTimeOut, NobodyIsFreedBeforeTheFirstSleepHasEnded)
{
    await(deviceA, 0, 0);

    startSendLoop();
    EXPECT_FALSE(isFree(deviceA));

    timeoutPasses();
    EXPECT_TRUE(isFree(deviceA));
}

TEST_F(OsdTimeOut, InterruptedSleepIsNotTakenUpAgain)
{
    await(deviceA, 0, 0);
    startSendLoop();

    time.interrupt(timeoutLoop);

    EXPECT_TRUE(isFree(deviceA));
    EXPECT_EQ(time.sleepsOf(timeoutLoop).size(), 2U);
}

TEST_F(OsdTimeOut, LoopThatFindsTheRunFlagClearedAtItsFirstTestMakesNoPass)
{
    await(deviceA, 0, 0);
    worker.m_bSendRun = false;

    const ThreadId loop = time.start("time-out loop", [this] { worker.a1_TimeOutWork(); });

    EXPECT_TRUE(time.hasEnded(loop));
    EXPECT_TRUE(time.sleeps().empty());
    EXPECT_FALSE(isFree(deviceA));
}

TEST_F(OsdTimeOut, LastPassAfterTheRunFlagWasClearedStillFreesDevices)
{
    await(deviceA, 0, 0);
    startSendLoop();
    worker.m_bSendRun = false;
    sendPasses();
    ASSERT_TRUE(time.hasEnded(sendLoop));
    ASSERT_FALSE(isFree(deviceA));

    timeoutPasses();

    EXPECT_TRUE(isFree(deviceA));
    EXPECT_TRUE(time.hasEnded(timeoutLoop));
    EXPECT_EQ(time.sleepsOf(timeoutLoop).size(), 1U);
}

TEST_F(OsdTimeOut, LoopEndsWithinHalfASecondOfTheClearingOfTheRunFlag)
{
    startSendLoop();
    time.advance(milliseconds(1001));
    worker.m_bSendRun = false;

    time.advance(milliseconds(498));
    EXPECT_TRUE(time.isParked(timeoutLoop));

    time.advance(milliseconds(1));
    EXPECT_TRUE(time.hasEnded(timeoutLoop));
}

TEST_F(OsdTimeOut, RunFlagSetAgainDuringTheSleepKeepsTheLoopRunning)
{
    startSendLoop();
    worker.m_bSendRun = false;
    worker.m_bSendRun = true;

    timeoutPasses();

    EXPECT_TRUE(time.isParked(timeoutLoop));
}

// --- The deadline -------------------------------------------------------------------

TEST_F(OsdTimeOut, DeviceIsFreedByTheFirstPassInTheSecondOfItsDeadline)
{
    startSendLoop();
    dispatchAt(T, record(deviceA, 1, 3000));

    expectFreedAt(T + 3);
}

TEST_F(OsdTimeOut, FractionOfTheSecondOfTheDispatchDoesNotCount)
{
    startSendLoop();
    dispatchAt(T, record(deviceA, 1, 3000), 999);

    expectFreedAt(T + 3);
}

TEST_F(OsdTimeOut, WaitIsDividedByAThousandTowardZero)
{
    struct Row
    {
        qint32 waitTime;
        int wholeSeconds;
    };
    constexpr Row rows[] = {
        {0, 0},
        {1, 0},
        {999, 0},
        {1000, 1},
        {1999, 1},
        {2000, 2},
        {-1, 0},
        {-999, 0},
        {-1000, -1},
        {-1999, -1},
        {-2000, -2},
        {59999, 59},
        {60000, 60},
        {std::numeric_limits<qint32>::max(), 2147483},
        {std::numeric_limits<qint32>::min(), -2147483},
    };
    startSendLoop();

    for (const Row &row : rows) {
        EXPECT_TRUE(freedAt(T + row.wholeSeconds, T, row.waitTime)) << row.waitTime << " ms, on time";
        EXPECT_FALSE(freedAt(T + row.wholeSeconds - 1, T, row.waitTime)) << row.waitTime << " ms, a second early";
    }
}

TEST_F(OsdTimeOut, WaitOfLessThanASecondEndsAtTheFirstPassAfterTheDispatch)
{
    startSendLoop();
    dispatchAt(T, record(deviceA, 1, 999));

    timeoutPassAt(T);

    EXPECT_TRUE(isFree(deviceA));
}

TEST_F(OsdTimeOut, NegativeWaitEndsBeforeItBegan)
{
    startSendLoop();
    dispatchAt(T, record(deviceA, 1, -1000));

    timeoutPassAt(T - 1);

    EXPECT_TRUE(isFree(deviceA));
}

TEST_F(OsdTimeOut, DeadlineWrapsAtThirtyTwoBits)
{
    startSendLoop();

    EXPECT_TRUE(freedAt(0, 0xFFFFFFFE, 2000)) << "deadline 0";
    EXPECT_FALSE(freedAt(0, 0xFFFFFFFE, 3000)) << "deadline 1";
    EXPECT_TRUE(freedAt(1, 0xFFFFFFFE, 3000)) << "deadline 1";
    EXPECT_TRUE(freedAt(0xFFFFFFFE, 0xFFFFFFFE, 3000)) << "deadline 1, at once after the dispatch";
    EXPECT_FALSE(freedAt(0xFFFFFFFE, 0xFFFFFFFE, 1000)) << "deadline 0xFFFFFFFF";
    EXPECT_FALSE(freedAt(0xFFFFFFFE, 0, -1000)) << "deadline 0xFFFFFFFF";
    EXPECT_TRUE(freedAt(0xFFFFFFFF, 0, -1000)) << "deadline 0xFFFFFFFF";
}

TEST_F(OsdTimeOut, TimesAreComparedAsUnsignedValues)
{
    startSendLoop();

    EXPECT_TRUE(freedAt(0x80000000, 0x7FFFFFFE, 1000));
    EXPECT_FALSE(freedAt(0x7FFFFFFF, 0x7FFFFFFF, 1000));
    EXPECT_TRUE(freedAt(0x80000000, 0x7FFFFFFF, 1000));
}

TEST_F(OsdTimeOut, WallClockThatIsSetBackKeepsADeviceWaitingUntilTheOldDeadline)
{
    startSendLoop();
    dispatchAt(T, record(deviceA, 1, 3000));
    time.setWallClock(moment(T - 20));

    time.advance(std::chrono::seconds(22));
    EXPECT_FALSE(isFree(deviceA));

    time.advance(std::chrono::seconds(2));
    EXPECT_TRUE(isFree(deviceA));
}

TEST_F(OsdTimeOut, WallClockThatIsSetForwardFreesADeviceEarly)
{
    startSendLoop();
    dispatchAt(T, record(deviceA, 1, 60000));
    time.setWallClock(moment(T + 60));

    timeoutPasses();

    EXPECT_TRUE(isFree(deviceA));
}

TEST_F(OsdTimeOut, EarliestTimeOutComesJustUnderASecondBeforeTheWaitIsOver)
{
    // Dispatched in the last moment of second T, looked at in the first of second T + 3.
    time.setWallClock(moment(T - 1, 500));
    startSendLoop();
    time.advance(milliseconds(1495));
    Channel::addToSendQueue(record(deviceA, 1, 3000));
    time.advance(milliseconds(4));
    ASSERT_EQ(worker.m_mapSendTime.value(deviceA), T);
    ASSERT_EQ(time.wakeUpTime(sendLoop), milliseconds(1500)) << "dispatched at 1497 ms";

    time.advance(milliseconds(3500 - 1499 - 1));
    EXPECT_FALSE(isFree(deviceA));

    time.advance(milliseconds(1));
    EXPECT_TRUE(isFree(deviceA)) << "2003 ms after the dispatch";
}

TEST_F(OsdTimeOut, LatestTimeOutComesHalfASecondAfterTheWaitIsOver)
{
    // Dispatched at the start of second T, looked at just before second T + 3 and then
    // half a second later.
    time.setWallClock(moment(T - 1, 999));
    startSendLoop();
    Channel::addToSendQueue(record(deviceA, 1, 3000));
    time.advance(milliseconds(3));
    ASSERT_EQ(worker.m_mapSendTime.value(deviceA), T);

    time.advance(milliseconds(3499 - 3));
    EXPECT_FALSE(isFree(deviceA));

    time.advance(milliseconds(1));
    EXPECT_TRUE(isFree(deviceA)) << "3497 ms after the dispatch";
}

// --- What a pass reads --------------------------------------------------------------

TEST_F(OsdTimeOut, ClockIsReadOncePerPassBeforeTheLockIsTaken)
{
    await(deviceA, T, 3000);
    await(deviceB, T, 3000);
    std::vector<Lines> held;
    time.onWallClockReading([&] { held.push_back(biz::test::heldOf(biz::test::osdChannelLocks())); });
    time.setNextWallClockReadings({moment(T + 2), moment(T + 3), moment(T + 4)});
    startSendLoop();

    timeoutPasses();

    EXPECT_EQ(time.wallClockReadings(), 1);
    EXPECT_EQ(held, std::vector<Lines>{Lines{}});
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}, {deviceB, false}}));

    timeoutPasses();

    EXPECT_EQ(time.wallClockReadings(), 2);
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}, {deviceB, true}}));
}

TEST_F(OsdTimeOut, PassOverNoDevicesReadsTheClockAndChangesNothing)
{
    startSendLoop();

    timeoutPasses();

    EXPECT_EQ(time.wallClockReadings(), 1);
    EXPECT_TRUE(Channel::m_bRetFlag.isEmpty());
    EXPECT_TRUE(hasNothingNoted());
}

TEST_F(OsdTimeOut, EachDeviceIsJudgedByItsOwnCommand)
{
    await(deviceA, T, 2000);
    await(deviceB, T, 3000);
    await(deviceC, T - 1, 3000);
    startSendLoop();

    timeoutPassAt(T + 2);

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}, {deviceB, false}, {deviceC, true}}));
}

TEST_F(OsdTimeOut, SlotWithoutAQueueIsFreedLikeAnyOther)
{
    await(deviceA, T, 1000);
    await(deviceB, T, 1000);
    Channel::queueHexCmd.clear();
    startSendLoop();

    timeoutPassAt(T + 1);

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}, {deviceB, true}}));
}

TEST_F(OsdTimeOut, HeldFlagOfAnIpThatHasNoSlotIsLeftAlone)
{
    Channel::m_bRetFlag = {{deviceA, false}};
    startSendLoop();

    timeoutPassAt(T);

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}}));
    EXPECT_TRUE(worker.m_mapCurSend.isEmpty());
}

TEST_F(OsdTimeOut, AnsweredDeviceIsNeverTouched)
{
    await(deviceA, T, 3000);
    startSendLoop();
    Channel::addToReceiveQueue(record(deviceA, 90));

    timeoutPassAt(T);
    timeoutPassAt(T + 100);

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}}));
    EXPECT_EQ(worker.m_mapSendTime, (SendTimes{{deviceA, T}}));
}

TEST_F(OsdTimeOut, FreeDeviceThatWasNeverSentToGetsNoEntries)
{
    Channel::m_qsIp = {deviceA};
    Channel::m_bRetFlag = {{deviceA, true}};
    startSendLoop();

    timeoutPassAt(T);

    EXPECT_TRUE(hasNothingNoted());
}

TEST_F(OsdTimeOut, DeviceWithoutAFlagAndWithoutADispatchGetsAllEntriesAndIsFreed)
{
    Channel::m_qsIp = {deviceA};
    startSendLoop();

    timeoutPassAt(T);

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}}));
    EXPECT_EQ(worker.m_mapSendTime, (SendTimes{{deviceA, 0}}));
    ASSERT_EQ(worker.m_mapCurSend.keys(), QList<QString>{deviceA});
    EXPECT_TRUE(worker.m_mapCurSend.value(deviceA) == model_OsdParam());
}

TEST_F(OsdTimeOut, DeviceWithoutAFlagWhoseWaitIsNotOverGetsTheFlagFalse)
{
    await(deviceA, T, 3000);
    Channel::m_bRetFlag.clear();
    startSendLoop();

    timeoutPassAt(T + 2);

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}}));
}

TEST_F(OsdTimeOut, DeviceWithASendTimeButNoCommandWaitsUntilThatTime)
{
    await(deviceA, T, 3000);
    worker.m_mapCurSend.clear();
    startSendLoop();

    expectFreedAt(T);
    EXPECT_EQ(worker.m_mapCurSend.size(), 1);
}

TEST_F(OsdTimeOut, DeviceWithACommandButNoSendTimeWaitsFromTheBeginningOf1970)
{
    await(deviceA, T, 3000);
    worker.m_mapSendTime.clear();
    startSendLoop();

    expectFreedAt(3);
    EXPECT_EQ(worker.m_mapSendTime, (SendTimes{{deviceA, 0}}));
}

TEST_F(OsdTimeOut, DeadlineIsLookedUpUnderTheIpOfTheSlot)
{
    Channel::m_qsIp = {deviceA};
    Channel::queueHexCmd.resize(1);
    Channel::queueHexCmd[0].push(record(deviceB, 1, 60000));
    Channel::m_bRetFlag = {{deviceA, true}};
    startSendLoop();
    sendPassAt(T);
    ASSERT_FALSE(isFree(deviceA));

    timeoutPassAt(T);

    EXPECT_TRUE(isFree(deviceA)) << "what was sent is noted under another IP";
    EXPECT_EQ(worker.m_mapSendTime, (SendTimes{{deviceA, 0}, {deviceB, T}}));
}

// --- What a time-out does and does not do -------------------------------------------

TEST_F(OsdTimeOut, GivenUpCommandIsNeitherSentAgainNorReportedAndTheNextOneLeaves)
{
    startSendLoop();
    startReceiveLoop();
    dispatchAt(T, record(deviceA, 1, 1000));
    Channel::addToSendQueue(record(deviceA, 2));
    const TraceRecorder recorder;

    timeoutPassAt(T + 1);
    receivePasses(3);
    EXPECT_EQ(emitted(), Lines{});
    EXPECT_EQ(recorder.texts(), QStringList());
    EXPECT_EQ(waitingTags(0), Tags{2});

    sendPasses();
    EXPECT_EQ(emitted(), (Lines{"signalSendMessage 2", "signalSendMessageUipro 2"}));
}

TEST_F(OsdTimeOut, TimeOutChangesNothingOfWhatWasNotedAtTheDispatch)
{
    startSendLoop();
    model_OsdParam command = fullRecord(deviceA);
    command.iWaitTime = 1000;
    dispatchAt(T, command);

    timeoutPassAt(T + 1);

    EXPECT_TRUE(isFree(deviceA));
    EXPECT_TRUE(worker.m_mapCurSend.value(deviceA) == command);
    EXPECT_EQ(worker.m_mapSendTime, (SendTimes{{deviceA, T}}));
}

TEST_F(OsdTimeOut, LateReplyIsStillDelivered)
{
    startSendLoop();
    startReceiveLoop();
    dispatchAt(T, record(deviceA, 1, 1000));
    timeoutPassAt(T + 1);

    Channel::addToReceiveQueue(record(deviceA, 90));
    receivePasses();

    EXPECT_TRUE(isFree(deviceA));
    EXPECT_EQ(emitted(), Lines{"signalSendReceiveMessage 90"});
}

TEST_F(OsdTimeOut, DeviceHeldByTheHostIsFreedOnceItsLastWaitIsOver)
{
    await(deviceA, T, 3000);
    startSendLoop();
    Channel::setRetFlag(deviceA, true);
    Channel::setRetFlag(deviceA, false);

    expectFreedAt(T + 3);
}

// --- Two objects, and a cleared channel ---------------------------------------------

TEST_F(OsdTimeOut, DeviceThatAnotherObjectDispatchedToIsFreedAtTheNextPass)
{
    Channel other;
    startSendLoop();
    dispatchAt(T, record(deviceA, 1, 60000));
    const ThreadId otherLoop = time.start("other's time-out loop", [&] { other.a1_TimeOutWork(); });

    timeoutPassAt(T);
    EXPECT_FALSE(isFree(deviceA));

    time.setNextWallClockReadings({moment(T)});
    time.step(otherLoop);
    EXPECT_TRUE(isFree(deviceA));
    EXPECT_EQ(other.m_mapSendTime, (SendTimes{{deviceA, 0}}));
    EXPECT_EQ(worker.m_mapSendTime, (SendTimes{{deviceA, T}}));

    other.m_bSendRun = false;
    worker.m_bSendRun = false;
    time.finish();
}

TEST_F(OsdTimeOut, ClearedChannelLeavesNobodyToBeFreed)
{
    startSendLoop();
    dispatchAt(T, record(deviceA, 1, 1000));
    worker.clearQueue();

    timeoutPassAt(T + 1);

    EXPECT_TRUE(Channel::m_bRetFlag.isEmpty());
    EXPECT_TRUE(hasNothingNoted());
}

TEST_F(OsdTimeOut, DeviceRegisteredAfreshWaitsForItsNewCommandOnly)
{
    startSendLoop();
    dispatchAt(T, record(deviceA, 1, 1000));
    worker.clearQueue();
    dispatchAt(T + 1, record(deviceA, 2, 5000));

    expectFreedAt(T + 6);
}

} // namespace
