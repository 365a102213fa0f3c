// Which lock is held for what, and what a lock that cannot be taken leaves behind. A
// program of its own: it sees, and spoils, the locking of the mutexes.

#include "osd_loops_fixture.h"

#include <cerrno>
#include <csignal>
#include <functional>
#include <system_error>

#include <support/lock_probe.h>
#include <support/message_recorder.h>

using namespace osd_test;

namespace {

/** Locks, debug texts, signals and readings of the clock, all in one journal. */
class OsdLocks : public OsdLoops
{
protected:
    OsdLocks()
    {
        signalsOfWorker.watchLocks(false); // trying the locks would be journaled, too
        time.onWallClockReading([this] { journal.add("clock"); });
    }

    /** What `action` wrote into the journal. */
    Lines during(const std::function<void()> &action)
    {
        journal.clear();
        action();
        return journal.lines();
    }

    biz::test::LockProbe probe{biz::test::osdChannelLocks(), &journal};
    biz::test::MessageRecorder messages{{}, &journal};
};

TEST_F(OsdLocks, EnqueueForANewDeviceHoldsItsLockAloneFromAfterTheEntryTextToTheEnd)
{
    EXPECT_EQ(during([] { Channel::addToSendQueue(record(deviceA)); }),
              (Lines{"message addToSendQueue:", "lock HexCmdlock", "message AddToSendQueue2:HexCmdlock",
                     "message AddToSendQueue2:HexCmdlock:leave", "unlock HexCmdlock"}));
}

TEST_F(OsdLocks, EnqueueForAKnownDeviceHoldsItsLockAloneFromAfterTheEntryTextToTheEnd)
{
    Channel::addToSendQueue(record(deviceA));

    EXPECT_EQ(during([] { Channel::addToSendQueue(record(deviceA)); }),
              (Lines{"message addToSendQueue:", "lock HexCmdlock", "message AddToSendQueue1:HexCmdlock",
                     "message AddToSendQueue1:HexCmdlock:leave", "unlock HexCmdlock"}));
}

TEST_F(OsdLocks, SetRetFlagWritesItsLeaveTextAfterTheRelease)
{
    EXPECT_EQ(during([] { Channel::setRetFlag(deviceA, true); }),
              (Lines{"lock HexCmdlock", "message setRetFlag:HexCmdlock", "unlock HexCmdlock",
                     "message setRetFlag:HexCmdlock:leave"}));
}

TEST_F(OsdLocks, ReplyTakesTheTwoLocksOneAfterTheOther)
{
    EXPECT_EQ(during([] { Channel::addToReceiveQueue(record(deviceA)); }),
              (Lines{"lock HexCmdlock", "message setRetFlag:HexCmdlock", "unlock HexCmdlock",
                     "message setRetFlag:HexCmdlock:leave", "lock receiveHexCmdlock", "unlock receiveHexCmdlock"}));
}

TEST_F(OsdLocks, ReplyIsPushedUnderTheReceiveLock)
{
    std::size_t before = 99;
    probe.beforeLock("receiveHexCmdlock", 1, [&] { before = Channel::receivequeueHexCmd.size(); });

    Channel::addToReceiveQueue(record(deviceA, 7));

    EXPECT_EQ(before, 0U);
    EXPECT_EQ(replyTags(), Tags{7});
}

TEST_F(OsdLocks, RepliesStandInTheOrderInWhichTheyGotTheReceiveLock)
{
    // The second reply comes while the first waits for the lock.
    probe.beforeLock("receiveHexCmdlock", 1, [] { Channel::addToReceiveQueue(record(deviceA, 2)); });

    Channel::addToReceiveQueue(record(deviceA, 1));

    EXPECT_EQ(replyTags(), (Tags{2, 1}));
}

TEST_F(OsdLocks, CommandsStandInTheOrderInWhichTheyGotTheLock)
{
    probe.beforeLock("HexCmdlock", 1, [] { Channel::addToSendQueue(record(deviceA, 2)); });

    Channel::addToSendQueue(record(deviceA, 1));

    EXPECT_EQ(Channel::m_qsIp, QVector<QString>{deviceA}) << "the search is made with the lock held";
    EXPECT_EQ(waitingTags(0), (Tags{2, 1}));
}

TEST_F(OsdLocks, FlagIsLookedUpWithTheLockHeld)
{
    probe.beforeLock("HexCmdlock", 1, [] { Channel::addToSendQueue(record(deviceA)); });

    Channel::setRetFlag(deviceA, false);

    EXPECT_FALSE(isFree(deviceA));
}

TEST_F(OsdLocks, ClearingHoldsTheSendLockAloneAndWritesItsLeaveTextAfterwards)
{
    Channel::addToSendQueue(record(deviceA));

    EXPECT_EQ(during([this] { worker.clearQueue(); }),
              (Lines{"lock HexCmdlock", "message clearQueue:HexCmdlock", "unlock HexCmdlock",
                     "message clearQueue:HexCmdlock:leave"}));
}

TEST_F(OsdLocks, EverythingIsForgottenBeforeTheLockIsReleased)
{
    Channel::addToSendQueue(record(deviceA));
    worker.m_mapCurSend[deviceA] = record(deviceA);
    worker.m_mapSendTime[deviceA] = 1000;
    qsizetype left = 99;
    probe.beforeUnlock("HexCmdlock", 1, [&] {
        left = Channel::m_qsIp.size() + Channel::queueHexCmd.size() + Channel::m_bRetFlag.size() +
               worker.m_mapCurSend.size() + worker.m_mapSendTime.size();
    });

    worker.clearQueue();

    EXPECT_EQ(left, 0);
}

TEST_F(OsdLocks, ClearingForgetsWhatCameWhileItWaitedForTheLock)
{
    probe.beforeLock("HexCmdlock", 1, [] { Channel::addToSendQueue(record(deviceA)); });

    worker.clearQueue();

    EXPECT_TRUE(Channel::m_qsIp.isEmpty());
    EXPECT_TRUE(Channel::queueHexCmd.isEmpty());
    EXPECT_TRUE(Channel::m_bRetFlag.isEmpty());
}

TEST_F(OsdLocks, SendPassHoldsTheLockOnceForAllItsTablesAndEmitsAfterwards)
{
    enqueue({{deviceA, 1}, {deviceB, 2}});
    startSendLoop();

    EXPECT_EQ(during([this] { sendPasses(); }),
              (Lines{"lock HexCmdlock", "clock", "clock", "unlock HexCmdlock", "signalSendMessage 1",
                     "signalSendMessageUipro 1", "signalSendMessage 2", "signalSendMessageUipro 2"}));
}

TEST_F(OsdLocks, SendPassOverNoDevicesTakesAndReleasesTheLock)
{
    startSendLoop();

    EXPECT_EQ(during([this] { sendPasses(); }), (Lines{"lock HexCmdlock", "unlock HexCmdlock"}));
}

TEST_F(OsdLocks, SendPassServesWhatCameWhileItWaitedForTheLock)
{
    startSendLoop();
    probe.beforeLock("HexCmdlock", 1, [] { Channel::addToSendQueue(record(deviceA, 1)); });

    sendPasses();

    EXPECT_FALSE(isFree(deviceA));
    EXPECT_EQ(waitingTags(0), Tags{});
}

TEST_F(OsdLocks, SendPassFindsNothingInAChannelThatWasClearedWhileItWaitedForTheLock)
{
    Channel::addToSendQueue(record(deviceA, 1));
    startSendLoop();
    probe.beforeLock("HexCmdlock", 1, [this] { worker.clearQueue(); });

    EXPECT_EQ(during([this] { sendPasses(); }),
              (Lines{"message clearQueue:HexCmdlock", "message clearQueue:HexCmdlock:leave", "lock HexCmdlock",
                     "unlock HexCmdlock"}));
    EXPECT_TRUE(Channel::m_bRetFlag.isEmpty());
}

TEST_F(OsdLocks, TimeOutPassReadsTheClockAndThenHoldsTheLockOnce)
{
    Channel::addToSendQueue(record(deviceA));
    Channel::addToSendQueue(record(deviceB));
    Channel::m_bRetFlag = {{deviceA, false}, {deviceB, false}};
    startSendLoop();

    EXPECT_EQ(during([this] { timeoutPasses(); }), (Lines{"clock", "lock HexCmdlock", "unlock HexCmdlock"}));
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}, {deviceB, true}}));
}

