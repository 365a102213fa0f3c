#include <biz_cmdswork/biz_cmdswork.h>

#include <biz_cmdswork/channel_counters_p.h>
#include <biz_cmdswork/channel_timing_p.h>
#include <biz_cmdswork/diagnostics_p.h>
#include <platform/unlocked_access_p.h>

using namespace biz;

void biz_CMDSWork::clearQueue()
{
    // A push that lands in between is discarded as well: the gate opens only over a queue
    // that was seen empty.
    while (unlocked::queueSize(queueHexCmd) != 0) {
        diagnostics::clearingQueue();

        const std::lock_guard<std::mutex> lock(HexCmdlock);
        bRetFlag = false;
        queueHexCmd = std::queue<model_Protocoldata>();
    }
    {
        const std::lock_guard<std::mutex> lock(HexCmdlock);
        bRetFlag = true;
        // Ends the time-out check of the command in flight.
        channel::addOne(iSN);
    }
    diagnostics::queueCleared();
}

void biz_CMDSWork::timeoutClearQueue()
{
    if (unlocked::load(iTimeoutCount) <= timing::timeoutsToleratedByClear) {
        return;
    }
    const std::lock_guard<std::mutex> lock(HexCmdlock);
    while (!queueHexCmd.empty()) {
        queueHexCmd.pop();
    }
    diagnostics::queueCleared();
    // Deliberate: gate and iSN stay, so the command in flight goes on being watched.
    iTimeoutCount = 0;
}
