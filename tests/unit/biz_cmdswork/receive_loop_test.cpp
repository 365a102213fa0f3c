#include "device_channel_fixture.h"

#include <mutex>

#include <QtCore/QDir>
#include <QtCore/QFile>

using namespace biz::test;

namespace {

class ReceiveLoop : public DeviceChannelTest
{
protected:
    /** All lines of the error log, of whatever day. */
    QList<QByteArray> logLines() const
    {
        QList<QByteArray> lines;
        const QDir log(folder.path(QStringLiteral("Errorlog")));
        for (const QString &name : log.entryList(QDir::Files)) {
            QFile file(log.filePath(name));
            EXPECT_TRUE(file.open(QIODevice::ReadOnly));
            while (!file.atEnd()) {
                lines.append(file.readLine());
            }
        }
        return lines;
    }

    std::vector<int> accepted() const { return signals.tagsOf("signalSendReceiveMessage"); }
};

TEST_F(ReceiveLoop, ReturnsAtOnceWithoutASleepWhenItsRunFlagIsFalse)
{
    worker.m_bRecvRun = false;
    pushReply(acceptedReply(1));
    receivePasses(0);
    EXPECT_TRUE(time.hasEnded(receiveLoop));
    EXPECT_TRUE(time.sleeps().empty());
    EXPECT_EQ(biz_CMDSWork::receivequeueHexCmd.size(), 1U);
}

TEST_F(ReceiveLoop, EveryPassIsOneSleepOfFiveMilliseconds)
{
    receivePasses(3);
    EXPECT_EQ(time.sleeps(), std::vector<SleepRequest>(4, SleepRequest{receiveLoop, 0, 5000000}));
}

TEST_F(ReceiveLoop, AnInterruptedSleepOnlyMakesThePassComeEarly)
{
    pushReply(acceptedReply(1));
    receivePasses(0);
    time.interrupt(receiveLoop);
    EXPECT_EQ(accepted(), Tags{1});
    EXPECT_EQ(time.now(), nanoseconds(0));
}

TEST_F(ReceiveLoop, ARunFlagClearedDuringASleepLetsThePassFinish)
{
    pushReply(acceptedReply(1));
    receivePasses(0);
    EXPECT_TRUE(accepted().empty());
    worker.m_bRecvRun = false;
    receivePasses(1);
    EXPECT_EQ(accepted(), Tags{1});
    EXPECT_TRUE(time.hasEnded(receiveLoop));
}

TEST_F(ReceiveLoop, ThreeRepliesAreAnnouncedOnThreePassesInTheirOrder)
{
    for (const int tag : {3, 1, 2}) {
        pushReply(acceptedReply(tag));
    }
    receivePasses(1);
    EXPECT_EQ(accepted(), Tags{3});
    receivePasses(1);
    EXPECT_EQ(accepted(), (Tags{3, 1}));
    receivePasses(1);
    EXPECT_EQ(accepted(), (Tags{3, 1, 2}));
    EXPECT_TRUE(biz_CMDSWork::receivequeueHexCmd.empty());
}

TEST_F(ReceiveLoop, AnAnnouncementLeavesOnItsThreadWithTheAddressOfItsRecordAndNoLockHeld)
{
    pushReply(acceptedReply(1));
    receivePasses(1);
    ASSERT_EQ(journal.lines(), Lines{"signalSendReceiveMessage 1"});
    EXPECT_EQ(signals.events().at(0).address, &worker.m_curRecv);
    EXPECT_EQ(signals.events().at(0).thread, receiveLoop);
    EXPECT_EQ(signals.events().at(0).heldLocks, Lines{});
}

TEST_F(ReceiveLoop, AnEmptyQueueLeavesTheLastReplyInPlace)
{
    pushReply(acceptedReply(1));
    receivePasses(5);
    EXPECT_EQ(worker.m_curRecv.nTag, 1U);
    EXPECT_EQ(accepted(), Tags{1});
}

TEST_F(ReceiveLoop, AnUnknownDeviceTypeAcceptsEverything)
{
    pushReply(refusedReply(1));
    receivePasses(1);
    EXPECT_EQ(accepted(), Tags{1});
    EXPECT_FALSE(QFile::exists(folder.path(QStringLiteral("Errorlog"))));
}

TEST_F(ReceiveLoop, ARefusedReplyIsLoggedOnceNotAnnouncedAndStaysInPlace)
{
    biz_CMDSWork::deviceType = typeOfRefusedReply;
    pushReply(refusedReply(1));
    receivePasses(1);
    EXPECT_TRUE(journal.lines().empty());
    ASSERT_EQ(logLines().size(), 1);
    EXPECT_TRUE(logLines().at(0).contains("]<f1 08 10 62 01>0101"));
    EXPECT_EQ(worker.m_curRecv.nTag, 1U);
    EXPECT_EQ(worker.m_curRecv.baData.size(), 354);
}

TEST_F(ReceiveLoop, GoesOnWithTheNextReplyAfterARefusedOne)
{
    biz_CMDSWork::deviceType = typeOfRefusedReply;
    pushReply(refusedReply(1));
    pushReply(acceptedReply(2));
    pushReply(refusedReply(3));
    receivePasses(3);
    EXPECT_EQ(accepted(), Tags{2});
    EXPECT_EQ(logLines().size(), 2);
}

TEST_F(ReceiveLoop, AChangeOfTheDeviceTypeTakesEffectAtTheNextPass)
{
    pushReply(refusedReply(1));
    pushReply(refusedReply(2));
    receivePasses(1);
    biz_CMDSWork::deviceType = typeOfRefusedReply;
    receivePasses(1);
    EXPECT_EQ(accepted(), Tags{1});
    EXPECT_EQ(logLines().size(), 1);
}

TEST_F(ReceiveLoop, ARefusedReplyThatCannotBeLoggedIsLostSilently)
{
    biz_CMDSWork::deviceType = typeOfRefusedReply;
    QFile obstacle(folder.path(QStringLiteral("Errorlog")));
    ASSERT_TRUE(obstacle.open(QIODevice::WriteOnly));
    pushReply(refusedReply(1));
    pushReply(acceptedReply(2));
    receivePasses(2);
    EXPECT_EQ(journal.lines(), Lines{"signalSendReceiveMessage 2"});
}

TEST_F(ReceiveLoop, TouchesNothingOfTheSendSide)
{
    biz_CMDSWork::bRetFlag = false;
    biz_CMDSWork::iTimeoutCount = 3;
    biz_CMDSWork::iWatchdogSleepCnt = 4;
    biz_CMDSWork::iSN = 5;
    enqueue({6});
    biz_CMDSWork::deviceType = typeOfRefusedReply;
    pushReply(acceptedReply(1));
    pushReply(refusedReply(2));
    receivePasses(3);
    EXPECT_FALSE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 3);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 4);
    EXPECT_EQ(biz_CMDSWork::iSN, 5);
    EXPECT_EQ(biz_CMDSWork::queueHexCmd.size(), 1U);
    EXPECT_EQ(worker.m_curSend.nTag, 0U);
}

