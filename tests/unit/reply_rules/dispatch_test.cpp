#include <limits>
#include <thread>

#include <gtest/gtest.h>

#include "reply_builder.h"

// Which checker judges: the device type decides, afresh for every reply.

namespace {

/** Leaves the device type as it found it: not set. */
class Dispatch : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(biz_CMDSWork::deviceType, -1) << "left behind by an earlier test"; }
    void TearDown() override { biz_CMDSWork::deviceType = -1; }

    bool accepts(int deviceType, const ReplyBuilder &asked)
    {
        biz_CMDSWork::deviceType = deviceType;
        return m_worker.checkRecvData(asked.record());
    }

    /** Replies of which every model with a checker rejects at least one. */
    bool acceptsWhatEveryCheckerRefuses(int deviceType)
    {
        DebugLines lines;
        return accepts(deviceType, reply(0x76, 0x00).index(0x21)) && accepts(deviceType, reply(0xF1, 0x05)) &&
               accepts(deviceType, reply(0x6B, 0x00).index(1)) && accepts(deviceType, reply(0x68, 0x08).index(0)) &&
               DebugLines::count() == 0;
    }

    biz_CMDSWork m_worker;
};

TEST_F(Dispatch, AcceptsEverythingWhileNoDeviceTypeIsSet)
{
    EXPECT_TRUE(m_worker.checkRecvData(model_Protocoldata()));
    EXPECT_TRUE(m_worker.checkRecvData(reply(0x76, 0x00).index(0x21).record()));
    EXPECT_TRUE(acceptsWhatEveryCheckerRefuses(-1));
}

TEST_F(Dispatch, AcceptsEverythingForANearMissOfACode)
{
    for (const int code : {0x1401, 0x14, 0, -1, 0x3E01, 0x7A42, 0x1900, 0x19, 0x140000, 0x7A4000}) {
        EXPECT_TRUE(acceptsWhatEveryCheckerRefuses(code)) << std::hex << code;
    }
    EXPECT_TRUE(acceptsWhatEveryCheckerRefuses(std::numeric_limits<int>::min()));
    EXPECT_TRUE(acceptsWhatEveryCheckerRefuses(std::numeric_limits<int>::max()));
}

TEST_F(Dispatch, AcceptsEverythingForTheNeighboursOfEveryCode)
{
    for (const CheckedModel &model : checkedModels()) {
        EXPECT_FALSE(acceptsWhatEveryCheckerRefuses(model.deviceType)) << model.name;
        for (const int code : {model.deviceType - 1, model.deviceType + 1, model.deviceType >> 8, model.deviceType << 8,
                               -model.deviceType, model.deviceType + 0x1000000}) {
            EXPECT_TRUE(acceptsWhatEveryCheckerRefuses(code)) << model.name << ' ' << std::hex << code;
        }
    }
}

// Each reply is one that the named models refuse and all others accept.
TEST_F(Dispatch, SendsEveryCodeToItsOwnChecker)
{
    struct Case
    {
        ReplyBuilder asked;
        std::string refusedBy;
    };
    const Case cases[] = {
        {reply(0xF1, 0x18).index(2), "A2 A3 A5 "},   {reply(0x78, 0x24).index(16), "A2 PVN410MAX2 "},
        {reply(0x6A, 0x0B).index(2), "A3 "},         {reply(0xF1, 0x12).declares(5).payload(5), "A5 "},
        {reply(0x73, 0x01).index(2), "A1MAX "},      {reply(0x6B, 0x00).index(1), "A1MAX K250 "},
        {reply(0x68, 0x08).index(23), "PVN410MAX "},
    };
    for (const Case &one : cases) {
        std::string refused;
        for (const CheckedModel &model : checkedModels()) {
            refused += accepts(model.deviceType, one.asked) ? "" : model.name + ' ';
        }
        EXPECT_EQ(refused, one.refusedBy);
    }
}

TEST_F(Dispatch, FollowsAChangeWithTheNextReply)
{
    const ReplyBuilder asked = reply(0x73, 0x01).index(2);
    EXPECT_FALSE(accepts(0x1700, asked));
    EXPECT_TRUE(accepts(0x3E0100, asked));
    EXPECT_FALSE(accepts(0x1700, asked));
    EXPECT_TRUE(accepts(-1, asked));
}

