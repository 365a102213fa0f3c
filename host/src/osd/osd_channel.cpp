#include <osd/osd_channel_p.h>

#include <mutex>

namespace biz::host::osd_channel {

namespace {

using Lock = std::lock_guard<std::mutex>;

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
    std::size_t dropped = 0;
    const Lock lock(biz_Osd_CMDSWork::receiveHexCmdlock);
    for (; biz_Osd_CMDSWork::receivequeueHexCmd.size() >= maxRepliesWaiting; ++dropped) {
        biz_Osd_CMDSWork::receivequeueHexCmd.pop();
    }
    biz_Osd_CMDSWork::receivequeueHexCmd.push(reply);
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
