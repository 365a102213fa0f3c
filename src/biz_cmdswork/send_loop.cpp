#include <biz_cmdswork/biz_cmdswork.h>

#include <atomic>
#include <utility>

#include <biz_cmdswork/channel_counters_p.h>
#include <biz_cmdswork/channel_timing_p.h>
#include <biz_cmdswork/resend_p.h>
#include <platform/sleep_p.h>
#include <platform/unlocked_access_p.h>

namespace {

using namespace biz;

/**
 * Moves the front command into `m_curSend` and closes the gate behind it. Returns false
 * when a clear has emptied the queue in the meantime.
 */
bool takeCommand(biz_CMDSWork &worker)
{
    auto &queue = biz_CMDSWork::queueHexCmd;

    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    const bool taken = !queue.empty();
    if (taken) {
        worker.m_curSend = std::move(queue.front());
        queue.pop();
    }
    // Deliberate: the gate closes even when nothing was left to take. A clear during the take
    // has opened it before that, so the host opens it again.
    if (unlocked::load(biz_CMDSWork::nSysPlan) == 0) {
        biz_CMDSWork::bRetFlag = false;
    }
    return taken;
}

void stampAndCount(biz_CMDSWork &worker)
{
    worker.m_curSend.ucHead[0] = static_cast<uchar>(unlocked::load(biz_CMDSWork::iSN));
    channel::countUp(biz_CMDSWork::iSN);

    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::iTimeoutCount = 0;
    biz_CMDSWork::iWatchdogSleepCnt = 0;
}

void announce(biz_CMDSWork &worker)
{
    Q_EMIT worker.signalSendMessage(&worker.m_curSend);
    Q_EMIT worker.signalQueueSize(static_cast<int>(unlocked::queueSize(biz_CMDSWork::queueHexCmd)));
    Q_EMIT worker.signalSendMessageUipro(&worker.m_curSend);
}

void reportBlockedPass(biz_CMDSWork &worker, std::size_t waiting)
{
    // One count for all workers of the channel, whatever thread they run on.
    static std::atomic<int> count{0};

    if (++count % timing::blockedPassesPerReport == 0) {
        Q_EMIT worker.signalQueueSize(static_cast<int>(waiting));
        count = 0;
    }
}

void checkTimeout(biz_CMDSWork &worker, int lastSent)
{
    const qint64 passes = channel::countUp(biz_CMDSWork::iWatchdogSleepCnt);
    if (passes * timing::passCountsAs.count() < worker.m_curSend.iWaitTime) {
        return;
    }
    // A clear has moved iSN on: nobody waits for the command in flight any more.
    if (lastSent != unlocked::load(biz_CMDSWork::iSN)) {
        return;
    }
    if (unlocked::load(biz_CMDSWork::bRetFlag)) {
        channel::openGate();
        return;
    }
    if (channel::resendOrGiveUp(worker) == channel::TimeoutAction::Resent) {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        biz_CMDSWork::iWatchdogSleepCnt = 0;
    }
}

/**
 * One pass after its sleep. `lastSent` is the value of `iSN` that stood after this loop's
 * last send; 0, which `iSN` never starts from, before the first one.
 */
void sendPass(biz_CMDSWork &worker, int &lastSent)
{
    const std::size_t waiting = unlocked::queueSize(biz_CMDSWork::queueHexCmd);
    if (waiting != 0) {
        if (unlocked::load(worker.m_bSkipSendcmd)) {
            unlocked::discard(biz_CMDSWork::queueHexCmd);
            return;
        }
        if (!unlocked::load(biz_CMDSWork::bRetFlag)) {
            reportBlockedPass(worker, waiting);
        } else if (takeCommand(worker)) {
            stampAndCount(worker);
            announce(worker);
            // Read after the emissions: a clear from inside a slot leaves the check armed.
            lastSent = unlocked::load(biz_CMDSWork::iSN);
            return;
        }
    }
    checkTimeout(worker, lastSent);
}

} // namespace

void biz_CMDSWork::a1_GetQueueWork()
{
    int lastSent = 0;
    while (unlocked::load(m_bSendRun)) {
        platform::sleepFor(timing::sendPassPeriod);
        sendPass(*this, lastSent);
    }
}
