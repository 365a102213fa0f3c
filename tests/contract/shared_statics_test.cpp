#include <dlfcn.h>

#include <gtest/gtest.h>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <support/channel_state_guard.h>

#include "stays_loaded.h"
#include "witness.h"

// The static members are one object each, however many parts a host is made of.

namespace {

TEST(StaticMembers, AreTheSameObjectsForEverySharedObjectOfTheHost)
{
    const Addresses here = BIZ_STATIC_MEMBER_ADDRESSES;
    EXPECT_EQ(here, addressesSeenByTheWitness());
    EXPECT_EQ(here.size(), 19U);
}

TEST(StaticMembers, LiveAsLongAsTheProcessSinceTheLibraryStaysLoaded)
{
    EXPECT_TRUE(staysLoaded(BIZ_SONAME));
}

TEST(StaticMembers, AreTheObjectsThatTheLibraryItselfDefines)
{
    Dl_info library{};
    ASSERT_NE(dladdr(&biz_CMDSWork::staticMetaObject, &library), 0);
    void *handle = dlopen(library.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
    ASSERT_NE(handle, nullptr) << dlerror();
    const Addresses here = BIZ_STATIC_MEMBER_ADDRESSES;
    for (const auto &[name, address] : here) {
        EXPECT_EQ(dlsym(handle, name.c_str()), address) << name;
    }
    dlclose(handle);
}

class HostAndLibrary : public ::testing::Test
{
    biz::test::DeviceChannelGuard m_device;
    biz::test::OsdChannelGuard m_osd;
};

TEST_F(HostAndLibrary, ShareTheGateAndTheSequenceCounter)
{
    biz_CMDSWork worker;
    biz_CMDSWork::bRetFlag = false;
    biz_CMDSWork::iSN = 41;
    worker.clearQueue();
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
    EXPECT_EQ(biz_CMDSWork::iSN, 42);
}

TEST_F(HostAndLibrary, ShareTheSendQueueAndTheTimeOutCount)
{
    biz_CMDSWork worker;
    biz_CMDSWork::queueHexCmd.push({});
    biz_CMDSWork::iTimeoutCount = 10;
    worker.timeoutClearQueue();
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 0);
}

TEST_F(HostAndLibrary, ShareTheDeviceType)
{
    biz_CMDSWork worker;
    model_Protocoldata refusedByA2;
    refusedByA2.ucHead[1] = 0x76;
    refusedByA2.ucHead[3] = 0x21;
    EXPECT_TRUE(worker.checkRecvData(refusedByA2));
    biz_CMDSWork::deviceType = 0x1400;
    EXPECT_FALSE(worker.checkRecvData(refusedByA2));
}

TEST_F(HostAndLibrary, ShareTheStateOfTheSendLoop)
{
    biz_CMDSWork worker;
    worker.m_bSendRun = true;
    QObject::connect(&worker, &biz_CMDSWork::signalSendMessage, [&worker] { worker.m_bSendRun = false; });
    biz_CMDSWork::nSysPlan = 1;
    biz_CMDSWork::iWatchdogSleepCnt = 77;
    biz_CMDSWork::queueHexCmd.push({});
    worker.a1_GetQueueWork();
    EXPECT_TRUE(biz_CMDSWork::bRetFlag) << "with a plan the gate stays open";
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 0);
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
}

TEST_F(HostAndLibrary, ShareTheReceiveQueue)
{
    biz_CMDSWork worker;
    worker.m_bRecvRun = true;
    QObject::connect(&worker, &biz_CMDSWork::signalSendReceiveMessage, [&worker] { worker.m_bRecvRun = false; });
    biz_CMDSWork::receivequeueHexCmd.push({});
    worker.a1_receiveGetQueueWork();
    EXPECT_TRUE(biz_CMDSWork::receivequeueHexCmd.empty());
}

TEST_F(HostAndLibrary, ShareTheDeviceTablesOfTheOsdChannel)
{
    model_OsdParam record;
    record.qsIp = QStringLiteral("127.0.0.1");
    biz_Osd_CMDSWork::addToSendQueue(record);
    EXPECT_EQ(biz_Osd_CMDSWork::m_qsIp, QVector<QString>{record.qsIp});
    ASSERT_EQ(biz_Osd_CMDSWork::queueHexCmd.size(), 1);
    EXPECT_EQ(biz_Osd_CMDSWork::queueHexCmd[0].size(), 1U);

    biz_Osd_CMDSWork::m_bRetFlag[record.qsIp] = false;
    biz_Osd_CMDSWork::addToReceiveQueue(record);
    EXPECT_TRUE(biz_Osd_CMDSWork::m_bRetFlag.value(record.qsIp));
    EXPECT_EQ(biz_Osd_CMDSWork::receivequeueHexCmd.size(), 1U);

    biz_Osd_CMDSWork().clearQueue();
    EXPECT_TRUE(biz_Osd_CMDSWork::m_qsIp.isEmpty());
}

} // namespace
