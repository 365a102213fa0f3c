#ifndef BIZ_TESTS_CONTRACT_WITNESS_H
#define BIZ_TESTS_CONTRACT_WITNESS_H

#include <map>
#include <string>

/** Static members of both channels, by their name as the linker spells it. */
using Addresses = std::map<std::string, const void *>;

/** As the calling file sees them; compiled into the test program and into its witness. */
#define BIZ_STATIC_MEMBER_ADDRESSES                                                                                    \
    {                                                                                                                  \
        {"_ZN12biz_CMDSWork11queueHexCmdE", &biz_CMDSWork::queueHexCmd},                                               \
            {"_ZN12biz_CMDSWork18receivequeueHexCmdE", &biz_CMDSWork::receivequeueHexCmd},                             \
            {"_ZN12biz_CMDSWork10HexCmdlockE", &biz_CMDSWork::HexCmdlock},                                             \
            {"_ZN12biz_CMDSWork17receiveHexCmdlockE", &biz_CMDSWork::receiveHexCmdlock},                               \
            {"_ZN12biz_CMDSWork8ListCMDSE", &biz_CMDSWork::ListCMDS},                                                  \
            {"_ZN12biz_CMDSWork10deviceTypeE", &biz_CMDSWork::deviceType},                                             \
            {"_ZN12biz_CMDSWork3iSNE", &biz_CMDSWork::iSN}, {"_ZN12biz_CMDSWork8iTimeoutE", &biz_CMDSWork::iTimeout},  \
            {"_ZN12biz_CMDSWork8bRetFlagE", &biz_CMDSWork::bRetFlag},                                                  \
            {"_ZN12biz_CMDSWork16iTimeDisplayToUIE", &biz_CMDSWork::iTimeDisplayToUI},                                 \
            {"_ZN12biz_CMDSWork13iTimeoutCountE", &biz_CMDSWork::iTimeoutCount},                                       \
            {"_ZN12biz_CMDSWork17iWatchdogSleepCntE", &biz_CMDSWork::iWatchdogSleepCnt},                               \
            {"_ZN12biz_CMDSWork8nSysPlanE", &biz_CMDSWork::nSysPlan},                                                  \
            {"_ZN16biz_Osd_CMDSWork6m_qsIpE", &biz_Osd_CMDSWork::m_qsIp},                                              \
            {"_ZN16biz_Osd_CMDSWork11queueHexCmdE", &biz_Osd_CMDSWork::queueHexCmd},                                   \
            {"_ZN16biz_Osd_CMDSWork10m_bRetFlagE", &biz_Osd_CMDSWork::m_bRetFlag},                                     \
            {"_ZN16biz_Osd_CMDSWork18receivequeueHexCmdE", &biz_Osd_CMDSWork::receivequeueHexCmd},                     \
            {"_ZN16biz_Osd_CMDSWork10HexCmdlockE", &biz_Osd_CMDSWork::HexCmdlock},                                     \
            {"_ZN16biz_Osd_CMDSWork17receiveHexCmdlockE", &biz_Osd_CMDSWork::receiveHexCmdlock},                       \
    }

/** As a second shared object of the host sees them. */
__attribute__((visibility("default"))) Addresses addressesSeenByTheWitness();

#endif
