// clearQueue(): forgetting every device and every command.

#include "osd_channel_fixture.h"

using namespace osd_test;

namespace {

/** A channel with two devices: A awaits a reply while commands wait, B is free. */
class OsdClearing : public OsdChannel
{
protected:
    OsdClearing()
    {
        enqueue({{deviceA, 1}, {deviceA, 2}, {deviceB, 3}});
        Channel::m_bRetFlag[deviceA] = false;
        noteDispatch(worker);
    }

    static void noteDispatch(Channel &to)
    {
        to.m_mapCurSend[deviceA] = record(deviceA, 9);
        to.m_mapSendTime[deviceA] = 1000;
    }

    Channel worker;
};

TEST_F(OsdClearing, EveryDeviceCommandAndFlagIsForgotten)
{
    worker.clearQueue();

    EXPECT_TRUE(Channel::m_qsIp.isEmpty());
    EXPECT_TRUE(Channel::queueHexCmd.isEmpty());
    EXPECT_TRUE(Channel::m_bRetFlag.isEmpty());
}

TEST_F(OsdClearing, WhatThisObjectSentIsForgotten)
{
    worker.clearQueue();

    EXPECT_TRUE(worker.m_mapCurSend.isEmpty());
    EXPECT_TRUE(worker.m_mapSendTime.isEmpty());
}

TEST_F(OsdClearing, WhatAnotherObjectSentIsKept)
{
    Channel other;
    noteDispatch(other);

    worker.clearQueue();

    EXPECT_EQ(other.m_mapCurSend.value(deviceA).nTag, 9U);
    EXPECT_EQ(other.m_mapSendTime.value(deviceA), 1000U);
}

TEST_F(OsdClearing, QueuedRepliesAreKept)
{
    receive({{deviceA, 4}, {deviceB, 5}});

    worker.clearQueue();

    EXPECT_EQ(replyTags(), (Tags{4, 5}));
}

TEST_F(OsdClearing, RunFlagsAreLeftAlone)
{
    worker.clearQueue();
    EXPECT_TRUE(worker.m_bSendRun);
    EXPECT_TRUE(worker.m_bRecvRun);

    worker.m_bSendRun = false;
    worker.m_bRecvRun = false;
    worker.clearQueue();
    EXPECT_FALSE(worker.m_bSendRun);
    EXPECT_FALSE(worker.m_bRecvRun);
}

TEST_F(OsdClearing, FirstTraceFollowsTheDeviceListInsideTheLockAndTheLeaveTextStandsOutside)
{
    std::vector<qsizetype> sent;
    TraceRecorder recorder([&] { sent.push_back(worker.m_mapCurSend.size() + worker.m_mapSendTime.size()); });

    worker.clearQueue();

    const std::vector<Trace> expected{
        {"clearQueue:HexCmdlock", hexCmdlock, 0, 2, 3, 2},
        {"clearQueue:HexCmdlock:leave", noLock, 0, 0, 0, 0},
    };
    EXPECT_EQ(recorder.traces, expected);
    EXPECT_EQ(sent, (std::vector<qsizetype>{2, 0}));
}

TEST_F(OsdClearing, ClearingAnEmptyChannelIsHarmlessAndWritesBothTraces)
{
    worker.clearQueue();
    TraceRecorder recorder;

    worker.clearQueue();

    const std::vector<Trace> expected{
        {"clearQueue:HexCmdlock", hexCmdlock, 0, 0, 0, 0},
        {"clearQueue:HexCmdlock:leave", noLock, 0, 0, 0, 0},
    };
    EXPECT_EQ(recorder.traces, expected);
}

TEST_F(OsdClearing, ReplyForAForgottenDeviceOpensNothing)
{
    worker.clearQueue();

    Channel::setRetFlag(deviceA, true);

    EXPECT_TRUE(Channel::m_bRetFlag.isEmpty());
}

TEST_F(OsdClearing, ForgottenDeviceIsRegisteredAfreshWithTheFlagTrue)
{
    worker.clearQueue();

    Channel::addToSendQueue(record(deviceA, 6));

    EXPECT_EQ(Channel::m_qsIp, QVector<QString>{deviceA});
    EXPECT_EQ(waitingTags(0), Tags{6});
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}}));
}

} // namespace
