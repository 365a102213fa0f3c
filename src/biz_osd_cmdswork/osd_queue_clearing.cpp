#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

#include <biz_osd_cmdswork/osd_diagnostics_p.h>

using namespace biz;

// Deliberate: replies that have already come stay queued and are still delivered.
void biz_Osd_CMDSWork::clearQueue()
{
    {
        const std::lock_guard<std::mutex> lock(HexCmdlock);
        m_qsIp.clear();
        osd_diagnostics::clearQueueLocked();
        queueHexCmd.clear();
        m_bRetFlag.clear();
        m_mapCurSend.clear();
        m_mapSendTime.clear();
    }
    osd_diagnostics::clearQueueLeft();
}
