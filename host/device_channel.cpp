#include <host/device_channel_p.h>

#include <mutex>

#include <biz_cmdswork/biz_cmdswork.h>

namespace biz::host::device_channel {

namespace {

using Lock = std::lock_guard<std::mutex>;

/** Under the lock: a watch goes by the number that was current when it began. */
void countSequenceUp()
{
    biz_CMDSWork::iSN = static_cast<int>(static_cast<unsigned>(biz_CMDSWork::iSN) + 1U);
}

} // namespace

void setDeviceType(int deviceType)
{
    biz_CMDSWork::deviceType = deviceType;
}

int deviceType()
{
    return biz_CMDSWork::deviceType;
}

void setSysPlan(int sysPlan)
{
    biz_CMDSWork::nSysPlan = sysPlan;
}

void reset()
{
    // What was in the queues is destroyed without their locks.
    std::queue<model_Protocoldata> commands;
    std::queue<model_Protocoldata> replies;
    {
        const Lock lock(biz_CMDSWork::HexCmdlock);
        commands.swap(biz_CMDSWork::queueHexCmd);
        biz_CMDSWork::bRetFlag = true;
        countSequenceUp();
    }
    const Lock lock(biz_CMDSWork::receiveHexCmdlock);
    replies.swap(biz_CMDSWork::receivequeueHexCmd);
}

void push(const model_Protocoldata &command)
{
    const Lock lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::queueHexCmd.push(command);
}

std::queue<model_Protocoldata> takeQueue()
{
    std::queue<model_Protocoldata> taken;
    const Lock lock(biz_CMDSWork::HexCmdlock);
    taken.swap(biz_CMDSWork::queueHexCmd);
    return taken;
}

void clear()
{
    std::queue<model_Protocoldata> commands; // destroyed without the lock
    const Lock lock(biz_CMDSWork::HexCmdlock);
    commands.swap(biz_CMDSWork::queueHexCmd);
    countSequenceUp();
}

void endWatch()
{
    const Lock lock(biz_CMDSWork::HexCmdlock);
    countSequenceUp();
}

bool isGateClosed()
{
    const Lock lock(biz_CMDSWork::HexCmdlock);
    return !biz_CMDSWork::bRetFlag;
}

void openGate(int waiting)
{
    const Lock lock(biz_CMDSWork::HexCmdlock);
    if (biz_CMDSWork::queueHexCmd.size() == static_cast<std::size_t>(waiting)) {
        biz_CMDSWork::bRetFlag = true;
    }
}

int nextSequence()
{
    const Lock lock(biz_CMDSWork::HexCmdlock);
    return biz_CMDSWork::iSN;
}

void pushReply(const model_Protocoldata &reply)
{
    const Lock lock(biz_CMDSWork::receiveHexCmdlock);
    biz_CMDSWork::receivequeueHexCmd.push(reply);
}

} // namespace biz::host::device_channel
