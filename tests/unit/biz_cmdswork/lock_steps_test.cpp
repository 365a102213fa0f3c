// What the channel does under its locks and between them, seen through a probe of the
// mutex calls: the order of the steps, what another thread does in between, a lock that
// cannot be taken.

#include "device_channel_fixture.h"

#include <cerrno>
#include <optional>
#include <system_error>

#include <support/lock_probe.h>

using namespace biz::test;

namespace {

class LockSteps : public DeviceChannelTest
{
protected:
    /** Runs `act` with both locks of the channel watched; what the journal then holds. */
    Lines stepsOf(const std::function<void()> &act)
    {
        journal.clear();
        const LockProbe probe(deviceChannelLocks(), &journal);
        act();
        return journal.lines();
    }

    /** One short step under the lock of the send side. */
    static Lines oneStep() { return {"lock HexCmdlock", "unlock HexCmdlock"}; }
};

Lines operator+(Lines a, const Lines &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// --- Steps of the send loop -----------------------------------------------------------

TEST_F(LockSteps, AnIdlePassLocksOnceToCount)
{
    passes(1);
    EXPECT_EQ(stepsOf([this] { passes(1); }), oneStep());
}

TEST_F(LockSteps, ATakeLocksForTheRecordTheSequenceCounterAndTheCountersOneAfterTheOther)
{
    enqueue({1});
    passes(0);
    const Lines expected = oneStep() + oneStep() + oneStep() +
                           Lines{"signalSendMessage 1", "signalQueueSize 0", "signalSendMessageUipro 1"};
    EXPECT_EQ(stepsOf([this] { passes(1); }), expected);
}

TEST_F(LockSteps, ACommandStillInTimeCostsOneLock)
{
    putInFlight(1, 30);
    EXPECT_EQ(stepsOf([this] { passes(1); }), oneStep());
}

TEST_F(LockSteps, ASettledCommandHasItsGateOpenedOnceMore)
{
    putInFlight(1, 30);
    passes(1);
    setGate(true);
    EXPECT_EQ(stepsOf([this] { passes(1); }), oneStep() + oneStep());
}

TEST_F(LockSteps, AResendCountsThenAnnouncesThenRestartsTheCount)
{
    putInFlight(1, 15);
    journalSleeps();
    const Lines expected = oneStep() + oneStep() +
                           Lines{"message \"Timeout watchdog resend! iTimeoutCount:1\"", "signalInitCore",
                                 "sleep 0 s 20000000 ns", "signalSendMessage 1"} +
                           oneStep();
    EXPECT_EQ(stepsOf([this] { passes(1); }), expected);
}

TEST_F(LockSteps, GivingUpWritesBothMessagesBeforeItOpensTheGate)
{
    putInFlight(1, 15);
    biz_CMDSWork::iTimeoutCount = 1;
    const Lines expected = oneStep() + oneStep() +
                           Lines{"message \"Timeout watchdog resend! iTimeoutCount:2\"", "message Resend stop"} +
                           oneStep();
    EXPECT_EQ(stepsOf([this] { passes(1); }), expected);
}

TEST_F(LockSteps, ABlockedPassReportsBeforeItCounts)
{
    putInFlight(1, longWait);
    enqueue({2});
    const Lines seen = stepsOf([this] { passes(20); });
    ASSERT_EQ(seen.size(), 41U);
    const auto report = std::find(seen.begin(), seen.end(), "signalQueueSize 1");
    ASSERT_NE(report, seen.end());
    EXPECT_EQ((report - seen.begin()) % 2, 0); // between two steps, and not the last line:
    EXPECT_EQ(seen.back(), "unlock HexCmdlock");
}

TEST_F(LockSteps, SkipModeTakesNoLock)
{
    worker.setSkipSendcmd(true);
    enqueue({1, 2});
    passes(0);
    EXPECT_EQ(stepsOf([this] { passes(1); }), Lines{});
}

// --- Steps of the others --------------------------------------------------------------

TEST_F(LockSteps, AWatchdogLocksForEachChangeOnly)
{
    worker.m_curSend = command(1, 100);
    biz_CMDSWork::bRetFlag = false;
    const Lines timedOut{"message \"Timeout watchdog resend! iTimeoutCount:1\"", "signalInitCore",
                         "signalSendMessage 1"};
    const Lines givenUp{"message \"Timeout watchdog resend! iTimeoutCount:2\"", "message Resend stop"};
    const ThreadId watchdog = startWatchdog(1);
    EXPECT_EQ(stepsOf([&] { time.step(watchdog, 2); }), oneStep() + timedOut);
    EXPECT_EQ(stepsOf([&] { time.finish(); }), oneStep() + givenUp + oneStep());
}

TEST_F(LockSteps, AWatchdogOpensAnOpenGateOnceMore)
{
    const ThreadId watchdog = startWatchdog(1);
    EXPECT_EQ(stepsOf([&] { time.step(watchdog); }), oneStep());
}

TEST_F(LockSteps, AVoidWatchTakesNoLock)
{
    biz_CMDSWork::bRetFlag = false;
    const ThreadId watchdog = startWatchdog(2);
    EXPECT_EQ(stepsOf([&] { time.step(watchdog); }), Lines{});
}

TEST_F(LockSteps, TheReceiveLoopLocksForTheTakeOnly)
{
    pushReply(acceptedReply(1));
    receivePasses(0);
    EXPECT_EQ(stepsOf([this] { receivePasses(1); }),
              (Lines{"lock receiveHexCmdlock", "unlock receiveHexCmdlock", "signalSendReceiveMessage 1"}));
    EXPECT_EQ(stepsOf([this] { receivePasses(1); }), Lines{});
}

TEST_F(LockSteps, ARefusedReplyIsLoggedWithoutALock)
{
    biz_CMDSWork::deviceType = typeOfRefusedReply;
    pushReply(refusedReply(1));
    receivePasses(0);
    EXPECT_EQ(stepsOf([this] { receivePasses(1); }), (Lines{"lock receiveHexCmdlock", "unlock receiveHexCmdlock"}));
    EXPECT_EQ(stepsOf([this] { worker.writeErrorLog(refusedReply(2)); }), Lines{});
}

TEST_F(LockSteps, AClearLocksForTheQueueThenForTheGate)
{
    enqueue({1, 2});
    EXPECT_EQ(stepsOf([this] { worker.clearQueue(); }), Lines{"message biz_CMDSWork::clearQueue()"} + oneStep() +
                                                            oneStep() + Lines{"message \"Clear QueueHexCmd!\""});
    EXPECT_EQ(stepsOf([this] { worker.clearQueue(); }), oneStep() + Lines{"message \"Clear QueueHexCmd!\""});
}

TEST_F(LockSteps, ATimeoutClearIsOneStep)
{
    biz_CMDSWork::iTimeoutCount = 10;
    enqueue({1, 2});
    EXPECT_EQ(stepsOf([this] { worker.timeoutClearQueue(); }),
              (Lines{"lock HexCmdlock", "message \"Clear QueueHexCmd!\"", "unlock HexCmdlock"}));
}

// --- What happens in between ----------------------------------------------------------

class Races : public DeviceChannelTest
{
protected:
    /** Lets `act` happen on the acting thread just before its `nth` lock from now on. */
    void inBetween(const std::string &lock, int nth, std::function<void()> act)
    {
        probe.emplace(deviceChannelLocks());
        probe->beforeLock(lock, nth, std::move(act));
    }

    std::optional<LockProbe> probe;
};

TEST_F(Races, ATakeThatFindsTheQueueEmptyClosesTheGateAndDoesNothingElse)
{
    putInFlight(1, longWait);
    setGate(true);
    enqueue({2});
    biz_CMDSWork::iTimeoutCount = 3;
    inBetween("HexCmdlock", 1, [] { biz_CMDSWork::queueHexCmd = {}; });
    passes(1);
    EXPECT_TRUE(journal.lines().empty());
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(worker.m_curSend.nTag, 1U);
    EXPECT_EQ(worker.m_curSend.ucHead[0], 1);
    EXPECT_EQ(biz_CMDSWork::iSN, 2);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 3);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 1); // it went on to the time-out check
}

