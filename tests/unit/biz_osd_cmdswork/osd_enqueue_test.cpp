// addToSendQueue(): filing a command for the device that it names.

#include "osd_channel_fixture.h"

using namespace osd_test;

namespace {

class OsdEnqueue : public OsdChannel
{
};

TEST_F(OsdEnqueue, FirstCommandOfADeviceMakesItsSlotWithTheFlagTrue)
{
    Channel::addToSendQueue(record(deviceA, 1));

    EXPECT_EQ(Channel::m_qsIp, QVector<QString>{deviceA});
    ASSERT_EQ(Channel::queueHexCmd.size(), 1);
    EXPECT_EQ(waitingTags(0), Tags{1});
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}}));
}

TEST_F(OsdEnqueue, CommandsOfOneDeviceWaitInTheOrderOfTheCalls)
{
    enqueue({{deviceA, 1}, {deviceA, 2}, {deviceA, 3}});

    EXPECT_EQ(Channel::m_qsIp.size(), 1);
    ASSERT_EQ(Channel::queueHexCmd.size(), 1);
    EXPECT_EQ(waitingTags(0), (Tags{1, 2, 3}));
}

TEST_F(OsdEnqueue, EachDeviceHasItsOwnQueueAtTheIndexOfItsIp)
{
    enqueue({{deviceB, 1}, {deviceA, 2}, {deviceB, 3}});

    EXPECT_EQ(Channel::m_qsIp, (QVector<QString>{deviceB, deviceA}));
    ASSERT_EQ(Channel::queueHexCmd.size(), 2);
    EXPECT_EQ(waitingTags(0), (Tags{1, 3}));
    EXPECT_EQ(waitingTags(1), Tags{2});
}

TEST_F(OsdEnqueue, EveryFieldOfTheCommandIsStored)
{
    Channel::addToSendQueue(fullRecord(deviceA));
    Channel::addToSendQueue(fullRecord(deviceA));

    EXPECT_TRUE(Channel::queueHexCmd.at(0).front() == fullRecord(deviceA)) << "filed for a new device";
    EXPECT_TRUE(Channel::queueHexCmd.at(0).back() == fullRecord(deviceA)) << "filed for a known device";
}

TEST_F(OsdEnqueue, KnownFreeDeviceWithAnEmptyQueueKeepsItsFlagTrue)
{
    Channel::addToSendQueue(record(deviceA, 1));
    Channel::queueHexCmd[0].pop();

    Channel::addToSendQueue(record(deviceA, 2));

    EXPECT_EQ(waitingTags(0), Tags{2});
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}}));
}

TEST_F(OsdEnqueue, KnownDeviceThatAwaitsAReplyKeepsItsFlagFalse)
{
    Channel::addToSendQueue(record(deviceA, 1));
    Channel::m_bRetFlag[deviceA] = false;

    Channel::addToSendQueue(record(deviceA, 2));

    EXPECT_EQ(waitingTags(0), (Tags{1, 2}));
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}}));
}

TEST_F(OsdEnqueue, KnownDeviceWithoutAFlagGetsNone)
{
    Channel::addToSendQueue(record(deviceA, 1));
    Channel::m_bRetFlag.clear();

    Channel::addToSendQueue(record(deviceA, 2));

    EXPECT_TRUE(Channel::m_bRetFlag.isEmpty());
}

TEST_F(OsdEnqueue, RegisteringADeviceOverwritesAFlagLeftBehind)
{
    Channel::m_bRetFlag[deviceA] = false;

    Channel::addToSendQueue(record(deviceA, 1));

    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, true}}));
}

TEST_F(OsdEnqueue, RegisteringADeviceLeavesTheOthersAlone)
{
    Channel::addToSendQueue(record(deviceA, 1));
    Channel::m_bRetFlag[deviceA] = false;

    Channel::addToSendQueue(record(deviceB, 2));

    EXPECT_EQ(waitingTags(0), Tags{1});
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{deviceA, false}, {deviceB, true}}));
}

TEST_F(OsdEnqueue, IpTextsThatDifferInAnyCharacterAreDifferentDevices)
{
    const QStringList texts{deviceA,
                            deviceA + QLatin1Char(' '),
                            QLatin1Char(' ') + deviceA,
                            QStringLiteral("10.0.0.01"),
                            QStringLiteral("fe80::a"),
                            QStringLiteral("FE80::A"),
                            QString()};
    for (const QString &text : texts) {
        Channel::addToSendQueue(record(text));
    }

    EXPECT_EQ(Channel::m_qsIp, texts.toVector());
    EXPECT_EQ(Channel::queueHexCmd.size(), texts.size());
    EXPECT_EQ(Channel::m_bRetFlag.size(), texts.size());
}

