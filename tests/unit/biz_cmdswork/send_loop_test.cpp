#include <support/test_names.h>

#include "device_channel_fixture.h"

#include <climits>

#include <QtCore/QLocale>

using namespace biz::test;

namespace {

using SendLoop = DeviceChannelTest;
using SendLoopTimeout = DeviceChannelTest;
using SendLoopReport = DeviceChannelTest;
using SendLoopSkipMode = DeviceChannelTest;

// --- The pass itself ------------------------------------------------------------------

TEST_F(SendLoop, ReturnsAtOnceWithoutASleepWhenItsRunFlagIsFalse)
{
    worker.m_bSendRun = false;
    enqueue({1});
    passes(0);
    EXPECT_TRUE(time.hasEnded(sendLoop));
    EXPECT_TRUE(time.sleeps().empty());
    EXPECT_TRUE(announced().empty());
}

TEST_F(SendLoop, EveryPassIsOneSleepOfTenMilliseconds)
{
    passes(3);
    EXPECT_EQ(time.sleeps(), std::vector<SleepRequest>(4, SleepRequest{sendLoop, 0, 10000000}));
}

TEST_F(SendLoop, SleepsBeforeItLooksAtTheQueue)
{
    enqueue({1});
    passes(0);
    EXPECT_TRUE(announced().empty());
    passes(1);
    EXPECT_EQ(announced(), Tags{1});
}

TEST_F(SendLoop, AnInterruptedSleepOnlyMakesThePassComeEarly)
{
    enqueue({1});
    passes(0);
    time.interrupt(sendLoop);
    EXPECT_EQ(announced(), Tags{1});
    EXPECT_EQ(time.now(), nanoseconds(0));
}

TEST_F(SendLoop, WithAnEmptyQueueOnlyCountsPassesUp)
{
    passes(5);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 5);
    biz_CMDSWork::iWatchdogSleepCnt = 0;
    const DeviceChannelGuard nothingElseHasChanged;
    EXPECT_TRUE(journal.lines().empty());
}

// --- The take -------------------------------------------------------------------------

TEST_F(SendLoop, ATakeAnnouncesReportsAndShowsInThisOrder)
{
    enqueue({1, 2, 3});
    passes(1);
    EXPECT_EQ(journal.lines(), (Lines{"signalSendMessage 1", "signalQueueSize 2", "signalSendMessageUipro 1"}));
}

TEST_F(SendLoop, ATakeLeavesOnTheLoopsThreadWithTheAddressOfItsRecordAndNoLockHeld)
{
    enqueue({1});
    passes(1);
    ASSERT_EQ(signals.events().size(), 3U);
    for (const DeviceSignals::Event &event : signals.events()) {
        EXPECT_EQ(event.thread, sendLoop);
        EXPECT_EQ(event.heldLocks, Lines{});
        EXPECT_EQ(event.address, event.signal == "signalQueueSize" ? nullptr : &worker.m_curSend);
    }
}

TEST_F(SendLoop, ATakeClosesTheGateSoThatTheNextCommandWaits)
{
    enqueue({1, 2});
    passes(10);
    EXPECT_EQ(announced(), Tags{1});
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::queueHexCmd.size(), 1U);
}

TEST_F(SendLoop, AnOpenedGateLetsTheNextCommandGoAtTheNextPass)
{
    enqueue({1, 2});
    passes(5);
    setGate(true);
    passes(1);
    EXPECT_EQ(announced(), (Tags{1, 2}));
}

TEST_F(SendLoop, AGateOpenedInsideTheSlotLetsOneCommandGoPerPass)
{
    signals.onEmission([](const DeviceSignals::Event &event) {
        if (event.signal == "signalSendMessage") {
            setGate(true);
        }
    });
    enqueue({1, 2, 3});
    passes(2);
    EXPECT_EQ(announced(), (Tags{1, 2}));
}

TEST_F(SendLoop, TakesOneCommandAPassInTheOrderOfTheQueue)
{
    biz_CMDSWork::nSysPlan = 1;
    enqueue({3, 1, 2});
    passes(1);
    EXPECT_EQ(announced(), Tags{3});
    passes(2);
    EXPECT_EQ(announced(), (Tags{3, 1, 2}));
}

