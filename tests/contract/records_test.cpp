#include <algorithm>
#include <iterator>

#include <gtest/gtest.h>

#include <model/model_osdparam.h>
#include <model/model_protocoldata.h>

#include "same_type.h"

// The two records: types, order and places of their fields are shared with hosts that were
// compiled earlier.

namespace {

BIZ_HOLDS(model_Protocoldata, qsText1, (0), QString);
BIZ_HOLDS(model_Protocoldata, ucValue1, (8, 24), quint8);
BIZ_HOLDS(model_Protocoldata, qsText2, (16, 32), QString);
BIZ_HOLDS(model_Protocoldata, ucValue2, (24, 56), quint8);
BIZ_HOLDS(model_Protocoldata, usValue1, (26, 58), quint16);
BIZ_HOLDS(model_Protocoldata, usValue2, (28, 60), quint16);
BIZ_HOLDS(model_Protocoldata, ucValue3, (30, 62), quint8);
BIZ_HOLDS(model_Protocoldata, usValue3, (32, 64), quint16);
BIZ_HOLDS(model_Protocoldata, usValue4, (34, 66), quint16);
BIZ_HOLDS(model_Protocoldata, usValue5, (36, 68), quint16);
BIZ_HOLDS(model_Protocoldata, ucHead, (38, 70), unsigned char[7]);
BIZ_HOLDS(model_Protocoldata, iWaitTime, (48, 80), qint32);
BIZ_HOLDS(model_Protocoldata, qsText3, (56, 88), QString);
BIZ_HOLDS(model_Protocoldata, baData, (64, 112), QByteArray);
BIZ_HOLDS(model_Protocoldata, ucValue4, (72, 136), quint8);
BIZ_HOLDS(model_Protocoldata, nTag, (76, 140), quint32);
BIZ_HAS_SIZE(model_Protocoldata, 80, 144);

BIZ_HOLDS(model_OsdParam, ucOsdHead, (0), unsigned char[11]);
BIZ_HOLDS(model_OsdParam, qsIp, (16), QString);
BIZ_HOLDS(model_OsdParam, ucOsdFlag, (24, 40), quint8);
BIZ_HOLDS(model_OsdParam, iWaitTime, (28, 44), qint32);
BIZ_HOLDS(model_OsdParam, qsOsdText, (32, 48), QString);
BIZ_HOLDS(model_OsdParam, baData, (40, 72), QByteArray);
BIZ_HOLDS(model_OsdParam, nTag, (48, 96), quint32);
BIZ_HAS_SIZE(model_OsdParam, 56, 104);

template<typename Record>
constexpr bool isPlainValue()
{
    return std::is_default_constructible<Record>::value && std::is_copy_constructible<Record>::value &&
           std::is_copy_assignable<Record>::value && !std::is_polymorphic<Record>::value;
}
static_assert(isPlainValue<model_Protocoldata>() && isPlainValue<model_OsdParam>(), "records are held by value");

template<std::size_t Count>
bool allZero(const unsigned char (&bytes)[Count])
{
    return std::all_of(std::begin(bytes), std::end(bytes), [](unsigned char byte) { return byte == 0; });
}

TEST(ProtocolRecord, IsZeroAndEmptyByDefault)
{
    // Where a field is left unset, the former content of the storage would show.
    alignas(model_Protocoldata) unsigned char storage[sizeof(model_Protocoldata)];
    std::fill(std::begin(storage), std::end(storage), static_cast<unsigned char>(0xAA));
    auto *record = new (storage) model_Protocoldata;

    EXPECT_TRUE(record->qsText1.isEmpty() && record->qsText2.isEmpty() && record->qsText3.isEmpty());
    EXPECT_TRUE(record->baData.isEmpty());
    EXPECT_TRUE(allZero(record->ucHead));
    EXPECT_EQ(record->ucValue1 + record->ucValue2 + record->ucValue3 + record->ucValue4, 0);
    EXPECT_EQ(record->usValue1 + record->usValue2 + record->usValue3 + record->usValue4 + record->usValue5, 0);
    EXPECT_EQ(record->iWaitTime, 0);
    EXPECT_EQ(record->nTag, 0U);
    record->~model_Protocoldata();
}

TEST(OsdRecord, IsZeroAndEmptyByDefault)
{
    alignas(model_OsdParam) unsigned char storage[sizeof(model_OsdParam)];
    std::fill(std::begin(storage), std::end(storage), static_cast<unsigned char>(0xAA));
    auto *record = new (storage) model_OsdParam;

    EXPECT_TRUE(record->qsIp.isEmpty() && record->qsOsdText.isEmpty() && record->baData.isEmpty());
    EXPECT_TRUE(allZero(record->ucOsdHead));
    EXPECT_EQ(record->ucOsdFlag, 0);
    EXPECT_EQ(record->iWaitTime, 0);
    EXPECT_EQ(record->nTag, 0U);
    record->~model_OsdParam();
}

TEST(Records, ShareTheirPayloadUntilSomebodyWrites)
{
    model_Protocoldata original;
    original.baData = QByteArray(3, 'x');
    model_Protocoldata copy = original;
    EXPECT_EQ(copy.baData.constData(), original.baData.constData());
    copy.baData[0] = 'y';
    EXPECT_EQ(original.baData, QByteArray(3, 'x'));
}

} // namespace
