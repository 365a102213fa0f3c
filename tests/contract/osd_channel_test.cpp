#include <gtest/gtest.h>

#include <QtCore/QMetaMethod>
#include <QtCore/QMetaObject>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <support/channel_state_guard.h>

#include "same_type.h"

// What a host relies on when it is compiled against the OSD channel.

namespace {

BIZ_HAS_TYPE(biz_Osd_CMDSWork::m_qsIp, QVector<QString>);
BIZ_HAS_TYPE(biz_Osd_CMDSWork::queueHexCmd, QVector<std::queue<model_OsdParam>>);
BIZ_HAS_TYPE(biz_Osd_CMDSWork::m_bRetFlag, QMap<QString, bool>);
BIZ_HAS_TYPE(biz_Osd_CMDSWork::receivequeueHexCmd, std::queue<model_OsdParam>);
BIZ_HAS_TYPE(biz_Osd_CMDSWork::HexCmdlock, std::mutex);
BIZ_HAS_TYPE(biz_Osd_CMDSWork::receiveHexCmdlock, std::mutex);
// The address of a static member is a plain pointer, that of a member is not.
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::m_qsIp, QVector<QString> *);
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::queueHexCmd, QVector<std::queue<model_OsdParam>> *);
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::m_bRetFlag, QMap<QString, bool> *);
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::receivequeueHexCmd, std::queue<model_OsdParam> *);

BIZ_HAS_TYPE(&biz_Osd_CMDSWork::m_bSendRun, bool biz_Osd_CMDSWork::*);
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::m_bRecvRun, bool biz_Osd_CMDSWork::*);
using SendTimes = QMap<QString, quint32>;
using Commands = QMap<QString, model_OsdParam>;
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::m_mapSendTime, SendTimes biz_Osd_CMDSWork::*);
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::m_mapCurSend, Commands biz_Osd_CMDSWork::*);

BIZ_HAS_TYPE(&biz_Osd_CMDSWork::addToSendQueue, void (*)(model_OsdParam));
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::setRetFlag, void (*)(QString, bool));
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::addToReceiveQueue, void (*)(model_OsdParam));
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::clearQueue, void (biz_Osd_CMDSWork::*)());
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::a1_GetQueueWork, void (biz_Osd_CMDSWork::*)());
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::a1_TimeOutWork, void (biz_Osd_CMDSWork::*)());
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::a1_receiveGetQueueWork, void (biz_Osd_CMDSWork::*)());

BIZ_HAS_TYPE(&biz_Osd_CMDSWork::signalSendMessage, void (biz_Osd_CMDSWork::*)(void *));
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::signalSendReceiveMessage, void (biz_Osd_CMDSWork::*)(void *));
BIZ_HAS_TYPE(&biz_Osd_CMDSWork::signalSendMessageUipro, void (biz_Osd_CMDSWork::*)(void *));

static_assert(std::is_base_of<QObject, biz_Osd_CMDSWork>::value, "the worker is a QObject");
static_assert(std::is_default_constructible<biz_Osd_CMDSWork>::value, "the parent may be left out");
static_assert(std::is_constructible<biz_Osd_CMDSWork, QObject *>::value, "the worker takes a parent");
static_assert(std::has_virtual_destructor<biz_Osd_CMDSWork>::value, "a host may delete it as a QObject");

class OsdChannel : public ::testing::Test
{
protected:
    static int ownMethod(int index) { return biz_Osd_CMDSWork::staticMetaObject.methodOffset() + index; }

private:
    biz::test::OsdChannelGuard m_guard;
};

TEST_F(OsdChannel, WorkerKeepsTheOrderOfItsMembersAndHasNoOthers)
{
    const biz_Osd_CMDSWork worker;
    const auto place = [&worker](const void *member) {
        return static_cast<const char *>(member) - reinterpret_cast<const char *>(&worker);
    };
    if (sizeof(void *) == 8) {
        EXPECT_EQ(place(&worker.m_bSendRun), 16);
        EXPECT_EQ(place(&worker.m_bRecvRun), 17);
        EXPECT_EQ(place(&worker.m_mapSendTime), 24);
        EXPECT_EQ(place(&worker.m_mapCurSend), 32);
        EXPECT_EQ(sizeof worker, 40U);
    }
}

TEST_F(OsdChannel, HasThreeSignalsInTheirOrderAndNothingElse)
{
    const QMetaObject &meta = biz_Osd_CMDSWork::staticMetaObject;
    EXPECT_STREQ(meta.className(), "biz_Osd_CMDSWork");
    EXPECT_EQ(meta.superClass(), &QObject::staticMetaObject);
    const char *const signatures[] = {"signalSendMessage(void*)", "signalSendReceiveMessage(void*)",
                                      "signalSendMessageUipro(void*)"};
    ASSERT_EQ(meta.methodCount() - meta.methodOffset(), 3);
    for (int index = 0; index < 3; ++index) {
        EXPECT_EQ(meta.method(ownMethod(index)).methodSignature().toStdString(), signatures[index]);
        EXPECT_EQ(meta.method(ownMethod(index)).methodType(), QMetaMethod::Signal);
    }
    EXPECT_EQ(meta.propertyCount(), meta.propertyOffset());
    EXPECT_EQ(meta.enumeratorCount(), meta.enumeratorOffset());
    EXPECT_EQ(meta.classInfoCount(), meta.classInfoOffset());
    EXPECT_EQ(meta.constructorCount(), 0);
}

} // namespace
