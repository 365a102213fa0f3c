#include <support/test_names.h>

#include "device_channel_fixture.h"

#include <cerrno>
#include <climits>
#include <mutex>
#include <system_error>

using namespace biz::test;

namespace {

const Lines givenUp{"\"Timeout watchdog resend! iTimeoutCount:2\"", "Resend stop"};

/** A command of 2.5 s in flight whose sequence counter stands at 2, and no send loop. */
class TimeoutWatchdog : public DeviceChannelTest
{
protected:
    TimeoutWatchdog()
    {
        worker.m_curSend = command(1, 2500);
        worker.m_curSend.ucHead[0] = 1;
        biz_CMDSWork::iSN = 2;
        biz_CMDSWork::bRetFlag = false;
    }

    /** The watch up to its end, resend delay and successor included. */
    void runWatch(int sn)
    {
        startWatchdog(sn);
        time.finish();
    }
};

TEST_F(TimeoutWatchdog, WaitsForTheWholeWaitTimeOfTheCommandInFlight)
{
    const ThreadId watchdog = startWatchdog(2);
    EXPECT_EQ(time.sleeps(), (std::vector<SleepRequest>{{watchdog, 2, 500000000}}));
    time.advance(milliseconds(2499));
    EXPECT_TRUE(journal.lines().empty());
    time.advance(milliseconds(1));
    EXPECT_EQ(signals.names(), Lines{"signalInitCore"});
}

TEST_F(TimeoutWatchdog, WithNoWaitChecksAtOnce)
{
    for (const int wait : {0, -1, INT_MIN}) {
        forgetAll();
        setGate(false);
        biz_CMDSWork::iTimeoutCount = 1;
        worker.m_curSend.iWaitTime = wait;
        startWatchdog(2);
        time.advance(milliseconds(0));
        EXPECT_EQ(messages(), givenUp);
        EXPECT_EQ(time.now(), nanoseconds(0));
    }
}

TEST_F(TimeoutWatchdog, AnInterruptedWaitIsNotTakenUpAgain)
{
    biz_CMDSWork::iTimeoutCount = 1;
    const ThreadId watchdog = startWatchdog(2);
    time.interrupt(watchdog);
    EXPECT_TRUE(time.hasEnded(watchdog));
    EXPECT_EQ(messages(), givenUp);
}

TEST_F(TimeoutWatchdog, AReplyDuringTheWaitEndsItSilently)
{
    const ThreadId watchdog = startWatchdog(2);
    setGate(true);
    time.step(watchdog);
    EXPECT_TRUE(time.hasEnded(watchdog));
    EXPECT_TRUE(journal.lines().empty());
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 0);
}

TEST_F(TimeoutWatchdog, ANewerCommandEndsItSilentlyEvenBehindAClosedGate)
{
    const ThreadId watchdog = startWatchdog(2);
    biz_CMDSWork::iSN = 3;
    time.step(watchdog);
    EXPECT_TRUE(time.hasEnded(watchdog));
    EXPECT_TRUE(journal.lines().empty());
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 0);
}

TEST_F(TimeoutWatchdog, AClearDuringTheWaitEndsItSilently)
{
    const ThreadId watchdog = startWatchdog(2);
    worker.clearQueue();
    setGate(false);
    forgetAll();
    time.step(watchdog);
    EXPECT_TRUE(time.hasEnded(watchdog));
    EXPECT_TRUE(journal.lines().empty());
}

TEST_F(TimeoutWatchdog, TheFirstTimeoutResendsAndStartsOneSuccessor)
{
    journalSleeps();
    const ThreadId watchdog = startWatchdog(2);
    time.step(watchdog, 2); // the wait and the resend delay
    EXPECT_EQ(journal.lines(),
              (Lines{"sleep 2 s 500000000 ns", "message \"Timeout watchdog resend! iTimeoutCount:1\"", "signalInitCore",
                     "sleep 0 s 20000000 ns", "signalSendMessage 1", "sleep 2 s 500000000 ns"}));
    EXPECT_TRUE(time.hasEnded(watchdog));
    EXPECT_EQ(time.alive(), std::vector<ThreadId>{watchdog + 1});
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 1);
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
}

TEST_F(TimeoutWatchdog, AResendIsTheSameRecordWithTheSameSequenceByte)
{
    biz_CMDSWork::iWatchdogSleepCnt = 7;
    const ThreadId watchdog = startWatchdog(2);
    time.step(watchdog, 2);
    const auto resent = signals.eventsOf("signalSendMessage").at(0);
    EXPECT_EQ(resent.address, &worker.m_curSend);
    EXPECT_EQ(resent.record.ucHead[0], 1);
    EXPECT_EQ(biz_CMDSWork::iSN, 2);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 7); // the send loop's own affair
}

TEST_F(TimeoutWatchdog, SignalsLeaveOnItsOwnThreadWithNoLockHeld)
{
    const ThreadId watchdog = startWatchdog(2);
    time.step(watchdog, 2);
    ASSERT_EQ(signals.names(), (Lines{"signalInitCore", "signalSendMessage"}));
    for (const DeviceSignals::Event &event : signals.events()) {
        EXPECT_EQ(event.thread, watchdog);
        EXPECT_EQ(event.heldLocks, Lines{});
    }
}

TEST_F(TimeoutWatchdog, TheSecondTimeoutGivesUpOpensTheGateAndStartsNobody)
{
    runWatch(2);
    EXPECT_EQ(journal.lines(),
              (Lines{"message \"Timeout watchdog resend! iTimeoutCount:1\"", "signalInitCore", "signalSendMessage 1",
                     "message \"Timeout watchdog resend! iTimeoutCount:2\"", "message Resend stop"}));
    EXPECT_EQ(time.threadCount(), 2);
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 2);
    for (const DebugMessage &message : output.messages()) {
        EXPECT_EQ(message.heldLocks, Lines{});
    }
}