TEST_F(ReceiveLoop, NeverTakesTheLockOfTheSendSide)
{
    biz_CMDSWork::deviceType = typeOfRefusedReply;
    signals.watchLocks(false);
    pushReply(acceptedReply(1));
    pushReply(refusedReply(2));
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    receivePasses(3);
    EXPECT_EQ(accepted(), Tags{1});
    EXPECT_EQ(logLines().size(), 1);
}

TEST_F(ReceiveLoop, AReplyPushedInsideTheSlotIsTakenByTheNextPass)
{
    signals.onEmission([](const DeviceSignals::Event &event) {
        if (event.record.nTag == 1) {
            pushReply(acceptedReply(2));
        }
    });
    pushReply(acceptedReply(1));
    receivePasses(1);
    EXPECT_EQ(accepted(), Tags{1});
    receivePasses(1);
    EXPECT_EQ(accepted(), (Tags{1, 2}));
}

TEST_F(ReceiveLoop, JudgesAndLogsWithoutHoldingItsLock)
{
    biz_CMDSWork::deviceType = typeOfRefusedReply;
    model_Protocoldata reply = refusedReply(1);
    reply.ucHead[2] = 0x05; // the one reply whose refusal is written to the debug output
    reply.ucHead[3] = 0xFE;
    pushReply(reply);
    receivePasses(1);
    ASSERT_EQ(messages(), Lines{"A2 0xf1, 0x05 buff error!"});
    EXPECT_EQ(output.messages().at(0).heldLocks, Lines{});
    EXPECT_EQ(output.messages().at(0).thread, receiveLoop);
}

TEST_F(ReceiveLoop, OneReplyAPassBoundsTheRateTo200ASecond)
{
    signals.watchLocks(false);
    for (int tag = 1; tag <= 300; ++tag) {
        pushReply(acceptedReply(tag));
    }
    receivePasses(0);
    time.advance(seconds(1));
    EXPECT_EQ(accepted().size(), 200U);
}

} // namespace
