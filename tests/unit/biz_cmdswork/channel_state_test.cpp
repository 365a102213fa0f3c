#include <support/test_names.h>

#include "device_channel_fixture.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <new>

using namespace biz::test;

namespace {

using ChannelState = DeviceChannelTest;

// Each test has a process of its own under CTest, so these are the values of a fresh one.
TEST(ChannelStateOfAFreshProcess, HasItsTabledValues)
{
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
    EXPECT_TRUE(biz_CMDSWork::receivequeueHexCmd.empty());
    EXPECT_TRUE(biz_CMDSWork::ListCMDS.isEmpty());
    EXPECT_EQ(biz_CMDSWork::deviceType, -1);
    EXPECT_EQ(biz_CMDSWork::iSN, 1);
    EXPECT_EQ(biz_CMDSWork::iTimeout, 6000);
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
    EXPECT_TRUE(biz_CMDSWork::iTimeDisplayToUI);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 0);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 0);
    EXPECT_EQ(biz_CMDSWork::nSysPlan, 0);
    EXPECT_TRUE(heldOf(deviceChannelLocks()).empty());
}

TEST_F(ChannelState, AFreshObjectHasNoParentSendsAndHoldsEmptyRecords)
{
    const biz_CMDSWork fresh;
    EXPECT_EQ(fresh.parent(), nullptr);
    EXPECT_FALSE(fresh.m_bSkipSendcmd);
    EXPECT_EQ(fresh.m_curSend.iWaitTime, 0);
    EXPECT_TRUE(fresh.m_curRecv.baData.isEmpty());
}

/** Whether a worker made in memory full of that byte has it in both run flags. */
bool runFlagsAreLeftAs(uchar byte)
{
    alignas(biz_CMDSWork) uchar memory[sizeof(biz_CMDSWork)];
    std::memset(memory, byte, sizeof memory);
    auto *made = new (memory) biz_CMDSWork;
    // Looked at as bytes: a flag that nobody has set has no value to be read.
    uchar flags[2];
    std::memcpy(&flags[0], &made->m_bSendRun, 1);
    std::memcpy(&flags[1], &made->m_bRecvRun, 1);
    made->~biz_CMDSWork();
    return flags[0] == byte && flags[1] == byte;
}

TEST_F(ChannelState, TheConstructorLeavesTheRunFlagsAsTheMemoryWas)
{
    EXPECT_TRUE(runFlagsAreLeftAs(0)) << "a flag is set";
    EXPECT_TRUE(runFlagsAreLeftAs(1)) << "a flag is cleared";
}

TEST_F(ChannelState, TheConstructorStartsNoThreadAndTouchesNoSharedState)
{
    const biz_CMDSWork fresh;
    EXPECT_EQ(time.threadCount(), 0);
    const DeviceChannelGuard stillFresh;
}

TEST_F(ChannelState, TheDestructorClearsBothRunFlags)
{
    auto *doomed = new biz_CMDSWork;
    doomed->m_bSendRun = true;
    doomed->m_bRecvRun = true;
    const bool *sendFlag = &doomed->m_bSendRun;
    const bool *receiveFlag = &doomed->m_bRecvRun;
    bool sendRun = true;
    bool receiveRun = true;
    // The base class's part of the destruction reports it, after the worker's own part.
    QObject::connect(doomed, &QObject::destroyed, [&sendRun, &receiveRun, sendFlag, receiveFlag] {
        sendRun = *sendFlag;
        receiveRun = *receiveFlag;
    });
    delete doomed;
    EXPECT_FALSE(sendRun);
    EXPECT_FALSE(receiveRun);
}

TEST_F(ChannelState, SetSkipSendcmdStoresItsArgumentInItsOwnObjectOnly)
{
    const biz_CMDSWork other;
    worker.setSkipSendcmd(true);
    EXPECT_TRUE(worker.m_bSkipSendcmd);
    EXPECT_FALSE(other.m_bSkipSendcmd);
    worker.setSkipSendcmd(false);
    EXPECT_FALSE(worker.m_bSkipSendcmd);
}

TEST_F(ChannelState, SetSkipSendcmdTakesNoLock)
{
    const std::lock_guard<std::mutex> sendLock(biz_CMDSWork::HexCmdlock);
    const std::lock_guard<std::mutex> receiveLock(biz_CMDSWork::receiveHexCmdlock);
    const auto host = time.start("host", [this] { worker.setSkipSendcmd(true); });
    EXPECT_TRUE(time.hasEnded(host));
}