TEST_F(TimeoutWatchdog, UsesTheObjectForTwiceTheWaitPlusTheResendDelay)
{
    runWatch(2);
    EXPECT_EQ(time.now(), milliseconds(2 * 2500 + 20));
}

TEST_F(TimeoutWatchdog, AReplyToTheResendEndsTheSuccessorSilently)
{
    const ThreadId watchdog = startWatchdog(2);
    time.step(watchdog, 2);
    setGate(true);
    forgetAll();
    time.finish();
    EXPECT_TRUE(journal.lines().empty());
}

TEST_F(TimeoutWatchdog, TheSuccessorWatchesTheCounterThatStandsAfterTheResend)
{
    signals.onEmission([](const DeviceSignals::Event &event) {
        if (event.signal == "signalSendMessage") {
            ++biz_CMDSWork::iSN;
        }
    });
    runWatch(2);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 2);
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
}

TEST_F(TimeoutWatchdog, TheSuccessorWaitsForTheCommandThatIsThenInFlight)
{
    const ThreadId watchdog = startWatchdog(2);
    time.step(watchdog);
    worker.m_curSend.iWaitTime = 40;
    time.step(watchdog);
    EXPECT_EQ(time.sleeps().back(), (SleepRequest{watchdog + 1, 0, 40000000}));
}

TEST_F(TimeoutWatchdog, ASuccessorThatCannotBeStartedRaisesAfterTheResendWasAnnounced)
{
    int code = 0;
    const ThreadId watchdog = time.start("watchdog", [&] {
        try {
            worker.timeoutWatchdog(2);
        } catch (const std::system_error &error) {
            code = error.code().value();
        }
    });
    time.failNextThreadStart(EAGAIN);
    time.finish();
    EXPECT_EQ(code, EAGAIN);
    EXPECT_EQ(announced(), Tags{1});
    EXPECT_EQ(time.threadCount(), watchdog);
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 1);
}

struct LimitRow
{
    int counted;
    const char *message;
    bool resends;
};

class TimeoutWatchdogLimit : public TimeoutWatchdog, public ::testing::WithParamInterface<LimitRow>
{
};

TEST_P(TimeoutWatchdogLimit, IsTheSendLoops)
{
    biz_CMDSWork::iTimeoutCount = GetParam().counted;
    const ThreadId watchdog = startWatchdog(2);
    time.step(watchdog, GetParam().resends ? 2 : 1);
    EXPECT_EQ(messages().at(0), std::string("\"Timeout watchdog resend! iTimeoutCount:") + GetParam().message + "\"");
    EXPECT_EQ(announced().size(), GetParam().resends ? 1U : 0U);
    EXPECT_EQ(biz_CMDSWork::bRetFlag, !GetParam().resends);
    setGate(true);
}

INSTANTIATE_TEST_SUITE_P(Counts, TimeoutWatchdogLimit,
                         ::testing::Values(LimitRow{0, "1", true}, LimitRow{1, "2", false}, LimitRow{2, "3", false},
                                           LimitRow{9, "10", false}, LimitRow{-2, "-1", true},
                                           LimitRow{INT_MAX, "-2147483648", true}),
                         [](const auto &row) { return biz::test::numberName(row.param.counted); });

// --- Beside the send loop -------------------------------------------------------------

using WatchdogBesideTheLoop = DeviceChannelTest;

TEST_F(WatchdogBesideTheLoop, BothGuardsCountIntoOneLimit)
{
    putInFlight(1, 300);
    startWatchdog(biz_CMDSWork::iSN);
    passes(20); // 20 * 15 ms: the loop's own check resends
    EXPECT_EQ(announced(), Tags{1});
    time.advance(milliseconds(300)); // the watchdog finds the second time-out
    EXPECT_EQ(messages(), (Lines{"\"Timeout watchdog resend! iTimeoutCount:1\"",
                                 "\"Timeout watchdog resend! iTimeoutCount:2\"", "Resend stop"}));
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
}

TEST_F(WatchdogBesideTheLoop, ASendAfterTheWatchedOneMakesTheWatchVoid)
{
    putInFlight(1, 300);
    const ThreadId watchdog = startWatchdog(biz_CMDSWork::iSN);
    setGate(true);
    enqueue({2});
    passes(1);
    forgetAll();
    time.step(watchdog);
    EXPECT_TRUE(time.hasEnded(watchdog));
    EXPECT_TRUE(journal.lines().empty());
}

// --- Skip mode ------------------------------------------------------------------------

TEST_F(TimeoutWatchdog, InSkipModeDestroysTheQueueWithoutAWaitACheckOrALock)
{
    worker.setSkipSendcmd(true);
    enqueue({1, 2});
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        EXPECT_TRUE(time.hasEnded(startWatchdog(2)));
    }
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
    EXPECT_TRUE(time.sleeps().empty());
    EXPECT_TRUE(journal.lines().empty());
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 0);
}

TEST_F(TimeoutWatchdog, LooksAtSkipModeOnlyAtItsStart)
{
    const ThreadId watchdog = startWatchdog(2);
    worker.setSkipSendcmd(true);
    enqueue({1});
    time.step(watchdog);
    EXPECT_EQ(biz_CMDSWork::queueHexCmd.size(), 1U);
    time.step(watchdog); // the resend; its successor finds skip mode on
    EXPECT_EQ(announced(), Tags{1});
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
    EXPECT_TRUE(time.alive().empty());
}

} // namespace