TEST_F(OsdEnqueue, EmptyIpIsADeviceLikeAnyOther)
{
    Channel::addToSendQueue(record(QString(), 1));
    Channel::addToSendQueue(record(QStringLiteral(""), 2));

    EXPECT_EQ(Channel::m_qsIp, QVector<QString>{QString()});
    EXPECT_EQ(waitingTags(0), (Tags{1, 2}));
    EXPECT_EQ(Channel::m_bRetFlag, (Flags{{QString(), true}}));
}

TEST_F(OsdEnqueue, IpListedTwiceIsFoundAtItsFirstIndex)
{
    Channel::m_qsIp = {deviceB, deviceA, deviceA};
    Channel::queueHexCmd.resize(3);

    Channel::addToSendQueue(record(deviceA, 1));

    EXPECT_EQ(waitingTags(1), Tags{1});
    EXPECT_EQ(waitingTags(2), Tags{});
}

TEST_F(OsdEnqueue, CommandForTheLastSlotWithAQueueIsKept)
{
    Channel::m_qsIp = {deviceB, deviceA};
    Channel::queueHexCmd.resize(2);

    Channel::addToSendQueue(record(deviceA, 1));

    EXPECT_EQ(waitingTags(1), Tags{1});
}

TEST_F(OsdEnqueue, CommandForTheFirstSlotWithoutAQueueIsDropped)
{
    Channel::m_qsIp = {deviceB, deviceA};
    Channel::queueHexCmd.resize(1);
    TraceRecorder recorder;

    Channel::addToSendQueue(record(deviceA, 1));

    ASSERT_EQ(Channel::queueHexCmd.size(), 1);
    EXPECT_EQ(waitingTags(0), Tags{});
    EXPECT_EQ(Channel::m_qsIp.size(), 2);
    EXPECT_TRUE(Channel::m_bRetFlag.isEmpty());
    EXPECT_EQ(recorder.texts(),
              (QStringList{"addToSendQueue:", "AddToSendQueue1:HexCmdlock", "AddToSendQueue1:HexCmdlock:leave"}));
}

TEST_F(OsdEnqueue, QueueOfANewDeviceJoinsTheEndEvenWhenTheListsAreOutOfStep)
{
    Channel::m_qsIp = {deviceB};

    Channel::addToSendQueue(record(deviceA, 1));

    EXPECT_EQ(Channel::m_qsIp, (QVector<QString>{deviceB, deviceA}));
    ASSERT_EQ(Channel::queueHexCmd.size(), 1);
    EXPECT_EQ(waitingTags(0), Tags{1});
}

TEST_F(OsdEnqueue, TracesOfANewDeviceMarkRegistrationAndCompletionInsideTheLock)
{
    TraceRecorder recorder;

    Channel::addToSendQueue(record(deviceA));

    const std::vector<Trace> expected{
        {"addToSendQueue:", noLock, 0, 0, 0, 0},
        {"AddToSendQueue2:HexCmdlock", hexCmdlock, 1, 0, 0, 0},
        {"AddToSendQueue2:HexCmdlock:leave", hexCmdlock, 1, 1, 1, 1},
    };
    EXPECT_EQ(recorder.traces, expected);
}

TEST_F(OsdEnqueue, TracesOfAKnownDeviceMarkTheStepBeforeAndAfterThePushInsideTheLock)
{
    Channel::addToSendQueue(record(deviceA));
    TraceRecorder recorder;

    Channel::addToSendQueue(record(deviceA));

    const std::vector<Trace> expected{
        {"addToSendQueue:", noLock, 1, 1, 1, 1},
        {"AddToSendQueue1:HexCmdlock", hexCmdlock, 1, 1, 1, 1},
        {"AddToSendQueue1:HexCmdlock:leave", hexCmdlock, 1, 1, 2, 1},
    };
    EXPECT_EQ(recorder.traces, expected);
}

TEST_F(OsdEnqueue, EnqueueLeavesTheReplyQueueAlone)
{
    Channel::receivequeueHexCmd.push(record(deviceA, 9));

    Channel::addToSendQueue(record(deviceA, 1));

    EXPECT_EQ(replyTags(), Tags{9});
}

TEST_F(OsdEnqueue, NeitherDevicesNorCommandsAreLimited)
{
    for (quint32 i = 0; i < 5000; ++i) {
        Channel::addToSendQueue(record(QString::number(i % 500), i));
    }

    EXPECT_EQ(Channel::m_qsIp.size(), 500);
    EXPECT_EQ(Channel::queueHexCmd.at(499).size(), 10U);
    EXPECT_EQ(Channel::queueHexCmd.at(499).back().nTag, 4999U);
}

} // namespace
