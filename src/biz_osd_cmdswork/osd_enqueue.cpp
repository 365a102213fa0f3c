#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

#include <biz_osd_cmdswork/osd_diagnostics_p.h>

namespace {

using namespace biz;

void enqueueForKnownDevice(int slot, const model_OsdParam &data)
{
    auto &queues = biz_Osd_CMDSWork::queueHexCmd;

    osd_diagnostics::knownDeviceLocked();
    // Deliberate: with lists out of step the command is dropped rather than filed beyond
    // the last queue.
    if (slot < queues.size()) {
        queues[slot].push(data);
    }
    osd_diagnostics::knownDeviceLeaving();
}

void enqueueForNewDevice(const model_OsdParam &data)
{
    biz_Osd_CMDSWork::m_qsIp.append(data.qsIp);
    std::queue<model_OsdParam> queue;
    queue.push(data);

    osd_diagnostics::newDeviceLocked();
    biz_Osd_CMDSWork::queueHexCmd.append(queue);
    biz_Osd_CMDSWork::m_bRetFlag[data.qsIp] = true;
    osd_diagnostics::newDeviceLeaving();
}

} // namespace

void biz_Osd_CMDSWork::addToSendQueue(model_OsdParam data)
{
    osd_diagnostics::enqueueEntered();

    const std::lock_guard<std::mutex> lock(HexCmdlock);
    const auto slot = static_cast<int>(m_qsIp.indexOf(data.qsIp));
    if (slot >= 0) {
        enqueueForKnownDevice(slot, data);
    } else {
        enqueueForNewDevice(data);
    }
}
