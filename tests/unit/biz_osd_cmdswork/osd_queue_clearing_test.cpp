// clearQueue(): forgetting every device and every command.

#include "osd_channel_fixture.h"

using namespace osd_test;
using Channel = biz_Osd_CMDSWork;
using Tags = std::vector<quint32>;

namespace {

const QString deviceA = QStringLiteral("10.0.0.1");
const QString deviceB = QStringLiteral("10.0.0.2");

/** A channel with two devices: A awaits a reply while commands wait, B is free. */
class OsdClearing : public OsdChannel
{
protected:
    OsdClearing()
    {
        Channel::addToSendQueue(record(deviceA, 1));
        Channel::addToSendQueue(record(deviceA, 2));
        Channel::addToSendQueue(record(deviceB, 3));
        Channel::m_bRetFlag[deviceA] = false;
        noteDispatch(worker);
    }

    static void noteDispatch(biz_Osd_CMDSWork &to)
    {
        to.m_mapCurSend[deviceA] = record(deviceA, 9);
        to.m_mapSendTime[deviceA] = 1000;
    }

    biz_Osd_CMDSWork worker;
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
    biz_Osd_CMDSWork other;
    noteDispatch(other);

    worker.clearQueue();

    EXPECT_EQ(other.m_mapCurSend.value(deviceA).nTag, 9U);
    EXPECT_EQ(other.m_mapSendTime.value(deviceA), 1000U);
}

TEST_F(OsdClearing, QueuedRepliesAreKept)
{
    Channel::addToReceiveQueue(record(deviceA, 4));
    Channel::addToReceiveQueue(record(deviceB, 5));

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
    EXPECT_EQ(Channel::m_bRetFlag, (QMap<QString, bool>{{deviceA, true}}));
}

} // namespace
