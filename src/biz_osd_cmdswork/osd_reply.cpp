#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

#include <biz_osd_cmdswork/osd_diagnostics_p.h>

using namespace biz;

void biz_Osd_CMDSWork::setRetFlag(QString ip, bool value)
{
    {
        const std::lock_guard<std::mutex> lock(HexCmdlock);
        osd_diagnostics::setRetFlagLocked();
        // No inserting look-up: a device that was never registered is not known by a reply.
        const auto flag = m_bRetFlag.find(ip);
        if (flag != m_bRetFlag.end()) {
            flag.value() = value;
        }
    }
    osd_diagnostics::setRetFlagLeft();
}

void biz_Osd_CMDSWork::addToReceiveQueue(model_OsdParam data)
{
    // The device is free before the host hears of the reply: its next command need not
    // wait for the receive loop.
    setRetFlag(data.qsIp, true);

    const std::lock_guard<std::mutex> lock(receiveHexCmdlock);
    receivequeueHexCmd.push(data);
}
