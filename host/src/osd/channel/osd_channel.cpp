#include <osd/channel/osd_channel_p.h>

#include <deque>
#include <mutex>

namespace biz::host::osd_channel {

namespace {

using Lock = std::lock_guard<std::mutex>;

/** How many bytes each reply has that waits for the receive loop, which takes them from the front; under its lock. */
class WaitingSizes
{
public:
    qint64 total() const { return m_total; }

    void add(qint64 size)
    {
        m_sizes.push_back(size);
        m_total += size;
    }

    /** Those before them have been taken. */
    void keepLast(std::size_t count)
    {
        for (; m_sizes.size() > count; m_sizes.pop_front()) {
            m_total -= m_sizes.front();
        }
    }

private:
    std::deque<qint64> m_sizes;
    qint64 m_total = 0;
};

/** Never destroyed: the receive loop may outlive main(). */
WaitingSizes &waitingSizes()
{
    static auto *const all = new WaitingSizes;
    return *all;
}

} // namespace

void push(const model_OsdParam &command)
{
    biz_Osd_CMDSWork::addToSendQueue(command);
}

void freeDevice(const biz_Osd_CMDSWork &worker, const QString &ip, quint32 tag)
{
    const Lock lock(biz_Osd_CMDSWork::HexCmdlock);
    const auto current = worker.m_mapCurSend.constFind(ip);
    const auto flag = biz_Osd_CMDSWork::m_bRetFlag.find(ip);
    if (current != worker.m_mapCurSend.constEnd() && current->nTag == tag &&
        flag != biz_Osd_CMDSWork::m_bRetFlag.end()) {
        *flag = true;
    }
}

std::size_t pushReply(const model_OsdParam &reply)
{
    const Lock lock(biz_Osd_CMDSWork::receiveHexCmdlock);
    auto &replies = biz_Osd_CMDSWork::receivequeueHexCmd;
    waitingSizes().keepLast(replies.size());
    std::size_t dropped = 0;
    for (; replies.size() >= maxRepliesWaiting || waitingSizes().total() > maxReplyBytesWaiting; ++dropped) {
        replies.pop();
        waitingSizes().keepLast(replies.size());
    }
    replies.push(reply);
    waitingSizes().add(reply.baData.size());
    return dropped;
}

void dropReplies()
{
    const Lock lock(biz_Osd_CMDSWork::receiveHexCmdlock);
    biz_Osd_CMDSWork::receivequeueHexCmd = {};
}

QStringList freeAmong(const QStringList &ips)
{
    QStringList free;
    const Lock lock(biz_Osd_CMDSWork::HexCmdlock);
    for (const QString &ip : ips) {
        if (biz_Osd_CMDSWork::m_bRetFlag.value(ip, false)) {
            free.append(ip);
        }
    }
    return free;
}

bool isFree(const QString &ip)
{
    const Lock lock(biz_Osd_CMDSWork::HexCmdlock);
    return biz_Osd_CMDSWork::m_bRetFlag.value(ip, false);
}

void lockForGood()
{
    biz_Osd_CMDSWork::HexCmdlock.lock();
}

void tryLockForGood()
{
    static_cast<void>(biz_Osd_CMDSWork::HexCmdlock.try_lock());
    static_cast<void>(biz_Osd_CMDSWork::receiveHexCmdlock.try_lock());
}

} // namespace biz::host::osd_channel
