#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

#include <optional>
#include <utility>

#include <biz_osd_cmdswork/osd_channel_timing_p.h>
#include <platform/sleep_p.h>
#include <platform/unlocked_access_p.h>

namespace {

using namespace biz;

/** Takes the front reply; nothing when none waits, which is the rule and makes no record. */
std::optional<model_OsdParam> takeReply()
{
    auto &queue = biz_Osd_CMDSWork::receivequeueHexCmd;

    const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::receiveHexCmdlock);
    if (queue.empty()) {
        return std::nullopt;
    }
    std::optional<model_OsdParam> reply(std::move(queue.front()));
    queue.pop();
    return reply;
}

void receivePass(biz_Osd_CMDSWork &worker)
{
    if (std::optional<model_OsdParam> reply = takeReply()) {
        Q_EMIT worker.signalSendReceiveMessage(&*reply);
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
