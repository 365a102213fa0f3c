#include <device/device_channel_p.h>

#include <algorithm>
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

/** What waits in the receive queue: answers in their order, then the others in theirs. */
class ReplyOrder
{
public:
    ReplyOrder(std::queue<model_Protocoldata> *queue, const IsAnswer &isAnswer)
        : m_isAnswer(isAnswer)
    {
        for (; !queue->empty(); queue->pop()) {
            add(queue->front());
        }
    }

    void add(const model_Protocoldata &reply) { (m_isAnswer(reply.nTag) ? m_answers : m_others).push_back(reply); }

    /** Takes the oldest of the others out that are more than so many. */
    std::vector<model_Protocoldata> keepOthers(std::size_t most)
    {
        const std::size_t surplus = m_others.size() - std::min(most, m_others.size());
        const auto end = m_others.begin() + static_cast<std::ptrdiff_t>(surplus);
        std::vector<model_Protocoldata> dropped(m_others.begin(), end);
        m_others.erase(m_others.begin(), end);
        return dropped;
    }

    void fill(std::queue<model_Protocoldata> *queue) const
    {
        for (const auto *replies : {&m_answers, &m_others}) {
            for (const model_Protocoldata &reply : *replies) {
                queue->push(reply);
            }
        }
    }

private:
    const IsAnswer &m_isAnswer;
    std::vector<model_Protocoldata> m_answers;
    std::vector<model_Protocoldata> m_others;
};

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

std::vector<model_Protocoldata> pushReply(const model_Protocoldata &reply, const IsAnswer &isAnswer)
{
    const Lock lock(biz_CMDSWork::receiveHexCmdlock);
    std::queue<model_Protocoldata> &queue = biz_CMDSWork::receivequeueHexCmd;
    const bool isFull = queue.size() >= maxRepliesWaiting;
    if (!isFull && (queue.empty() || !isAnswer(reply.nTag))) {
        queue.push(reply);
        return {};
    }
    ReplyOrder order(&queue, isAnswer);
    order.add(reply);
    // Half of them at once: the next ones are queued without a look at all that wait.
    std::vector<model_Protocoldata> dropped = order.keepOthers(isFull ? maxRepliesWaiting / 2 : maxRepliesWaiting);
    order.fill(&queue);
    return dropped;
}

} // namespace biz::host::device_channel
