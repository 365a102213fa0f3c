#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

#include <thread>
#include <utility>

#include <biz_osd_cmdswork/osd_channel_timing_p.h>
#include <biz_osd_cmdswork/osd_clock_p.h>
#include <platform/sleep_p.h>
#include <platform/unlocked_access_p.h>

namespace {

using namespace biz;

/** Whether commands wait in a slot; a slot beyond the last queue has none. */
bool hasCommand(int slot)
{
    const auto &queues = biz_Osd_CMDSWork::queueHexCmd;
    return slot < queues.size() && !queues.at(slot).empty();
}

/** Moves the next command of a slot to the end of `taken`, and notes what is sent, and when. */
void takeCommand(biz_Osd_CMDSWork &worker, int slot, QVector<model_OsdParam> &taken)
{
    auto &queue = biz_Osd_CMDSWork::queueHexCmd[slot];
    taken.append(std::move(queue.front()));
    queue.pop();

    const model_OsdParam &command = taken.constLast();
    worker.m_mapCurSend[command.qsIp] = command;
    worker.m_mapSendTime[command.qsIp] = osd::wallClockSeconds();
}

/** At most one command of each free device, in the order of the slots. */
QVector<model_OsdParam> takeCommands(biz_Osd_CMDSWork &worker)
{
    QVector<model_OsdParam> taken;
    const auto &devices = biz_Osd_CMDSWork::m_qsIp;

    const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::HexCmdlock);
    for (int slot = 0; slot < devices.size(); ++slot) {
        // Deliberate: a device whose entry went missing gets one, and waits.
        bool &mayBeSentTo = biz_Osd_CMDSWork::m_bRetFlag[devices.at(slot)];
        if (!mayBeSentTo || !hasCommand(slot)) {
            continue;
        }
        takeCommand(worker, slot, taken);
        // Deliberate: the flag is the slot's, time and copy stand under the record's own IP.
        mayBeSentTo = false;
    }
    return taken;
}

void sendPass(biz_Osd_CMDSWork &worker)
{
    QVector<model_OsdParam> taken = takeCommands(worker);
    if (taken.isEmpty()) {
        return; // the loop below would make an empty list a list of its own first
    }
    for (model_OsdParam &command : taken) {
        Q_EMIT worker.signalSendMessage(&command);
        Q_EMIT worker.signalSendMessageUipro(&command);
    }
}

} // namespace

void biz_Osd_CMDSWork::a1_GetQueueWork()
{
    // Detached, whatever the run flag says: it ends by itself within one of its passes
    // once the flag is cleared, and the object must outlive that.
    std::thread(&biz_Osd_CMDSWork::a1_TimeOutWork, this).detach();

    while (unlocked::load(m_bSendRun)) {
        platform::sleepFor(osd_timing::sendPassPeriod);
        sendPass(*this);
    }
}