TEST_F(OsdLocks, TimeOutPassSeesTheAnswerThatCameWhileItWaitedForTheLock)
{
    startSendLoop();
    Channel::addToSendQueue(record(deviceA, 1));
    Channel::m_bRetFlag[deviceA] = false;
    probe.beforeLock("HexCmdlock", 1, [] { Channel::setRetFlag(deviceA, true); });

    timeoutPasses();

    EXPECT_TRUE(worker.m_mapSendTime.isEmpty()) << "a free device is not looked at";
}

TEST_F(OsdLocks, ReceivePassHoldsTheReceiveLockToTakeAndEmitsAfterwards)
{
    receive({{deviceA, 1}, {deviceA, 2}});
    startReceiveLoop();

    EXPECT_EQ(during([this] { receivePasses(); }),
              (Lines{"lock receiveHexCmdlock", "unlock receiveHexCmdlock", "signalSendReceiveMessage 1"}));
}

TEST_F(OsdLocks, ReceivePassOverAnEmptyQueueTakesAndReleasesTheReceiveLock)
{
    startReceiveLoop();

    EXPECT_EQ(during([this] { receivePasses(); }), (Lines{"lock receiveHexCmdlock", "unlock receiveHexCmdlock"}));
}

TEST_F(OsdLocks, ReceivePassDeliversTheReplyThatCameWhileItWaitedForTheLock)
{
    startReceiveLoop();
    probe.beforeLock("receiveHexCmdlock", 1, [] { Channel::addToReceiveQueue(record(deviceA, 1)); });

    receivePasses();

    EXPECT_EQ(replyTags(), Tags{});
}

