#include "device_channel_fixture.h"

using namespace biz::test;

namespace {

/** A record with a different value in every field. */
model_Protocoldata fullRecord()
{
    model_Protocoldata record;
    record.qsText1 = QStringLiteral("one");
    record.ucValue1 = 0xFF;
    record.qsText2 = QStringLiteral("two");
    record.ucValue2 = 0x80;
    record.usValue1 = 0xFFFF;
    record.usValue2 = 0x8000;
    record.ucValue3 = 3;
    record.usValue3 = 30;
    record.usValue4 = 40;
    record.usValue5 = 50;
    for (int i = 0; i < 7; ++i) {
        record.ucHead[i] = static_cast<unsigned char>(0xA0 + i);
    }
    record.iWaitTime = longWait;
    record.qsText3 = QStringLiteral("three");
    record.baData = QByteArray("pay\0load", 8);
    record.ucValue4 = 4;
    record.nTag = 0xDEADBEEF;
    return record;
}

void expectSameButForTheHead(const model_Protocoldata &a, const model_Protocoldata &b)
{
    EXPECT_EQ(a.qsText1, b.qsText1);
    EXPECT_EQ(a.ucValue1, b.ucValue1);
    EXPECT_EQ(a.qsText2, b.qsText2);
    EXPECT_EQ(a.ucValue2, b.ucValue2);
    EXPECT_EQ(a.usValue1, b.usValue1);
    EXPECT_EQ(a.usValue2, b.usValue2);
    EXPECT_EQ(a.ucValue3, b.ucValue3);
    EXPECT_EQ(a.usValue3, b.usValue3);
    EXPECT_EQ(a.usValue4, b.usValue4);
    EXPECT_EQ(a.usValue5, b.usValue5);
    EXPECT_EQ(a.iWaitTime, b.iWaitTime);
    EXPECT_EQ(a.qsText3, b.qsText3);
    EXPECT_EQ(a.baData, b.baData);
    EXPECT_EQ(a.ucValue4, b.ucValue4);
    EXPECT_EQ(a.nTag, b.nTag);
}

std::vector<int> headOf(const model_Protocoldata &record)
{
    return {std::begin(record.ucHead), std::end(record.ucHead)};
}

using ProtocoldataOnItsWay = DeviceChannelTest;

TEST_F(ProtocoldataOnItsWay, TheSendLoopCarriesEveryFieldAndStampsByteZeroOnly)
{
    const model_Protocoldata original = fullRecord();
    enqueue(original);
    passes(1);
    const model_Protocoldata seen = signals.events().at(0).record;
    expectSameButForTheHead(seen, original);
    std::vector<int> head = headOf(original);
    head[0] = 1;
    EXPECT_EQ(headOf(seen), head);
}

TEST_F(ProtocoldataOnItsWay, TheReceiveLoopCarriesEveryField)
{
    const model_Protocoldata original = fullRecord();
    pushReply(original);
    receivePasses(1);
    const model_Protocoldata seen = signals.events().at(0).record;
    expectSameButForTheHead(seen, original);
    EXPECT_EQ(headOf(seen), headOf(original));
}

TEST_F(ProtocoldataOnItsWay, NoPayloadBytesAreCopied)
{
    const model_Protocoldata original = fullRecord();
    enqueue(original);
    pushReply(original);
    passes(1);
    receivePasses(1);
    EXPECT_EQ(worker.m_curSend.baData.constData(), original.baData.constData());
    EXPECT_EQ(worker.m_curRecv.baData.constData(), original.baData.constData());
}

TEST_F(ProtocoldataOnItsWay, TheTagKeepsItsBitPattern)
{
    for (const quint32 tag : {0U, 1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        forgetAll();
        setGate(true);
        model_Protocoldata record = command(0);
        record.nTag = tag;
        enqueue(record);
        passes(1);
        EXPECT_EQ(signals.events().at(0).record.nTag, tag);
    }
}

} // namespace
