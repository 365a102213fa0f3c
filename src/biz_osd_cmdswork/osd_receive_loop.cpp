#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

#include <utility>

#include <biz_osd_cmdswork/osd_channel_timing_p.h>
#include <platform/sleep_p.h>
#include <platform/unlocked_access_p.h>

namespace {

using namespace biz;

/** Moves the front reply into `reply`; false when none waits. */
bool takeReply(model_OsdParam &reply)
{
    auto &queue = biz_Osd_CMDSWork::receivequeueHexCmd;

    const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::receiveHexCmdlock);
    if (queue.empty()) {
        return false;
    }
    reply = std::move(queue.front());
    queue.pop();
    return true;
}

void receivePass(biz_Osd_CMDSWork &worker)
{
    model_OsdParam reply;
    if (takeReply(reply)) {
        Q_EMIT worker.signalSendReceiveMessage(&reply);
    }
}

} // namespace

void biz_Osd_CMDSWork::a1_receiveGetQueueWork()
{
    while (unlocked::load(m_bRecvRun)) {
        platform::sleepFor(osd_timing::receivePassPeriod);
        receivePass(*this);
    }
}
