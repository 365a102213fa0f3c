#include <support/channel_state_guard.h>

#include <gtest/gtest.h>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <support/held_locks.h>

namespace biz::test {

namespace {

/** False, and a failure, when somebody holds a lock: then nothing may be put back. */
bool locksAreFree(const NamedLocks &locks)
{
    const auto held = heldOf(locks);
    EXPECT_TRUE(held.empty()) << held.front() << " is still held";
    return held.empty();
}

void expectFreshDeviceChannel()
{
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
    EXPECT_TRUE(biz_CMDSWork::receivequeueHexCmd.empty());
    EXPECT_TRUE(biz_CMDSWork::ListCMDS.isEmpty());
    EXPECT_EQ(biz_CMDSWork::deviceType, -1);
    EXPECT_EQ(biz_CMDSWork::iSN, 1);
    EXPECT_EQ(biz_CMDSWork::iTimeout, 6000);
    EXPECT_TRUE(biz_CMDSWork::bRetFlag);
    EXPECT_TRUE(biz_CMDSWork::iTimeDisplayToUI);
    EXPECT_EQ(biz_CMDSWork::iTimeoutCount, 0);
    EXPECT_EQ(biz_CMDSWork::iWatchdogSleepCnt, 0);
    EXPECT_EQ(biz_CMDSWork::nSysPlan, 0);
}

void expectFreshOsdChannel()
{
    EXPECT_TRUE(biz_Osd_CMDSWork::m_qsIp.isEmpty());
    EXPECT_TRUE(biz_Osd_CMDSWork::queueHexCmd.isEmpty());
    EXPECT_TRUE(biz_Osd_CMDSWork::m_bRetFlag.isEmpty());
    EXPECT_TRUE(biz_Osd_CMDSWork::receivequeueHexCmd.empty());
}

} // namespace

DeviceChannelGuard::DeviceChannelGuard()
{
    locksAreFree(deviceChannelLocks());
    expectFreshDeviceChannel();
}

DeviceChannelGuard::~DeviceChannelGuard()
{
    if (!locksAreFree(deviceChannelLocks())) {
        return;
    }
    biz_CMDSWork::queueHexCmd = {};
    biz_CMDSWork::receivequeueHexCmd = {};
    biz_CMDSWork::ListCMDS.clear();
    biz_CMDSWork::deviceType = -1;
    biz_CMDSWork::iSN = 1;
    biz_CMDSWork::iTimeout = 6000;
    biz_CMDSWork::bRetFlag = true;
    biz_CMDSWork::iTimeDisplayToUI = true;
    biz_CMDSWork::iTimeoutCount = 0;
    biz_CMDSWork::iWatchdogSleepCnt = 0;
    biz_CMDSWork::nSysPlan = 0;
    expectFreshDeviceChannel();
}

OsdChannelGuard::OsdChannelGuard()
{
    locksAreFree(osdChannelLocks());
    expectFreshOsdChannel();
}

OsdChannelGuard::~OsdChannelGuard()
{
    if (!locksAreFree(osdChannelLocks())) {
        return;
    }
    biz_Osd_CMDSWork::m_qsIp.clear();
    biz_Osd_CMDSWork::queueHexCmd.clear();
    biz_Osd_CMDSWork::m_bRetFlag.clear();
    biz_Osd_CMDSWork::receivequeueHexCmd = {};
    expectFreshOsdChannel();
}

} // namespace biz::test