TEST_F(SendLoop, WithASystemPlanCommandsGoBackToBackEachWithItsOwnSequenceByte)
{
    for (const int plan : {1, -1, INT_MIN, 256}) {
        forgetAll();
        biz_CMDSWork::iSN = 1;
        biz_CMDSWork::nSysPlan = plan;
        enqueue({1, 2, 3});
        passes(3);
        std::vector<int> stamps;
        for (const DeviceSignals::Event &event : signals.eventsOf("signalSendMessage")) {
            stamps.push_back(event.record.ucHead[0]);
        }
        EXPECT_EQ(stamps, (std::vector<int>{1, 2, 3})) << "nSysPlan " << plan;
        EXPECT_TRUE(biz_CMDSWork::bRetFlag);
    }
}

TEST_F(SendLoop, WithASystemPlanNothingEverTimesOut)
{
    biz_CMDSWork::nSysPlan = 1;
    enqueue(command(1, 30));
    passes(50);
    EXPECT_EQ(announced(), Tags{1});
    EXPECT_TRUE(messages().empty());
}

struct StampRow
{
    int iSN;
    int stamped;
    int next;
};

class SendLoopStamp : public DeviceChannelTest, public ::testing::WithParamInterface<StampRow>
{
};

TEST_P(SendLoopStamp, IsTheLowByteOfTheSequenceCounterWhichThenCountsOneUp)
{
    biz_CMDSWork::iSN = GetParam().iSN;
    enqueue({1});
    passes(1);
    EXPECT_EQ(signals.events().at(0).record.ucHead[0], GetParam().stamped);
    EXPECT_EQ(worker.m_curSend.ucHead[0], GetParam().stamped);
    EXPECT_EQ(biz_CMDSWork::iSN, GetParam().next);
}

INSTANTIATE_TEST_SUITE_P(Counters, SendLoopStamp,
                         ::testing::Values(StampRow{1, 1, 2}, StampRow{0, 0, 1}, StampRow{255, 255, 256},
                                           StampRow{256, 0, 257}, StampRow{257, 1, 258}, StampRow{-1, 255, 0},
                                           StampRow{INT_MAX, 255, INT_MIN}, StampRow{INT_MIN, 0, INT_MIN + 1}),
                         [](const auto &row) { return biz::test::numberName(row.param.iSN); });

TEST_F(SendLoop, EverythingIsSettledBeforeTheAnnouncement)
{
    biz_CMDSWork::iTimeoutCount = 5;
    biz_CMDSWork::iWatchdogSleepCnt = 7;
    bool seen = false;
    signals.onEmission([&seen](const DeviceSignals::Event &) {
        seen = true;
        EXPECT_EQ(biz_CMDSWork::iSN, 2);
        EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 0);
        EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 0);
        EXPECT_FALSE(biz_CMDSWork::bRetFlag);
        EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
    });
    enqueue({1});
    passes(1);
    EXPECT_TRUE(seen);
}

TEST_F(SendLoop, ThePassOfATakeIsNotCountedAgainstTheCommand)
{
    enqueue({1});
    passes(1);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 0);
    passes(1);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 1);
}

TEST_F(SendLoop, TheQueueIsCountedForTheReportAfterTheAnnouncement)
{
    signals.onEmission([](const DeviceSignals::Event &event) {
        if (event.signal == "signalSendMessage") {
            enqueue({8, 9});
        }
    });
    enqueue({1});
    passes(1);
    EXPECT_EQ(signals.eventsOf("signalQueueSize").at(0).number, 2);
}

TEST_F(SendLoop, TheRecordInFlightStaysUntilTheNextTake)
{
    enqueue({1});
    passes(20);
    EXPECT_EQ(worker.m_curSend.nTag, 1U);
}

// --- The time-out check ---------------------------------------------------------------

TEST_F(SendLoopTimeout, NeverFiresBeforeTheFirstSend)
{
    setGate(false);
    passes(100);
    EXPECT_TRUE(journal.lines().empty());
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 0);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 100);
}

TEST_F(SendLoopTimeout, FiresBeforeTheFirstSendOnlyIfTheSequenceCounterIsZero)
{
    setGate(false);
    biz_CMDSWork::iSN = 0;
    passes(1);
    EXPECT_EQ(announced(), Tags{0});
}

