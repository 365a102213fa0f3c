#include <device/channel/device_channel_p.h>

#include <algorithm>
#include <mutex>

#include <biz_cmdswork/biz_cmdswork.h>

namespace biz::host::device_channel {

namespace {

using Lock = std::lock_guard<std::mutex>;

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

void setPipelined(bool on)
{
    biz_CMDSWork::nSysPlan = on ? 1 : 0;
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
    }
    const Lock lock(biz_CMDSWork::receiveHexCmdlock);
    replies.swap(biz_CMDSWork::receivequeueHexCmd);
}

void handOver(bool opensGate, const std::vector<model_Protocoldata> &commands)
{
    const Lock lock(biz_CMDSWork::HexCmdlock);
    if (opensGate) {
        biz_CMDSWork::bRetFlag = true;
    }
    for (const model_Protocoldata &command : commands) {
        biz_CMDSWork::queueHexCmd.push(command);
    }
}

bool isGateClosed()
{
    const Lock lock(biz_CMDSWork::HexCmdlock);
    return !biz_CMDSWork::bRetFlag;
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

void tryLockForGood()
{
    static_cast<void>(biz_CMDSWork::HexCmdlock.try_lock());
    static_cast<void>(biz_CMDSWork::receiveHexCmdlock.try_lock());
}

} // namespace biz::host::device_channel
