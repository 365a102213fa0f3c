#include "device_channel_fixture.h"

#include <type_traits>

using namespace biz::test;

namespace {

static_assert(std::is_same_v<decltype(model_Protocoldata::ucHead), unsigned char[7]>);
static_assert(std::is_same_v<decltype(model_Protocoldata::iWaitTime), qint32>);
static_assert(std::is_same_v<decltype(model_Protocoldata::nTag), quint32>);
static_assert(std::is_copy_constructible_v<model_Protocoldata> && std::is_copy_assignable_v<model_Protocoldata>);

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

TEST(Protocoldata, ADefaultRecordIsZeroAndEmpty)
{
    const model_Protocoldata record;
    EXPECT_EQ(headOf(record), std::vector<int>(7, 0));
    EXPECT_TRUE(record.qsText1.isEmpty() && record.qsText2.isEmpty() && record.qsText3.isEmpty());
    EXPECT_TRUE(record.baData.isEmpty());
    EXPECT_EQ(record.ucValue1 + record.ucValue2 + record.ucValue3 + record.ucValue4, 0);
    EXPECT_EQ(record.usValue1 + record.usValue2 + record.usValue3 + record.usValue4 + record.usValue5, 0);
    EXPECT_EQ(record.iWaitTime, 0);
    EXPECT_EQ(record.nTag, 0U);
}

TEST(Protocoldata, CopyAndAssignmentCarryEveryField)
{
    const model_Protocoldata original = fullRecord();
    const model_Protocoldata copy(original);
    model_Protocoldata assigned;
    assigned = original;
    for (const model_Protocoldata *other : {&copy, const_cast<const model_Protocoldata *>(&assigned)}) {
        expectSameButForTheHead(*other, original);
        EXPECT_EQ(headOf(*other), headOf(original));
    }
}

TEST(Protocoldata, CopiesShareTextsAndPayloadUntilOneIsChanged)
{
    model_Protocoldata original = fullRecord();
    const model_Protocoldata copy(original);
    EXPECT_EQ(copy.baData.constData(), original.baData.constData());
    EXPECT_EQ(copy.qsText1.constData(), original.qsText1.constData());
    original.baData[0] = 'X';
    original.qsText1 += QStringLiteral("X");
    EXPECT_EQ(copy.baData, QByteArray("pay\0load", 8));
    EXPECT_EQ(copy.qsText1, QStringLiteral("one"));
}

TEST(Protocoldata, FieldsStandInTheOrderOfTheInterface)
{
    const model_Protocoldata r;
    const void *fields[] = {&r.qsText1,  &r.ucValue1, &r.qsText2,  &r.ucValue2, &r.usValue1,  &r.usValue2,
                            &r.ucValue3, &r.usValue3, &r.usValue4, &r.usValue5, &r.ucHead[0], &r.iWaitTime,
                            &r.qsText3,  &r.baData,   &r.ucValue4, &r.nTag};
    EXPECT_TRUE(std::is_sorted(std::begin(fields), std::end(fields), std::less<>()));
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

TEST_F(ProtocoldataOnItsWay, AnEmptyPayloadPassesThroughBothQueues)
{
    enqueue(command(1));
    pushReply(command(2));
    passes(1);
    receivePasses(1);
    EXPECT_TRUE(signals.eventsOf("signalSendMessage").at(0).record.baData.isEmpty());
    EXPECT_TRUE(signals.eventsOf("signalSendReceiveMessage").at(0).record.baData.isEmpty());
}

TEST_F(ProtocoldataOnItsWay, ACopyTakenInTheSlotOutlivesChangesOfTheRecordInFlight)
{
    enqueue(fullRecord());
    passes(1);
    worker.m_curSend.baData[0] = 'X';
    worker.m_curSend.ucHead[1] = 0;
    const model_Protocoldata taken = signals.events().at(0).record;
    EXPECT_EQ(taken.baData, QByteArray("pay\0load", 8));
    EXPECT_EQ(taken.ucHead[1], 0xA1);
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