TEST_F(SendLoopTimeout, AWaitOfThreeSecondsIsResentOnPass200AndGivenUp200PassesLater)
{
    putInFlight(1, 3000);
    enqueue({2});
    passes(199);
    EXPECT_TRUE(announced().empty());
    passes(1);
    EXPECT_EQ(announced(), Tags{1});
    passes(199);
    EXPECT_EQ(messages(), Lines{"\"Timeout watchdog resend! iTimeoutCount:1\""});
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    passes(1);
    EXPECT_EQ(messages(), (Lines{"\"Timeout watchdog resend! iTimeoutCount:1\"",
                                 "\"Timeout watchdog resend! iTimeoutCount:2\"", "Resend stop"}));
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(announced(), Tags{1});
    passes(1);
    EXPECT_EQ(announced(), (Tags{1, 2}));
}

TEST_F(SendLoopTimeout, AResendKeepsTheSequenceByteTheCounterAndTheClosedGate)
{
    putInFlight(1, 30);
    passes(2);
    EXPECT_EQ(signals.eventsOf("signalSendMessage").at(0).record.ucHead[0], 1);
    EXPECT_EQ(signals.eventsOf("signalSendMessage").at(0).address, &worker.m_curSend);
    EXPECT_EQ(biz_CMDSWork::iSN, 2);
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 1);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 0);
}

TEST_F(SendLoopTimeout, AResendLeavesOnTheLoopsThreadWithNoLockHeld)
{
    putInFlight(1, 30);
    passes(2);
    ASSERT_EQ(signals.names(), (Lines{"signalInitCore", "signalSendMessage"}));
    for (const DeviceSignals::Event &event : signals.events()) {
        EXPECT_EQ(event.thread, sendLoop);
        EXPECT_EQ(event.heldLocks, Lines{});
    }
}

TEST_F(SendLoopTimeout, TheCountOfPassesIsStillThereDuringTheResendAndZeroAfterIt)
{
    int seen = -1;
    signals.onEmission([&seen](const DeviceSignals::Event &) { seen = biz_CMDSWork::iWatchdogSleepCnt; });
    putInFlight(1, 30);
    passes(2);
    EXPECT_EQ(seen, 2);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 0);
}

TEST_F(SendLoopTimeout, GivingUpOpensTheGateWithoutAResend)
{
    putInFlight(1, 30);
    passes(2);
    forgetAll();
    passes(2);
    EXPECT_EQ(journal.lines(), (Lines{"message \"Timeout watchdog resend! iTimeoutCount:2\"", "message Resend stop"}));
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
}

TEST_F(SendLoopTimeout, WritesItsMessagesOnTheLoopsThreadWithNoLockHeld)
{
    putInFlight(1, 30);
    biz_CMDSWork::iTimeoutCount = 1;
    passes(2);
    ASSERT_EQ(messages().size(), 2U);
    for (const DebugMessage &message : output.messages()) {
        EXPECT_EQ(message.heldLocks, Lines{});
        EXPECT_EQ(message.type, QtDebugMsg);
        EXPECT_EQ(message.thread, sendLoop);
    }
}

TEST_F(SendLoopTimeout, TheCountOfTimeoutsStaysUntilTheNextTake)
{
    putInFlight(1, 30);
    passes(40);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 2);
    enqueue({2});
    passes(1);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 0);
}

TEST_F(SendLoopTimeout, GivingUpDoesNotRestartTheCountOfPasses)
{
    putInFlight(1, 30);
    passes(4);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 2);
}

TEST_F(SendLoopTimeout, ASettledCommandNeverTimesOut)
{
    putInFlight(1, 30);
    setGate(true);
    passes(100);
    EXPECT_TRUE(journal.lines().empty());
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 100);
}

TEST_F(SendLoopTimeout, AClearDuringTheWaitEndsItEvenIfTheGateIsClosedAgain)
{
    putInFlight(1, 30);
    passes(1);
    worker.clearQueue();
    setGate(false);
    forgetAll();
    passes(100);
    EXPECT_TRUE(journal.lines().empty());
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 0);
}

TEST_F(SendLoopTimeout, AClearInsideTheLastSlotOfASendLeavesTheCheckArmed)
{
    signals.onEmission([this](const DeviceSignals::Event &event) {
        if (event.signal == "signalSendMessageUipro") {
            worker.clearQueue();
        }
    });
    putInFlight(1, 30);
    EXPECT_EQ(biz_CMDSWork::iSN, 3);
    setGate(false);
    passes(2);
    EXPECT_EQ(announced(), Tags{1});
}

