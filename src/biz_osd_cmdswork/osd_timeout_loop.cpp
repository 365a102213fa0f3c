#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

#include <biz_osd_cmdswork/osd_channel_timing_p.h>
#include <biz_osd_cmdswork/osd_clock_p.h>
#include <platform/sleep_p.h>
#include <platform/unlocked_access_p.h>

namespace {

using namespace biz;

/**
 * Whether the wait for a device's reply is over. The inserting look-ups are deliberate: a
 * device that this object never sent to counts as sent to at time 0 with no wait.
 */
bool isOverdue(biz_Osd_CMDSWork &worker, const QString &ip, quint32 now)
{
    const int wait = worker.m_mapCurSend[ip].iWaitTime / osd_timing::millisecondsPerSecond;
    // 32 bits that wrap, as the send time does; a negative wait ends before it began.
    const quint32 deadline = worker.m_mapSendTime[ip] + static_cast<quint32>(wait);
    return now >= deadline;
}

void timeoutPass(biz_Osd_CMDSWork &worker)
{
    const quint32 now = osd::wallClockSeconds();
    const auto &devices = biz_Osd_CMDSWork::m_qsIp;

    const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::HexCmdlock);
    for (const QString &ip : devices) {
        bool &mayBeSentTo = biz_Osd_CMDSWork::m_bRetFlag[ip];
        if (!mayBeSentTo && isOverdue(worker, ip, now)) {
            mayBeSentTo = true;
        }
    }
}

} // namespace

void biz_Osd_CMDSWork::a1_TimeOutWork()
{
    while (unlocked::load(m_bSendRun)) {
        platform::sleepFor(osd_timing::timeoutPassPeriod);
        timeoutPass(*this);
    }
}