TEST_F(Races, WithASystemPlanATakeThatFindsTheQueueEmptyLeavesTheGateOpen)
{
    biz_CMDSWork::nSysPlan = 1;
    enqueue({1});
    inBetween("HexCmdlock", 1, [] { biz_CMDSWork::queueHexCmd = {}; });
    passes(1);
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
    EXPECT_TRUE(journal.lines().empty());
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 1);
}

TEST_F(Races, AClearDuringATakeLeavesTheGateClosedWithNothingInFlight)
{
    putInFlight(1, 15);
    setGate(true);
    enqueue({2});
    inBetween("HexCmdlock", 1, [this] { worker.clearQueue(); });
    passes(1);
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    enqueue({3});
    passes(100);
    EXPECT_TRUE(announced().empty()); // nobody opens it but the host
    setGate(true);
    passes(1);
    EXPECT_EQ(announced(), Tags{3});
}

TEST_F(Races, AClearDiscardsWhatIsPushedBehindItsFirstDiscard)
{
    enqueue({1});
    probe.emplace(deviceChannelLocks());
    probe->beforeUnlock("HexCmdlock", 1, [] { biz_CMDSWork::queueHexCmd.push(command(2)); });
    worker.clearQueue();
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(messages(),
              Lines({"biz_CMDSWork::clearQueue()", "biz_CMDSWork::clearQueue()", "\"Clear QueueHexCmd!\""}));
}

