// The channel's record, tables, signals, and the life of its objects.

#include "osd_channel_fixture.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <new>
#include <type_traits>

#include <QtCore/QMetaMethod>
#include <QtCore/QMetaObject>

#include <support/held_locks.h>

using namespace osd_test;
using Channel = biz_Osd_CMDSWork;

namespace {

const QString deviceA = QStringLiteral("10.0.0.1");

// The types of the interface: a host names them, takes their addresses and writes to them.
static_assert(std::is_same<decltype(&Channel::m_qsIp), QVector<QString> *>::value);
static_assert(std::is_same<decltype(&Channel::queueHexCmd), QVector<std::queue<model_OsdParam>> *>::value);
static_assert(std::is_same<decltype(&Channel::m_bRetFlag), QMap<QString, bool> *>::value);
static_assert(std::is_same<decltype(&Channel::receivequeueHexCmd), std::queue<model_OsdParam> *>::value);
static_assert(std::is_same<decltype(&Channel::HexCmdlock), std::mutex *>::value);
static_assert(std::is_same<decltype(&Channel::receiveHexCmdlock), std::mutex *>::value);
static_assert(std::is_same<decltype(&Channel::m_bSendRun), bool Channel::*>::value);
static_assert(std::is_same<decltype(&Channel::m_bRecvRun), bool Channel::*>::value);
static_assert(std::is_same<decltype(&Channel::m_mapSendTime), QMap<QString, quint32> Channel::*>::value);
static_assert(std::is_same<decltype(&Channel::m_mapCurSend), QMap<QString, model_OsdParam> Channel::*>::value);
static_assert(std::is_same<decltype(&Channel::addToSendQueue), void (*)(model_OsdParam)>::value);
static_assert(std::is_same<decltype(&Channel::setRetFlag), void (*)(QString, bool)>::value);
static_assert(std::is_same<decltype(&Channel::addToReceiveQueue), void (*)(model_OsdParam)>::value);
static_assert(std::is_same<decltype(&Channel::clearQueue), void (Channel::*)()>::value);
static_assert(std::is_same<decltype(&Channel::a1_GetQueueWork), void (Channel::*)()>::value);
static_assert(std::is_same<decltype(&Channel::a1_TimeOutWork), void (Channel::*)()>::value);
static_assert(std::is_same<decltype(&Channel::a1_receiveGetQueueWork), void (Channel::*)()>::value);
static_assert(std::has_virtual_destructor<Channel>::value);
static_assert(std::is_same<decltype(model_OsdParam::ucOsdHead), unsigned char[11]>::value);
static_assert(std::is_same<decltype(model_OsdParam::qsIp), QString>::value);
static_assert(std::is_same<decltype(model_OsdParam::ucOsdFlag), quint8>::value);
static_assert(std::is_same<decltype(model_OsdParam::iWaitTime), qint32>::value);
static_assert(std::is_same<decltype(model_OsdParam::qsOsdText), QString>::value);
static_assert(std::is_same<decltype(model_OsdParam::baData), QByteArray>::value);
static_assert(std::is_same<decltype(model_OsdParam::nTag), quint32>::value);

class OsdState : public OsdChannel
{
};

// Looks at the channel before any test has written to it.
struct AtLoad
{
    bool empty = Channel::m_qsIp.isEmpty() && Channel::queueHexCmd.isEmpty() && Channel::m_bRetFlag.isEmpty() &&
                 Channel::receivequeueHexCmd.empty();
    bool unlocked = biz::test::heldOf(biz::test::osdChannelLocks()).empty();
};
const AtLoad atLoad;

TEST_F(OsdState, ChannelIsEmptyAndUnlockedWhenTheLibraryIsLoaded)
{
    EXPECT_TRUE(atLoad.empty);
    EXPECT_TRUE(atLoad.unlocked);
}

TEST_F(OsdState, NewObjectHasBothRunFlagsTrueAndEmptyMaps)
{
    // In zeroed memory a flag that nobody sets would read as false.
    alignas(Channel) unsigned char memory[sizeof(Channel)];
    std::fill(std::begin(memory), std::end(memory), static_cast<unsigned char>(0));
    auto *worker = new (memory) Channel;

    EXPECT_TRUE(worker->m_bSendRun);
    EXPECT_TRUE(worker->m_bRecvRun);
    EXPECT_TRUE(worker->m_mapSendTime.isEmpty());
    EXPECT_TRUE(worker->m_mapCurSend.isEmpty());

    worker->~Channel();
}

TEST_F(OsdState, ConstructionLeavesTheSharedChannelAlone)
{
    Channel::addToSendQueue(record(deviceA, 1));
    Channel::m_bRetFlag[deviceA] = false;
    Channel::addToReceiveQueue(record(QStringLiteral("10.0.0.2"), 2));

    const Channel worker;

    EXPECT_EQ(Channel::m_qsIp.size(), 1);
    EXPECT_EQ(waitingTags(0), std::vector<quint32>{1});
    EXPECT_FALSE(Channel::m_bRetFlag.value(deviceA));
    EXPECT_EQ(replyTags(), std::vector<quint32>{2});
}

TEST_F(OsdState, SharedChannelOutlivesEveryObject)
{
    auto worker = std::make_unique<Channel>();
    Channel::addToSendQueue(record(deviceA, 1));
    Channel::addToReceiveQueue(record(deviceA, 2));

    worker.reset();

    EXPECT_EQ(waitingTags(0), std::vector<quint32>{1});
    EXPECT_EQ(replyTags(), std::vector<quint32>{2});
    EXPECT_TRUE(Channel::m_bRetFlag.value(deviceA));
}

TEST_F(OsdState, ParentIsTheOneGivenToTheConstructor)
{
    QObject parent;

    auto *child = new Channel(&parent);

    EXPECT_EQ(child->parent(), &parent);
    EXPECT_EQ(Channel().parent(), nullptr);
}

TEST_F(OsdState, MetaObjectAnswersForTheClassName)
{
    Channel worker;
    QObject &object = worker;

    EXPECT_STREQ(object.metaObject()->className(), "biz_Osd_CMDSWork");
    EXPECT_EQ(object.qt_metacast("biz_Osd_CMDSWork"), &worker);
    EXPECT_EQ(object.qt_metacast("biz_CMDSWork"), nullptr);
}

TEST_F(OsdState, ClassDerivesFromQObjectAlone)
{
    EXPECT_EQ(Channel::staticMetaObject.superClass(), &QObject::staticMetaObject);
    EXPECT_EQ(sizeof(Channel),
              sizeof(QObject) + sizeof(void *) + sizeof(Channel::m_mapSendTime) + sizeof(Channel::m_mapCurSend));
}

TEST_F(OsdState, SignalsStandInTheirOrderAndNothingElseDoes)
{
    const QMetaObject &meta = Channel::staticMetaObject;
    const int first = meta.methodOffset();

    ASSERT_EQ(meta.methodCount() - first, 3);
    EXPECT_EQ(meta.method(first + 0).methodSignature(), QByteArray("signalSendMessage(void*)"));
    EXPECT_EQ(meta.method(first + 1).methodSignature(), QByteArray("signalSendReceiveMessage(void*)"));
    EXPECT_EQ(meta.method(first + 2).methodSignature(), QByteArray("signalSendMessageUipro(void*)"));
    for (int i = first; i < meta.methodCount(); ++i) {
        EXPECT_EQ(meta.method(i).methodType(), QMetaMethod::Signal);
    }
    EXPECT_EQ(meta.propertyCount(), meta.propertyOffset());
}

TEST_F(OsdState, MembersOfAnObjectStandInTheirOrder)
{
    const Channel worker;
    const auto offset = [&](const void *member) {
        return static_cast<const char *>(member) - reinterpret_cast<const char *>(&worker);
    };

    EXPECT_EQ(offset(&worker.m_bSendRun), static_cast<std::ptrdiff_t>(sizeof(QObject)));
    EXPECT_EQ(offset(&worker.m_bRecvRun), offset(&worker.m_bSendRun) + 1);
    EXPECT_LT(offset(&worker.m_bRecvRun), offset(&worker.m_mapSendTime));
    EXPECT_LT(offset(&worker.m_mapSendTime), offset(&worker.m_mapCurSend));
}

TEST_F(OsdState, FieldsOfTheRecordStandInTheirOrder)
{
    const model_OsdParam one;
    const auto offset = [&](const void *field) {
        return static_cast<const char *>(field) - reinterpret_cast<const char *>(&one);
    };

    // tests/contract has the places, which are others with each Qt.
    EXPECT_EQ(offset(&one.ucOsdHead), 0);
    EXPECT_LT(offset(&one.ucOsdHead), offset(&one.qsIp));
    EXPECT_LT(offset(&one.qsIp), offset(&one.ucOsdFlag));
    EXPECT_LT(offset(&one.ucOsdFlag), offset(&one.iWaitTime));
    EXPECT_LT(offset(&one.iWaitTime), offset(&one.qsOsdText));
    EXPECT_LT(offset(&one.qsOsdText), offset(&one.baData));
    EXPECT_LT(offset(&one.baData), offset(&one.nTag));
}

TEST_F(OsdState, NewRecordIsZeroAndEmpty)
{
    alignas(model_OsdParam) unsigned char memory[sizeof(model_OsdParam)];
    std::fill(std::begin(memory), std::end(memory), static_cast<unsigned char>(0xA5));
    auto *made = new (memory) model_OsdParam;

    model_OsdParam zero = record(QString(), 0, 0);
    EXPECT_TRUE(*made == zero);
    for (const unsigned char byte : made->ucOsdHead) {
        EXPECT_EQ(byte, 0);
    }
    EXPECT_EQ(made->ucOsdFlag, 0);

    made->~model_OsdParam();
}

TEST_F(OsdState, CopyOfARecordIsMemberwiseAndSharesTextsAndPayload)
{
    const model_OsdParam original = fullRecord(deviceA);

    const model_OsdParam copy = original;
    model_OsdParam assigned;
    assigned = original;

    EXPECT_TRUE(copy == original);
    EXPECT_TRUE(assigned == original);
    EXPECT_EQ(assigned.qsIp.constData(), original.qsIp.constData());
    EXPECT_EQ(assigned.qsOsdText.constData(), original.qsOsdText.constData());
    EXPECT_EQ(assigned.baData.constData(), original.baData.constData());
}

TEST_F(OsdState, WritingToACopyLeavesTheOriginalAlone)
{
    const model_OsdParam original = fullRecord(deviceA);

    model_OsdParam copy = original;
    copy.baData[0] = 'x';
    copy.qsOsdText[0] = QLatin1Char('x');
    copy.ucOsdHead[10] = 0;

    EXPECT_TRUE(original == fullRecord(deviceA));
}

} // namespace
