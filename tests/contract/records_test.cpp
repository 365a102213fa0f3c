#include <algorithm>
#include <iterator>

#include <gtest/gtest.h>

#include <model/model_osdparam.h>
#include <model/model_protocoldata.h>

#include "same_type.h"

// The two records: types, order and places of their fields are shared with hosts that were
// compiled earlier.

namespace {

BIZ_HAS_TYPE(model_Protocoldata::qsText1, QString);
BIZ_HAS_TYPE(model_Protocoldata::ucValue1, quint8);
BIZ_HAS_TYPE(model_Protocoldata::qsText2, QString);
BIZ_HAS_TYPE(model_Protocoldata::ucValue2, quint8);
BIZ_HAS_TYPE(model_Protocoldata::usValue1, quint16);
BIZ_HAS_TYPE(model_Protocoldata::usValue2, quint16);
BIZ_HAS_TYPE(model_Protocoldata::ucValue3, quint8);
BIZ_HAS_TYPE(model_Protocoldata::usValue3, quint16);
BIZ_HAS_TYPE(model_Protocoldata::usValue4, quint16);
BIZ_HAS_TYPE(model_Protocoldata::usValue5, quint16);
BIZ_HAS_TYPE(model_Protocoldata::ucHead, unsigned char[7]);
BIZ_HAS_TYPE(model_Protocoldata::iWaitTime, qint32);
BIZ_HAS_TYPE(model_Protocoldata::qsText3, QString);
BIZ_HAS_TYPE(model_Protocoldata::baData, QByteArray);
BIZ_HAS_TYPE(model_Protocoldata::ucValue4, quint8);
BIZ_HAS_TYPE(model_Protocoldata::nTag, quint32);

static_assert(std::is_standard_layout<model_Protocoldata>::value, "the places below need it");
BIZ_LIES_AT(model_Protocoldata, qsText1, 0);
BIZ_LIES_AT(model_Protocoldata, ucValue1, 8, 24);
BIZ_LIES_AT(model_Protocoldata, qsText2, 16, 32);
BIZ_LIES_AT(model_Protocoldata, ucValue2, 24, 56);
BIZ_LIES_AT(model_Protocoldata, usValue1, 26, 58);
BIZ_LIES_AT(model_Protocoldata, usValue2, 28, 60);
BIZ_LIES_AT(model_Protocoldata, ucValue3, 30, 62);
BIZ_LIES_AT(model_Protocoldata, usValue3, 32, 64);
BIZ_LIES_AT(model_Protocoldata, usValue4, 34, 66);
BIZ_LIES_AT(model_Protocoldata, usValue5, 36, 68);
BIZ_LIES_AT(model_Protocoldata, ucHead, 38, 70);
BIZ_LIES_AT(model_Protocoldata, iWaitTime, 48, 80);
BIZ_LIES_AT(model_Protocoldata, qsText3, 56, 88);
BIZ_LIES_AT(model_Protocoldata, baData, 64, 112);
BIZ_LIES_AT(model_Protocoldata, ucValue4, 72, 136);
BIZ_LIES_AT(model_Protocoldata, nTag, 76, 140);
BIZ_HAS_SIZE(model_Protocoldata, 80, 144);

BIZ_HAS_TYPE(model_OsdParam::ucOsdHead, unsigned char[11]);
BIZ_HAS_TYPE(model_OsdParam::qsIp, QString);
BIZ_HAS_TYPE(model_OsdParam::ucOsdFlag, quint8);
BIZ_HAS_TYPE(model_OsdParam::iWaitTime, qint32);
BIZ_HAS_TYPE(model_OsdParam::qsOsdText, QString);
BIZ_HAS_TYPE(model_OsdParam::baData, QByteArray);
BIZ_HAS_TYPE(model_OsdParam::nTag, quint32);

static_assert(std::is_standard_layout<model_OsdParam>::value, "the places below need it");
BIZ_LIES_AT(model_OsdParam, ucOsdHead, 0);
BIZ_LIES_AT(model_OsdParam, qsIp, 16);
BIZ_LIES_AT(model_OsdParam, ucOsdFlag, 24, 40);
BIZ_LIES_AT(model_OsdParam, iWaitTime, 28, 44);
BIZ_LIES_AT(model_OsdParam, qsOsdText, 32, 48);
BIZ_LIES_AT(model_OsdParam, baData, 40, 72);
BIZ_LIES_AT(model_OsdParam, nTag, 48, 96);
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