TEST_F(OsdLocks, ConstructionAndDestructionTakeNoLock)
{
    EXPECT_EQ(during([] { const Channel other; }), Lines{});
}

// --- A lock that cannot be taken ----------------------------------------------------

/** The error number of the std::system_error that a call raises; 0 if it raises none. */
int errorOf(const std::function<void()> &call)
{
    try {
        call();
    } catch (const std::system_error &error) {
        return error.code().value();
    }
    return 0;
}

class OsdFailingLock : public OsdLocks
{
protected:
    OsdFailingLock()
    {
        Channel::addToSendQueue(record(deviceA, 1));
        Channel::m_bRetFlag[deviceA] = false;
        journal.clear();
    }
};

TEST_F(OsdFailingLock, EnqueueRaisesTheErrorHavingWrittenOnlyItsEntryText)
{
    for (const int expected : {EINVAL, EDEADLK}) {
        probe.failLock("HexCmdlock", 1, expected);
        EXPECT_EQ(errorOf([] { Channel::addToSendQueue(record(deviceA, 2)); }), expected);
        probe.failLock("HexCmdlock", 1, expected);
        EXPECT_EQ(errorOf([] { Channel::addToSendQueue(record(deviceB, 3)); }), expected);
    }

    EXPECT_EQ(journal.lines(), Lines(4, "message addToSendQueue:"));
    EXPECT_EQ(Channel::m_qsIp, QVector<QString>{deviceA});
    ASSERT_EQ(Channel::queueHexCmd.size(), 1);
    EXPECT_EQ(waitingTags(0), Tags{1});
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}}));
}

TEST_F(OsdFailingLock, SetRetFlagRaisesTheErrorBeforeItWritesAnything)
{
    for (const int expected : {EINVAL, EDEADLK}) {
        probe.failLock("HexCmdlock", 1, expected);
        EXPECT_EQ(errorOf([] { Channel::setRetFlag(deviceA, true); }), expected);
    }

    EXPECT_EQ(journal.lines(), Lines{});
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}}));
}

TEST_F(OsdFailingLock, ReplyWhoseDeviceCannotBeFreedIsNotQueued)
{
    probe.failLock("HexCmdlock", 1, EINVAL);

    EXPECT_EQ(errorOf([] { Channel::addToReceiveQueue(record(deviceA)); }), EINVAL);

    EXPECT_EQ(journal.lines(), Lines{});
    EXPECT_FALSE(isFree(deviceA));
    EXPECT_EQ(replyTags(), Tags{});
}