TEST_F(Races, ATimeoutClearDuringATakeCanResendASettledCommand)
{
    putInFlight(1, 15);
    setGate(true);
    passes(5);
    enqueue({2});
    biz_CMDSWork::iTimeoutCount = 10;
    inBetween("HexCmdlock", 1, [this] { worker.timeoutClearQueue(); });
    passes(1);
    EXPECT_EQ(announced(), Tags{1});
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
}

TEST_F(Races, AReplyTakenByAnotherLoopInBetweenIsNobodysHere)
{
    pushReply(acceptedReply(1));
    receivePasses(1);
    forgetAll();
    pushReply(acceptedReply(2));
    inBetween("receiveHexCmdlock", 1, [] { biz_CMDSWork::receivequeueHexCmd.pop(); });
    receivePasses(1);
    EXPECT_TRUE(journal.lines().empty());
    EXPECT_EQ(worker.m_curRecv.nTag, 1U);
    EXPECT_FALSE(time.hasEnded(receiveLoop));
}

TEST_F(Races, AClearPassesThroughAClosedGateOverAnEmptyQueue)
{
    enqueue({1, 2});
    bool seen = false;
    inBetween("HexCmdlock", 2, [&seen] {
        seen = true;
        EXPECT_FALSE(biz_CMDSWork::bRetFlag);
        EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
        EXPECT_EQ(biz_CMDSWork::iSN, 1);
    });
    worker.clearQueue();
    EXPECT_TRUE(seen);
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
}

TEST_F(Races, APushBeforeTheClearHasTheLockIsDiscardedAsWell)
{
    enqueue({1});
    inBetween("HexCmdlock", 1, [] { biz_CMDSWork::queueHexCmd.push(command(2)); });
    worker.clearQueue();
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
}

TEST_F(Races, APushAfterTheClearsLastLookStaysQueued)
{
    enqueue({1});
    inBetween("HexCmdlock", 2, [] { biz_CMDSWork::queueHexCmd.push(command(2)); });
    worker.clearQueue();
    EXPECT_EQ(biz_CMDSWork::queueHexCmd.size(), 1U);
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
}