TEST_F(Dispatch, AcceptsAnEmptyPayloadWhereThereIsNoLengthRule)
{
    for (const CheckedModel &model : checkedModels()) {
        EXPECT_TRUE(accepts(model.deviceType, reply(0x68, 0x08).index(1))) << model.name;
        EXPECT_TRUE(accepts(model.deviceType, reply(0xF0, 0x01).index(1))) << model.name;
        EXPECT_TRUE(accepts(model.deviceType, reply(0xF1, 0x0C).index(1))) << model.name;
    }
}

TEST_F(Dispatch, CombinesTheLowByteFirst)
{
    EXPECT_EQ(m_worker.combineTwoByte(0x62, 0x01), 354);
    EXPECT_EQ(m_worker.combineTwoByte(0x01, 0x00), 1);
    EXPECT_EQ(m_worker.combineTwoByte(0xFF, 0xFF), 65535);
    for (int value = 0; value <= 0xFFFF; ++value) {
        ASSERT_EQ(m_worker.combineTwoByte(static_cast<uchar>(value % 256), static_cast<uchar>(value / 256)), value);
    }
}

TEST_F(Dispatch, LooksAtNothingButFiveHeadBytesAndTheSizeOfThePayload)
{
    for (const CheckedModel &model : checkedModels()) {
        for (const listing::Line &line : model.rules().lines()) {
            const int index = line.command == 0x76 ? 0x21 : 1;
            const listing::Wire wire{index, 9, 0, 9};
            const model_Protocoldata full = replyRecord(line.command, line.subCodes.front(), wire);
            model_Protocoldata bare;
            std::copy(full.ucHead + 1, full.ucHead + 6, bare.ucHead + 1);
            bare.baData = QByteArray(9, '\x7F');
            DebugLines lines;
            EXPECT_EQ((m_worker.*model.checker)(full), (m_worker.*model.checker)(bare)) << model.name << line.text;
        }
    }
}

TEST_F(Dispatch, ChangesNoStateAndEmitsNothing)
{
    int emissions = 0;
    const auto count = [&emissions] {
        ++emissions;
    };
    QObject::connect(&m_worker, &biz_CMDSWork::signalSendMessage, count);
    QObject::connect(&m_worker, &biz_CMDSWork::signalSendReceiveMessage, count);
    QObject::connect(&m_worker, &biz_CMDSWork::signalSendMessageUipro, count);
    QObject::connect(&m_worker, &biz_CMDSWork::signalQueueSize, count);
    QObject::connect(&m_worker, &biz_CMDSWork::signalInitCore, count);
    const auto state = [] {
        return std::make_tuple(biz_CMDSWork::bRetFlag, biz_CMDSWork::iSN, biz_CMDSWork::nSysPlan,
                               biz_CMDSWork::iTimeout, biz_CMDSWork::iTimeDisplayToUI, biz_CMDSWork::iTimeoutCount,
                               biz_CMDSWork::iWatchdogSleepCnt, biz_CMDSWork::queueHexCmd.size(),
                               biz_CMDSWork::receivequeueHexCmd.size(), biz_CMDSWork::ListCMDS.size());
    };
    const auto before = state();
    DebugLines lines;
    for (const CheckedModel &model : checkedModels()) {
        accepts(model.deviceType, reply(0xF1, 0x05));
        accepts(model.deviceType, reply(0x68, 0x08).index(3));
        EXPECT_EQ(biz_CMDSWork::deviceType, model.deviceType);
    }
    EXPECT_EQ(state(), before);
    EXPECT_EQ(emissions, 0);
}

TEST_F(Dispatch, KeepsNoShareOfTheRecord)
{
    const model_Protocoldata asked = reply(0xF1, 0x08).declares(354).payload(354).record();
    for (const CheckedModel &model : checkedModels()) {
        biz_CMDSWork::deviceType = model.deviceType;
        m_worker.checkRecvData(asked);
        EXPECT_TRUE(asked.baData.isDetached()) << model.name;
    }
}

TEST_F(Dispatch, MayBeAskedByTwoThreadsAtOnce)
{
    biz_CMDSWork::deviceType = 0x1400;
    const auto ask = [this](int index, int &accepted) {
        for (int i = 0; i < 2000; ++i) {
            accepted += m_worker.checkRecvData(reply(0x86, 0x02).index(index).record()) ? 1 : 0;
        }
    };
    int good = 0;
    int bad = 0;
    std::thread other(ask, 16, std::ref(bad));
    ask(15, good);
    other.join();
    EXPECT_EQ(good, 2000);
    EXPECT_EQ(bad, 0);
}

} // namespace
