#include <biz_cmdswork/biz_cmdswork.h>

#include <utility>

#include <biz_cmdswork/channel_timing_p.h>
#include <platform/sleep_p.h>
#include <platform/unlocked_access_p.h>

namespace {

using namespace biz;

/** Moves the front reply into `m_curRecv`; false when another loop was faster. */
bool takeReply(biz_CMDSWork &worker)
{
    auto &queue = biz_CMDSWork::receivequeueHexCmd;

    const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
    if (queue.empty()) {
        return false;
    }
    worker.m_curRecv = std::move(queue.front());
    queue.pop();
    return true;
}

void receivePass(biz_CMDSWork &worker)
{
    if (unlocked::queueSize(biz_CMDSWork::receivequeueHexCmd) == 0 || !takeReply(worker)) {
        return;
    }
    if (worker.checkRecvData(worker.m_curRecv)) {
        Q_EMIT worker.signalSendReceiveMessage(&worker.m_curRecv);
    } else {
        worker.writeErrorLog(worker.m_curRecv);
    }
}

} // namespace

void biz_CMDSWork::a1_receiveGetQueueWork()
{
    while (unlocked::load(m_bRecvRun)) {
        platform::sleepFor(timing::receivePassPeriod);
        receivePass(*this);
    }
}