// --- A lock that cannot be taken ------------------------------------------------------

class FailingLock : public DeviceChannelTest
{
protected:
    /** Starts the body of a thread that says which error has left it. */
    ThreadId startCatching(std::function<void()> body)
    {
        return time.start("thread body", [this, body = std::move(body)] {
            try {
                body();
            } catch (const std::system_error &error) {
                raised = error.code().value();
            }
        });
    }

    void failLock(const std::string &name, int nth)
    {
        probe.emplace(deviceChannelLocks());
        probe->failLock(name, nth, EDEADLK);
    }

    /** A watchdog of the command in flight whose `nth` lock fails. */
    void expectWatchdogFailsAtLock(int nth)
    {
        const ThreadId watchdog = startCatching([this] { worker.timeoutWatchdog(1); });
        failLock("HexCmdlock", nth);
        time.step(watchdog);
        EXPECT_EQ(raised, EDEADLK);
    }

    int raised = 0;
    std::optional<LockProbe> probe;
};

/** A lock that fails in the send loop. */
class SendLoopFailingLock : public FailingLock
{
protected:
    SendLoopFailingLock()
    {
        sendLoop = startCatching([this] { worker.a1_GetQueueWork(); });
    }

    void expectEnded()
    {
        EXPECT_EQ(raised, EDEADLK);
        EXPECT_TRUE(time.hasEnded(sendLoop));
        EXPECT_TRUE(heldOf(deviceChannelLocks()).empty());
    }

    /** One pass in which the `nth` lock fails ends the loop. */
    void expectPassFailsAtLock(int nth)
    {
        failLock("HexCmdlock", nth);
        passes(1);
        expectEnded();
    }
};

TEST_F(SendLoopFailingLock, EndsItBeforeTheTakeWithTheCommandStillQueued)
{
    enqueue({1});
    expectPassFailsAtLock(1);
    EXPECT_EQ(biz_CMDSWork::queueHexCmd.size(), 1U);
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
}

TEST_F(SendLoopFailingLock, EndsItWhenItCountsThePassOfATakeThatFoundNothing)
{
    enqueue({1});
    probe.emplace(deviceChannelLocks());
    probe->beforeLock("HexCmdlock", 1, [] { biz_CMDSWork::queueHexCmd = {}; });
    probe->failLock("HexCmdlock", 2, EDEADLK); // the first one is the take's
    passes(1);
    expectEnded();
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 0);
}

TEST_F(SendLoopFailingLock, EndsItBeforeTheSequenceCounterMoves)
{
    enqueue({1});
    expectPassFailsAtLock(2);
    EXPECT_EQ(biz_CMDSWork::iSN, 1);
    EXPECT_TRUE(announced().empty());
}

TEST_F(SendLoopFailingLock, EndsItBeforeTheCountersAreReset)
{
    enqueue({1});
    biz_CMDSWork::iTimeoutCount = 1;
    expectPassFailsAtLock(3);
    EXPECT_EQ(biz_CMDSWork::iSN, 2);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 1);
    EXPECT_TRUE(announced().empty());
}

TEST_F(SendLoopFailingLock, EndsItWhenItCountsAPass)
{
    expectPassFailsAtLock(1);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 0);
}

TEST_F(SendLoopFailingLock, EndsItWhenItFindsACommandSettled)
{
    putInFlight(1, 15);
    setGate(true);
    expectPassFailsAtLock(2);
}

TEST_F(SendLoopFailingLock, EndsItBeforeATimeoutIsCounted)
{
    putInFlight(1, 15);
    expectPassFailsAtLock(2);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 0);
    EXPECT_TRUE(journal.lines().empty());
}

TEST_F(SendLoopFailingLock, EndsItAfterTheResendWasAnnounced)
{
    putInFlight(1, 15);
    expectPassFailsAtLock(3);
    EXPECT_EQ(announced(), Tags{1});
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 1);
}