TEST_F(OsdFailingLock, ReplyThatCannotBeQueuedHasFreedItsDevice)
{
    probe.failLock("receiveHexCmdlock", 1, EDEADLK);

    EXPECT_EQ(errorOf([] { Channel::addToReceiveQueue(record(deviceA)); }), EDEADLK);

    EXPECT_TRUE(isFree(deviceA));
    EXPECT_EQ(replyTags(), Tags{});
}

TEST_F(OsdFailingLock, ClearingRaisesTheErrorAndForgetsNothing)
{
    worker.m_mapCurSend[deviceA] = record(deviceA);
    worker.m_mapSendTime[deviceA] = 1000;
    probe.failLock("HexCmdlock", 1, EINVAL);

    EXPECT_EQ(errorOf([this] { worker.clearQueue(); }), EINVAL);

    EXPECT_EQ(journal.lines(), Lines{});
    EXPECT_EQ(Channel::m_qsIp, QVector<QString>{deviceA});
    EXPECT_EQ(waitingTags(0), Tags{1});
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}}));
    EXPECT_EQ(worker.m_mapCurSend.size(), 1);
    EXPECT_EQ(worker.m_mapSendTime.size(), 1);
}

TEST_F(OsdFailingLock, OperationsWorkAgainAfterAFailure)
{
    probe.failLock("HexCmdlock", 1, EINVAL);
    errorOf([] { Channel::setRetFlag(deviceA, true); });

    Channel::setRetFlag(deviceA, true);

    EXPECT_TRUE(isFree(deviceA));
}

TEST_F(OsdFailingLock, SendLoopRaisesTheErrorAndDispatchesNothing)
{
    Channel::m_bRetFlag[deviceA] = true;
    probe.failLock("HexCmdlock", 1, EINVAL);

    EXPECT_EQ(errorOf([this] { worker.a1_GetQueueWork(); }), EINVAL);

    EXPECT_EQ(journal.lines(), Lines{});
    EXPECT_EQ(waitingTags(0), Tags{1});
    EXPECT_TRUE(isFree(deviceA));
}

TEST_F(OsdFailingLock, TimeOutLoopRaisesTheErrorAndFreesNobody)
{
    probe.failLock("HexCmdlock", 1, EINVAL);

    EXPECT_EQ(errorOf([this] { worker.a1_TimeOutWork(); }), EINVAL);

    EXPECT_EQ(journal.lines(), Lines{"clock"});
    EXPECT_FALSE(isFree(deviceA));
}

TEST_F(OsdFailingLock, ReceiveLoopRaisesTheErrorAndTakesNoReply)
{
    Channel::addToReceiveQueue(record(deviceA, 9));
    journal.clear();
    probe.failLock("receiveHexCmdlock", 1, EINVAL);

    EXPECT_EQ(errorOf([this] { worker.a1_receiveGetQueueWork(); }), EINVAL);

    EXPECT_EQ(journal.lines(), Lines{});
    EXPECT_EQ(replyTags(), Tags{9});
}

class OsdFailingLockDeathTest : public OsdFailingLock
{
protected:
    OsdFailingLockDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    /** Starts the loops, of which one finds the lock failing in its next pass. */
    void passWithFailingLock(const char *lock, const ThreadId &loop)
    {
        startSendLoop();
        startReceiveLoop();
        probe.failLock(lock, 1, EINVAL);
        time.step(loop);
    }
};

TEST_F(OsdFailingLockDeathTest, ErrorInTheSendLoopsThreadEndsTheProcess)
{
    EXPECT_EXIT(passWithFailingLock("HexCmdlock", sendLoop), testing::KilledBySignal(SIGABRT), "system_error");
}

TEST_F(OsdFailingLockDeathTest, ErrorInTheTimeOutLoopsThreadEndsTheProcess)
{
    EXPECT_EXIT(passWithFailingLock("HexCmdlock", timeoutLoop), testing::KilledBySignal(SIGABRT), "system_error");
}

TEST_F(OsdFailingLockDeathTest, ErrorInTheReceiveLoopsThreadEndsTheProcess)
{
    EXPECT_EXIT(passWithFailingLock("receiveHexCmdlock", receiveLoop), testing::KilledBySignal(SIGABRT),
                "system_error");
}

} // namespace
