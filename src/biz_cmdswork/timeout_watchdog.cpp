#include <biz_cmdswork/biz_cmdswork.h>

#include <thread>

#include <biz_cmdswork/channel_counters_p.h>
#include <biz_cmdswork/resend_p.h>
#include <platform/sleep_p.h>
#include <platform/unlocked_access_p.h>

using namespace biz;

int biz_CMDSWork::setWatchdogSleepTime()
{
    return platform::sleepFor(std::chrono::milliseconds(unlocked::load(m_curSend.iWaitTime)));
}

void biz_CMDSWork::timeoutWatchdog(int sn)
{
    if (unlocked::load(m_bSkipSendcmd)) {
        unlocked::discard(queueHexCmd);
        return;
    }
    setWatchdogSleepTime();
    // A newer command has been sent, or the queue has been cleared.
    if (sn != unlocked::load(iSN)) {
        return;
    }
    if (unlocked::load(bRetFlag)) {
        channel::openGate();
        return;
    }
    if (channel::resendOrGiveUp(*this) == channel::TimeoutAction::Resent) {
        // Detached: nobody is left to join it. The object must outlive its wait.
        std::thread(&biz_CMDSWork::timeoutWatchdog, this, unlocked::load(iSN)).detach();
    }
}
