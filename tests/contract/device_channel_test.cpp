#include <gtest/gtest.h>

#include <QtCore/QMetaMethod>
#include <QtCore/QMetaObject>

#include <biz_cmdswork/biz_cmdswork.h>
#include <manage/biz_manage.h>
#include <support/channel_state_guard.h>

#include "same_type.h"

// What a host relies on when it is compiled against the device channel.

namespace {

BIZ_HAS_TYPE(biz_CMDSWork::queueHexCmd, std::queue<model_Protocoldata>);
BIZ_HAS_TYPE(biz_CMDSWork::receivequeueHexCmd, std::queue<model_Protocoldata>);
BIZ_HAS_TYPE(biz_CMDSWork::HexCmdlock, std::mutex);
BIZ_HAS_TYPE(biz_CMDSWork::receiveHexCmdlock, std::mutex);
BIZ_HAS_TYPE(biz_CMDSWork::ListCMDS, QList<model_Protocoldata>);
BIZ_HAS_TYPE(biz_CMDSWork::deviceType, int);
BIZ_HAS_TYPE(biz_CMDSWork::iSN, int);
BIZ_HAS_TYPE(biz_CMDSWork::iTimeout, int);
BIZ_HAS_TYPE(biz_CMDSWork::bRetFlag, bool);
BIZ_HAS_TYPE(biz_CMDSWork::iTimeDisplayToUI, bool);
BIZ_HAS_TYPE(biz_CMDSWork::iTimeoutCount, int);
BIZ_HAS_TYPE(biz_CMDSWork::iWatchdogSleepCnt, int);
BIZ_HAS_TYPE(biz_CMDSWork::nSysPlan, int);
// The address of a static member is a plain pointer, that of a member is not.
BIZ_HAS_TYPE(&biz_CMDSWork::iSN, int *);
BIZ_HAS_TYPE(&biz_CMDSWork::queueHexCmd, std::queue<model_Protocoldata> *);
BIZ_HAS_TYPE(&biz_CMDSWork::HexCmdlock, std::mutex *);
BIZ_HAS_TYPE(&biz_CMDSWork::bRetFlag, bool *);

BIZ_HAS_TYPE(&biz_CMDSWork::m_bSendRun, bool biz_CMDSWork::*);
BIZ_HAS_TYPE(&biz_CMDSWork::m_bRecvRun, bool biz_CMDSWork::*);
BIZ_HAS_TYPE(&biz_CMDSWork::m_curSend, model_Protocoldata biz_CMDSWork::*);
BIZ_HAS_TYPE(&biz_CMDSWork::m_curRecv, model_Protocoldata biz_CMDSWork::*);
BIZ_HAS_TYPE(&biz_CMDSWork::m_bSkipSendcmd, bool biz_CMDSWork::*);

using Checker = bool (biz_CMDSWork::*)(model_Protocoldata);
BIZ_HAS_TYPE(&biz_CMDSWork::checkRecvData, Checker);
BIZ_HAS_TYPE(&biz_CMDSWork::checkRecvData_ORLIX_A2, Checker);
BIZ_HAS_TYPE(&biz_CMDSWork::checkRecvData_ORLIX_A3, Checker);
BIZ_HAS_TYPE(&biz_CMDSWork::checkRecvData_ORLIX_A5, Checker);
BIZ_HAS_TYPE(&biz_CMDSWork::checkRecvData_ORLIX_A1MAX, Checker);
BIZ_HAS_TYPE(&biz_CMDSWork::checkRecvData_PVN410MAX, Checker);
BIZ_HAS_TYPE(&biz_CMDSWork::checkRecvData_PVN410MAX2, Checker);
BIZ_HAS_TYPE(&biz_CMDSWork::checkRecvData_K250, Checker);
BIZ_HAS_TYPE(&biz_CMDSWork::combineTwoByte, quint16 (biz_CMDSWork::*)(uchar, uchar));
BIZ_HAS_TYPE(&biz_CMDSWork::writeErrorLog, void (biz_CMDSWork::*)(model_Protocoldata));

BIZ_HAS_TYPE(&biz_CMDSWork::a1_GetQueueWork, void (biz_CMDSWork::*)());
BIZ_HAS_TYPE(&biz_CMDSWork::a1_receiveGetQueueWork, void (biz_CMDSWork::*)());
BIZ_HAS_TYPE(&biz_CMDSWork::timeoutWatchdog, void (biz_CMDSWork::*)(int));
BIZ_HAS_TYPE(&biz_CMDSWork::clearQueue, void (biz_CMDSWork::*)());
BIZ_HAS_TYPE(&biz_CMDSWork::timeoutClearQueue, void (biz_CMDSWork::*)());
BIZ_HAS_TYPE(&biz_CMDSWork::setSkipSendcmd, void (biz_CMDSWork::*)(bool));
BIZ_HAS_TYPE(&biz_CMDSWork::setWatchdogSleepTime, int (biz_CMDSWork::*)());

BIZ_HAS_TYPE(&biz_CMDSWork::signalSendMessage, void (biz_CMDSWork::*)(void *));
BIZ_HAS_TYPE(&biz_CMDSWork::signalSendReceiveMessage, void (biz_CMDSWork::*)(void *));
BIZ_HAS_TYPE(&biz_CMDSWork::signalSendMessageUipro, void (biz_CMDSWork::*)(void *));
BIZ_HAS_TYPE(&biz_CMDSWork::signalQueueSize, void (biz_CMDSWork::*)(int));
BIZ_HAS_TYPE(&biz_CMDSWork::signalInitCore, void (biz_CMDSWork::*)());

static_assert(std::is_base_of<QObject, biz_CMDSWork>::value, "the worker is a QObject");
static_assert(std::is_default_constructible<biz_CMDSWork>::value, "the worker is made without arguments");
static_assert(!std::is_constructible<biz_CMDSWork, QObject *>::value, "the worker has no parent");
static_assert(std::has_virtual_destructor<biz_CMDSWork>::value, "a host may delete it as a QObject");
static_assert(std::is_default_constructible<BIZ_Manage>::value, "the library's name can be made");
static_assert(std::is_empty<BIZ_Manage>::value, "the library's name holds no state");

class DeviceChannel : public ::testing::Test
{
protected:
    static int ownMethod(int index) { return biz_CMDSWork::staticMetaObject.methodOffset() + index; }

private:
    biz::test::DeviceChannelGuard m_guard;
};

TEST_F(DeviceChannel, WorkerKeepsTheOrderOfItsMembersAndHasNoOthers)
{
    const biz_CMDSWork worker;
    const auto place = [&worker](const void *member) {
        return static_cast<std::size_t>(static_cast<const char *>(member) - reinterpret_cast<const char *>(&worker));
    };
    if (sizeof(void *) == 8) {
        EXPECT_EQ(place(&worker.m_bSendRun), 16U);
        EXPECT_EQ(place(&worker.m_bRecvRun), 17U);
        EXPECT_EQ(place(&worker.m_curSend), 24U);
        EXPECT_EQ(place(&worker.m_curRecv), biz::test::inThisQt(104, 168));
        EXPECT_EQ(place(&worker.m_bSkipSendcmd), biz::test::inThisQt(184, 312));
        EXPECT_EQ(sizeof worker, biz::test::inThisQt(192, 320));
    }
}

TEST_F(DeviceChannel, HasFiveSignalsInTheirOrderAndNothingElse)
{
    const QMetaObject &meta = biz_CMDSWork::staticMetaObject;
    EXPECT_STREQ(meta.className(), "biz_CMDSWork");
    EXPECT_EQ(meta.superClass(), &QObject::staticMetaObject);
    const char *const signatures[] = {"signalSendMessage(void*)", "signalSendReceiveMessage(void*)",
                                      "signalSendMessageUipro(void*)", "signalQueueSize(int)", "signalInitCore()"};
    ASSERT_EQ(meta.methodCount() - meta.methodOffset(), 5);
    for (int index = 0; index < 5; ++index) {
        EXPECT_EQ(meta.method(ownMethod(index)).methodSignature().toStdString(), signatures[index]);
        EXPECT_EQ(meta.method(ownMethod(index)).methodType(), QMetaMethod::Signal);
    }
    EXPECT_EQ(meta.propertyCount(), meta.propertyOffset());
    EXPECT_EQ(meta.enumeratorCount(), meta.enumeratorOffset());
    EXPECT_EQ(meta.classInfoCount(), meta.classInfoOffset());
    EXPECT_EQ(meta.constructorCount(), 0);
}

} // namespace