TEST_F(ChannelState, ARunFlagClearedDuringASleepLetsThePassFinish)
{
    enqueue({1, 2});
    passes(0);
    worker.m_bSendRun = false;
    passes(1);
    EXPECT_EQ(announced(), Tags{1});
    EXPECT_TRUE(time.hasEnded(sendLoop));
}

TEST_F(ChannelState, AChangeOfTheSystemPlanTakesEffectAtTheNextPass)
{
    enqueue({1, 2, 3});
    passes(2);
    EXPECT_EQ(announced(), Tags{1});
    setGate(true);
    biz_CMDSWork::nSysPlan = 1;
    passes(2);
    EXPECT_EQ(announced(), (Tags{1, 2, 3}));
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
}

TEST_F(ChannelState, TwoObjectsShareTheQueueButNotTheirRecordsAndFlags)
{
    enqueue({1, 2});
    passes(1);
    setGate(true);
    passesOfOther(1);
    EXPECT_EQ(worker.m_curSend.nTag, 1U);
    EXPECT_EQ(otherWorker.m_curSend.nTag, 2U);
    EXPECT_EQ(otherWorker.m_curSend.ucHead[0], 2); // one sequence counter for both
    worker.m_bSendRun = false;
    passes(1);
    EXPECT_TRUE(time.hasEnded(sendLoop));
    EXPECT_FALSE(time.hasEnded(otherSendLoop));
}

TEST_F(ChannelState, WhatIsOnlyOfferedToTheHostIsLeftAlone)
{
    biz_CMDSWork::ListCMDS.append(command(9));
    biz_CMDSWork::iTimeout = 1;
    biz_CMDSWork::iTimeDisplayToUI = false;
    enqueue(command(1, 30));
    passes(10);
    pushReply(acceptedReply(1));
    receivePasses(1);
    worker.clearQueue();
    EXPECT_EQ(biz_CMDSWork::ListCMDS.size(), 1);
    EXPECT_EQ(biz_CMDSWork::iTimeout, 1);
    EXPECT_FALSE(biz_CMDSWork::iTimeDisplayToUI);
}

// --- setWatchdogSleepTime -------------------------------------------------------------

struct WaitRow
{
    int wait;
    long seconds;
    long nanoseconds;
    int result;
};

class WatchdogSleep : public DeviceChannelTest, public ::testing::WithParamInterface<WaitRow>
{
};

TEST_P(WatchdogSleep, IsOneRequestOfExactlyTheWaitTime)
{
    const WaitRow row = GetParam();
    worker.m_curSend.iWaitTime = row.wait;
    EXPECT_EQ(worker.setWatchdogSleepTime(), row.result);
    EXPECT_EQ(time.sleeps(), (std::vector<SleepRequest>{{testThread, row.seconds, row.nanoseconds}}));
}

INSTANTIATE_TEST_SUITE_P(Waits, WatchdogSleep,
                         ::testing::Values(WaitRow{2500, 2, 500000000, 0}, WaitRow{999, 0, 999000000, 0},
                                           WaitRow{1000, 1, 0, 0}, WaitRow{1, 0, 1000000, 0}, WaitRow{0, 0, 0, 0},
                                           WaitRow{INT_MAX, 2147483, 647000000, 0}, WaitRow{-1, 0, -1000000, -1},
                                           WaitRow{-1000, -1, 0, -1}, WaitRow{-2500, -2, -500000000, -1},
                                           WaitRow{INT_MIN, -2147483, -648000000, -1}),
                         [](const auto &row) { return biz::test::numberName(row.param.wait); });

TEST_F(ChannelState, AnInterruptedWatchdogSleepReturnsEarlyAndIsNotTakenUpAgain)
{
    worker.m_curSend.iWaitTime = 2500;
    time.interruptNextOwnSleep();
    EXPECT_EQ(worker.setWatchdogSleepTime(), -1);
    EXPECT_EQ(time.sleeps().size(), 1U);
}

TEST_F(ChannelState, ANegativeWatchdogSleepTakesNoTime)
{
    worker.m_curSend.iWaitTime = -2500;
    worker.setWatchdogSleepTime();
    EXPECT_EQ(time.now(), nanoseconds(0));
}

} // namespace