TEST_F(SendLoopTimeout, IsCheckedWhileCommandsWaitAndWhileNoneDo)
{
    putInFlight(1, 60);
    passes(2);
    enqueue({2});
    passes(1);
    EXPECT_TRUE(announced().empty());
    passes(1);
    EXPECT_EQ(announced(), Tags{1});
}

TEST_F(SendLoopTimeout, ALoopNeverWatchesTheCommandOfAnotherLoop)
{
    putInFlight(1, 30);
    passesOfOther(50);
    EXPECT_TRUE(journal.lines().empty());
}

TEST_F(SendLoopTimeout, AReplyDuringTheResendDelayDoesNotStopTheResend)
{
    putInFlight(1, 30);
    signals.onEmission([](const DeviceSignals::Event &event) {
        if (event.signal == "signalInitCore") {
            setGate(true);
        }
    });
    passes(2);
    EXPECT_EQ(announced(), Tags{1});
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
}

TEST_F(SendLoopTimeout, AnInterruptedResendDelayIsNotTakenUpAgain)
{
    putInFlight(1, 30);
    passes(1);
    time.step(sendLoop); // to the resend delay
    time.interrupt(sendLoop);
    EXPECT_EQ(announced(), Tags{1});
    EXPECT_EQ(time.now(), milliseconds(30));
}

struct WaitLimitRow
{
    int wait;
    int firingPass;
};

class SendLoopWait : public DeviceChannelTest, public ::testing::WithParamInterface<WaitLimitRow>
{
};

TEST_P(SendLoopWait, IsOverOnThePassWhoseCountTimes15ReachesIt)
{
    putInFlight(1, GetParam().wait);
    passes(GetParam().firingPass - 1);
    EXPECT_TRUE(announced().empty());
    passes(1);
    EXPECT_EQ(announced(), Tags{1});
}

INSTANTIATE_TEST_SUITE_P(Waits, SendLoopWait,
                         ::testing::Values(WaitLimitRow{0, 1}, WaitLimitRow{-1, 1}, WaitLimitRow{INT_MIN, 1},
                                           WaitLimitRow{1, 1}, WaitLimitRow{14, 1}, WaitLimitRow{15, 1},
                                           WaitLimitRow{16, 2}, WaitLimitRow{30, 2}, WaitLimitRow{31, 3},
                                           WaitLimitRow{2985, 199}, WaitLimitRow{2986, 200}, WaitLimitRow{3000, 200},
                                           WaitLimitRow{3001, 201}),
                         [](const auto &row) { return biz::test::numberName(row.param.wait); });

TEST_F(SendLoopTimeout, TheLongestWaitIsComparedIn64Bits)
{
    putInFlight(1, INT_MAX);
    biz_CMDSWork::iWatchdogSleepCnt = 143165575; // the next pass makes 2147483640 of it
    passes(1);
    EXPECT_TRUE(announced().empty());
    passes(1); // 2147483655
    EXPECT_EQ(announced(), Tags{1});
}

TEST_F(SendLoopTimeout, TheCountOfPassesWraps)
{
    putInFlight(1, INT_MAX);
    biz_CMDSWork::iWatchdogSleepCnt = INT_MAX;
    passes(1);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, INT_MIN);
    EXPECT_TRUE(announced().empty());
}

struct LimitRow
{
    int counted;
    const char *message;
    bool resends;
};

class SendLoopResendLimit : public DeviceChannelTest, public ::testing::WithParamInterface<LimitRow>
{
};

TEST_P(SendLoopResendLimit, IsTwo)
{
    putInFlight(1, 15);
    biz_CMDSWork::iTimeoutCount = GetParam().counted;
    passes(1);
    EXPECT_EQ(messages().at(0), std::string("\"Timeout watchdog resend! iTimeoutCount:") + GetParam().message + "\"");
    EXPECT_EQ(announced().size(), GetParam().resends ? 1U : 0U);
    EXPECT_EQ(messages().size(), GetParam().resends ? 1U : 2U);
    EXPECT_EQ(biz_CMDSWork::bRetFlag, !GetParam().resends);
}

INSTANTIATE_TEST_SUITE_P(Counts, SendLoopResendLimit,
                         ::testing::Values(LimitRow{0, "1", true}, LimitRow{1, "2", false}, LimitRow{2, "3", false},
                                           LimitRow{9, "10", false}, LimitRow{-2, "-1", true},
                                           LimitRow{INT_MAX, "-2147483648", true}),
                         [](const auto &row) { return biz::test::numberName(row.param.counted); });