TEST_F(SendLoopFailingLock, EndsItBeforeItOpensTheGateOfACommandGivenUp)
{
    putInFlight(1, 15);
    biz_CMDSWork::iTimeoutCount = 1;
    expectPassFailsAtLock(3);
    EXPECT_EQ(messages().size(), 2U);
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
}

TEST_F(FailingLock, LeavesTheWatchdogBeforeATimeoutIsCounted)
{
    biz_CMDSWork::bRetFlag = false;
    expectWatchdogFailsAtLock(1);
    EXPECT_TRUE(journal.lines().empty());
}

TEST_F(FailingLock, LeavesTheWatchdogBeforeItOpensTheGate)
{
    biz_CMDSWork::bRetFlag = false;
    biz_CMDSWork::iTimeoutCount = 1;
    expectWatchdogFailsAtLock(2);
    EXPECT_EQ(messages().size(), 2U);
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
}

TEST_F(FailingLock, LeavesTheWatchdogThatFindsItsCommandSettled)
{
    expectWatchdogFailsAtLock(1);
}

TEST_F(FailingLock, EndsTheReceiveLoopWithTheReplyStillQueued)
{
    receiveLoop = startCatching([this] { worker.a1_receiveGetQueueWork(); });
    pushReply(acceptedReply(1));
    failLock("receiveHexCmdlock", 1);
    receivePasses(1);
    EXPECT_EQ(raised, EDEADLK);
    EXPECT_TRUE(time.hasEnded(receiveLoop));
    EXPECT_EQ(biz_CMDSWork::receivequeueHexCmd.size(), 1U);
    EXPECT_TRUE(journal.lines().empty());
}

TEST_F(FailingLock, LeavesAClearWithTheQueueUnchanged)
{
    enqueue({1, 2});
    failLock("HexCmdlock", 1);
    EXPECT_THROW(worker.clearQueue(), std::system_error);
    EXPECT_EQ(biz_CMDSWork::queueHexCmd.size(), 2U);
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iSN, 1);
    EXPECT_EQ(messages(), Lines{"biz_CMDSWork::clearQueue()"});
}

TEST_F(FailingLock, LeavesAClearBehindItsDiscardWithTheGateShut)
{
    enqueue({1, 2});
    failLock("HexCmdlock", 2);
    EXPECT_THROW(worker.clearQueue(), std::system_error);
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iSN, 1);
    EXPECT_EQ(messages(), Lines{"biz_CMDSWork::clearQueue()"});
}

TEST_F(FailingLock, LeavesAClearBeforeItsSecondDiscardWithWhatWasPushedStillQueued)
{
    enqueue({1});
    failLock("HexCmdlock", 2);
    probe->beforeUnlock("HexCmdlock", 1, [] { biz_CMDSWork::queueHexCmd.push(command(2)); });
    EXPECT_THROW(worker.clearQueue(), std::system_error);
    ASSERT_EQ(biz_CMDSWork::queueHexCmd.size(), 1U);
    EXPECT_EQ(biz_CMDSWork::queueHexCmd.front().nTag, 2U);
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iSN, 1);
    EXPECT_EQ(messages(), Lines(2, "biz_CMDSWork::clearQueue()"));
}

TEST_F(FailingLock, LeavesAClearOfAnEmptyQueueWithTheGateUnchanged)
{
    setGate(false);
    failLock("HexCmdlock", 1);
    EXPECT_THROW(worker.clearQueue(), std::system_error);
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iSN, 1);
    EXPECT_TRUE(messages().empty());
}

TEST_F(FailingLock, LeavesATimeoutClearWithNothingChanged)
{
    biz_CMDSWork::iTimeoutCount = 10;
    enqueue({1});
    failLock("HexCmdlock", 1);
    EXPECT_THROW(worker.timeoutClearQueue(), std::system_error);
    EXPECT_EQ(biz_CMDSWork::queueHexCmd.size(), 1U);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 10);
    EXPECT_TRUE(messages().empty());
}

} // namespace
