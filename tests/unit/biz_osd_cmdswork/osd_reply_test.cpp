// setRetFlag() and addToReceiveQueue(): what came back from a device.

#include "osd_channel_fixture.h"

using namespace osd_test;

namespace {

class OsdReply : public OsdChannel
{
};

TEST_F(OsdReply, SettingADeviceTrueFreesItAndFalseHoldsItWhateverItWas)
{
    for (const bool before : {false, true}) {
        for (const bool given : {false, true}) {
            Channel::m_bRetFlag = {{deviceA, before}, {deviceB, before}};

            Channel::setRetFlag(deviceA, given);

            EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, given}, {deviceB, before}}));
        }
    }
}

TEST_F(OsdReply, SettingAnUnknownIpTrueOrFalseMakesNoEntry)
{
    Channel::m_bRetFlag = {{deviceA, false}};

    Channel::setRetFlag(deviceB, true);
    Channel::setRetFlag(deviceB, false);
    Channel::setRetFlag(QString(), true);

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}}));
}

TEST_F(OsdReply, IpTextIsComparedExactly)
{
    Channel::m_bRetFlag = {{QStringLiteral("fe80::a"), false}};

    Channel::setRetFlag(QStringLiteral("FE80::A"), true);
    Channel::setRetFlag(QStringLiteral("fe80::a "), true);
    Channel::setRetFlag(QStringLiteral(" fe80::a"), true);

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{QStringLiteral("fe80::a"), false}}));
}

TEST_F(OsdReply, FlagOfTheEmptyIpCanBeSet)
{
    Channel::m_bRetFlag = {{QString(), false}};

    Channel::setRetFlag(QString(), true);

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{QString(), true}}));
}

TEST_F(OsdReply, FlagIsSetByTheFlagMapAloneWhetherOrNotASlotExists)
{
    Channel::m_bRetFlag = {{deviceA, false}};
    ASSERT_TRUE(Channel::m_qsIp.isEmpty());

    Channel::setRetFlag(deviceA, true);

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}}));
    EXPECT_TRUE(Channel::m_qsIp.isEmpty());
}

TEST_F(OsdReply, FirstTraceStandsInsideTheLockAndTheLeaveTextOutside)
{
    Channel::m_bRetFlag = {{deviceA, false}};
    TraceRecorder recorder;

    Channel::setRetFlag(deviceA, true);

    const std::vector<Trace> expected{
        {"setRetFlag:HexCmdlock", hexCmdlock, 0, 0, 0, 1},
        {"setRetFlag:HexCmdlock:leave", noLock, 0, 0, 0, 1},
    };
    EXPECT_EQ(recorder.traces, expected);
}

TEST_F(OsdReply, FirstTraceIsWrittenBeforeTheFlagChanges)
{
    Channel::m_bRetFlag = {{deviceA, false}};
    std::vector<bool> flags;
    TraceRecorder recorder([&] { flags.push_back(Channel::m_bRetFlag.value(deviceA)); });

    Channel::setRetFlag(deviceA, true);

    EXPECT_EQ(flags, (std::vector<bool>{false, true}));
}

TEST_F(OsdReply, UnknownIpWritesBothTraces)
{
    TraceRecorder recorder;

    Channel::setRetFlag(deviceA, true);

    EXPECT_EQ(recorder.texts(), (QStringList{"setRetFlag:HexCmdlock", "setRetFlag:HexCmdlock:leave"}));
}

TEST_F(OsdReply, ReplyFreesItsDeviceAndIsQueued)
{
    Channel::m_bRetFlag = {{deviceA, false}, {deviceB, false}};

    Channel::addToReceiveQueue(record(deviceA, 7));

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}, {deviceB, false}}));
    EXPECT_EQ(replyTags(), Tags{7});
}

TEST_F(OsdReply, ReplyIsQueuedOnlyAfterItsDeviceIsFree)
{
    Channel::m_bRetFlag = {{deviceA, false}};
    std::vector<std::size_t> replies;
    TraceRecorder recorder([&] { replies.push_back(Channel::receivequeueHexCmd.size()); });

    Channel::addToReceiveQueue(record(deviceA, 7));

    EXPECT_EQ(replies, (std::vector<std::size_t>{0, 0})) << "at the two traces of setRetFlag";
    EXPECT_EQ(replyTags(), Tags{7});
}

TEST_F(OsdReply, ReplyWritesTheTracesOfSetRetFlagAndNoneOfItsOwn)
{
    Channel::m_bRetFlag = {{deviceA, false}};
    TraceRecorder recorder;

    Channel::addToReceiveQueue(record(deviceA, 7));

    const std::vector<Trace> expected{
        {"setRetFlag:HexCmdlock", hexCmdlock, 0, 0, 0, 1},
        {"setRetFlag:HexCmdlock:leave", noLock, 0, 0, 0, 1},
    };
    EXPECT_EQ(recorder.traces, expected);
}

TEST_F(OsdReply, ReplyFromAnUnknownIpIsQueuedAndOpensNothing)
{
    Channel::addToReceiveQueue(record(deviceA, 7));

    EXPECT_TRUE(Channel::m_bRetFlag.isEmpty());
    EXPECT_TRUE(Channel::m_qsIp.isEmpty());
    EXPECT_EQ(replyTags(), Tags{7});
}

TEST_F(OsdReply, LateReplyFromAFreeDeviceChangesNoFlagAndIsQueued)
{
    Channel::m_bRetFlag = {{deviceA, true}};

    Channel::addToReceiveQueue(record(deviceA, 7));

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}}));
    EXPECT_EQ(replyTags(), Tags{7});
}

TEST_F(OsdReply, TwoRepliesToOneCommandAreBothQueuedInTheOrderOfTheirArrival)
{
    Channel::m_bRetFlag = {{deviceA, false}};

    receive({{deviceA, 2}, {deviceA, 1}});

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}}));
    EXPECT_EQ(replyTags(), (Tags{2, 1}));
}

TEST_F(OsdReply, RepliesOfAllDevicesShareOneQueue)
{
    receive({{deviceA, 1}, {deviceB, 2}, {deviceA, 3}});

    EXPECT_EQ(replyTags(), (Tags{1, 2, 3}));
}

TEST_F(OsdReply, EveryFieldOfTheReplyIsQueued)
{
    Channel::addToReceiveQueue(fullRecord(deviceA));

    EXPECT_TRUE(Channel::receivequeueHexCmd.front() == fullRecord(deviceA));
}

TEST_F(OsdReply, ReplyLeavesTheWaitingCommandsAlone)
{
    Channel::addToSendQueue(record(deviceA, 1));

    Channel::addToReceiveQueue(record(deviceA, 2));

    EXPECT_EQ(waitingTags(0), Tags{1});
}

} // namespace