TEST_F(SendLoopTimeout, MessagesHaveAsciiDigitsUnderAnyLocale)
{
    const QLocale before;
    QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt));
    putInFlight(1, 15);
    passes(1);
    QLocale::setDefault(before);
    EXPECT_EQ(messages(), Lines{"\"Timeout watchdog resend! iTimeoutCount:1\""});
}

// --- The report of a blocked queue ----------------------------------------------------
// The count of blocked passes belongs to the process, so it stands anywhere at the start of
// a test; any 20 blocked passes in a row contain exactly one report.

TEST_F(SendLoopReport, ComesOnceInTwentyBlockedPassesWithTheNumberThatWaits)
{
    putInFlight(1, longWait);
    enqueue({2, 3, 4});
    passes(20);
    EXPECT_EQ(journal.lines(), Lines{"signalQueueSize 3"});
    passes(80);
    EXPECT_EQ(journal.lines(), Lines(5, "signalQueueSize 3"));
}

TEST_F(SendLoopReport, ComesTwentyPassesAfterTheLast)
{
    putInFlight(1, longWait);
    enqueue({2});
    int sinceLast = 0;
    while (journal.lines().empty() && sinceLast++ < 20) {
        passes(1);
    }
    passes(19);
    EXPECT_EQ(journal.lines().size(), 1U);
    passes(1);
    EXPECT_EQ(journal.lines().size(), 2U);
}

TEST_F(SendLoopReport, CountsOnlyPassesInWhichCommandsWait)
{
    putInFlight(1, longWait);
    enqueue({2});
    passes(13);
    biz_CMDSWork::queueHexCmd = {};
    passes(50);
    enqueue({3});
    passes(7);
    EXPECT_EQ(journal.lines().size(), 1U);
}

TEST_F(SendLoopReport, SharesOneCountAmongAllLoops)
{
    putInFlight(1, longWait);
    enqueue({2});
    passes(10);
    passesOfOther(10);
    EXPECT_EQ(journal.lines(), Lines{"signalQueueSize 1"});
}

TEST_F(SendLoopReport, LeavesOnTheLoopsThreadWithNoLockHeld)
{
    putInFlight(1, longWait);
    enqueue({2});
    passes(20);
    EXPECT_EQ(signals.events().at(0).thread, sendLoop);
    EXPECT_EQ(signals.events().at(0).heldLocks, Lines{});
}

TEST_F(SendLoopReport, ABlockedPassCountsAgainstTheCommandInFlightAsWell)
{
    putInFlight(1, longWait);
    enqueue({2});
    passes(3);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 3);
}

// --- Skip mode ------------------------------------------------------------------------

TEST_F(SendLoopSkipMode, DestroysEveryCommandUnsentAtTheNextPass)
{
    worker.setSkipSendcmd(true);
    enqueue({1, 2, 3});
    passes(1);
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
    const DeviceChannelGuard nothingElseHasChanged; // the time-out check is left out as well
    EXPECT_TRUE(journal.lines().empty());
}

TEST_F(SendLoopSkipMode, DestroysThemBehindAClosedGateToo)
{
    worker.setSkipSendcmd(true);
    setGate(false);
    enqueue({1, 2});
    passes(1);
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
}

TEST_F(SendLoopSkipMode, FreesTheRecordsPayloads)
{
    const QByteArray payload(100, 'x');
    model_Protocoldata record = command(1);
    record.baData = payload;
    worker.setSkipSendcmd(true);
    enqueue(record);
    record.baData.clear();
    EXPECT_FALSE(payload.isDetached());
    passes(1);
    EXPECT_TRUE(payload.isDetached());
}

TEST_F(SendLoopSkipMode, StillWatchesTheCommandInFlightWhileTheQueueIsEmpty)
{
    putInFlight(1, 30);
    worker.setSkipSendcmd(true);
    passes(2);
    EXPECT_EQ(announced(), Tags{1});
}

TEST_F(SendLoopSkipMode, EndsWithTheNextPassAfterItIsSwitchedOff)
{
    worker.setSkipSendcmd(true);
    enqueue({1});
    passes(1);
    worker.setSkipSendcmd(false);
    enqueue({2});
    passes(1);
    EXPECT_EQ(announced(), Tags{2});
    EXPECT_EQ(signals.events().at(0).record.ucHead[0], 1);
}

} // namespace
