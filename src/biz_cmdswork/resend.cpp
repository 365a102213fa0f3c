#include <biz_cmdswork/resend_p.h>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_cmdswork/channel_counters_p.h>
#include <biz_cmdswork/channel_timing_p.h>
#include <biz_cmdswork/diagnostics_p.h>
#include <platform/sleep_p.h>

namespace biz::channel {

TimeoutAction resendOrGiveUp(biz_CMDSWork &worker)
{
    const int timeouts = countUp(biz_CMDSWork::iTimeoutCount);
    diagnostics::timedOut(timeouts);

    if (timeouts < timing::timeoutsToGiveUp) {
        Q_EMIT worker.signalInitCore();
        platform::sleepFor(timing::resendDelay);
        // The same record with the same sequence number: for the device it is one command.
        Q_EMIT worker.signalSendMessage(&worker.m_curSend);
        return TimeoutAction::Resent;
    }
    diagnostics::gaveUp();
    openGate();
    return TimeoutAction::GaveUp;
}

} // namespace biz::channel
