// Calls and passes in any order, with clocks outside of 32 bits and lists out of step. What
// must hold: who is sent to in a pass, who is freed by a time-out, what a clear forgets. What
// becomes of a command that finds no queue has no answer to compare with.

#include "channel_calls.h"

#include <vector>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

namespace {

using namespace biz::test;
using biz::fuzz::Input;
using biz::fuzz::require;

void resetChannel()
{
    biz_Osd_CMDSWork::m_qsIp.clear();
    biz_Osd_CMDSWork::queueHexCmd.clear();
    biz_Osd_CMDSWork::m_bRetFlag.clear();
    biz_Osd_CMDSWork::receivequeueHexCmd = std::queue<model_OsdParam>();
}

class Calls : public biz::fuzz::ChannelCalls<biz_Osd_CMDSWork>
{
public:
    explicit Calls(Input &input)
        : ChannelCalls(input)
    {
        connect();
        startSendLoop();
        m_timeoutLoop = m_time.threadCount();
        startReceiveLoop();
    }

    ~Calls() override { finish(); }

private:
    void connect();
    void oneCall() override;
    void enqueue();
    void handOver();
    void setFlag();
    void sendPass();
    void timeoutPass();
    void receivePass();
    void clear();
    void setClock();
    void disturb();
    model_OsdParam record();

    ThreadId m_timeoutLoop = 0;
    quint32 m_tags = 0;
    std::vector<quint32> m_sent;
    std::vector<quint32> m_received;
};

void Calls::connect()
{
    const auto noteTag = [](std::vector<quint32> &tags) {
        return [&tags](void *record) {
            tags.push_back(static_cast<model_OsdParam *>(record)->nTag);
        };
    };
    QObject::connect(&m_worker, &biz_Osd_CMDSWork::signalSendMessage, &m_worker, noteTag(m_sent), Qt::DirectConnection);
    QObject::connect(&m_worker, &biz_Osd_CMDSWork::signalSendReceiveMessage, &m_worker, noteTag(m_received),
                     Qt::DirectConnection);
}

void Calls::oneCall()
{
    switch (m_input.below(12)) {
    case 0:
    case 1:
    case 2:
        return enqueue();
    case 3:
        return handOver();
    case 4:
        return setFlag();
    case 5:
    case 6:
        return sendPass();
    case 7:
        return timeoutPass();
    case 8:
        return receivePass();
    case 9:
        return clear();
    case 10:
        return setClock();
    default:
        return disturb();
    }
}

model_OsdParam Calls::record()
{
    constexpr int devices = 4;
    model_OsdParam record;
    record.qsIp = QString(m_input.below(devices), u'1'); // the empty address is one, too
    record.iWaitTime = m_input.word() - 1000;
    record.nTag = m_tags++;
    return record;
}

void Calls::enqueue()
{
    const model_OsdParam command = record();
    const bool isKnown = biz_Osd_CMDSWork::m_qsIp.contains(command.qsIp);
    const auto devices = biz_Osd_CMDSWork::m_qsIp.size();
    biz_Osd_CMDSWork::addToSendQueue(command);
    require(biz_Osd_CMDSWork::m_qsIp.size() == devices + (isKnown ? 0 : 1), "a new address is a new device");
    require(isKnown || biz_Osd_CMDSWork::m_bRetFlag.value(command.qsIp), "a new device may be sent to");
}

void Calls::handOver()
{
    const model_OsdParam reply = record();
    const bool isKnown = biz_Osd_CMDSWork::m_bRetFlag.contains(reply.qsIp);
    biz_Osd_CMDSWork::addToReceiveQueue(reply);
    require(biz_Osd_CMDSWork::m_bRetFlag.contains(reply.qsIp) == isKnown, "a reply makes no device known");
    require(!isKnown || biz_Osd_CMDSWork::m_bRetFlag.value(reply.qsIp), "a reply frees its device");
    require(biz_Osd_CMDSWork::receivequeueHexCmd.back().nTag == reply.nTag, "a reply waits behind all others");
}

void Calls::setFlag()
{
    const model_OsdParam device = record();
    const bool value = m_input.below(2) == 0;
    const bool isKnown = biz_Osd_CMDSWork::m_bRetFlag.contains(device.qsIp);
    biz_Osd_CMDSWork::setRetFlag(device.qsIp, value);
    require(biz_Osd_CMDSWork::m_bRetFlag.contains(device.qsIp) == isKnown, "a flag makes no device known");
    require(!isKnown || biz_Osd_CMDSWork::m_bRetFlag.value(device.qsIp) == value, "a flag has its new value");
}

void Calls::sendPass()
{
    std::vector<quint32> expected;
    auto flags = biz_Osd_CMDSWork::m_bRetFlag;
    const auto &devices = biz_Osd_CMDSWork::m_qsIp;
    for (int slot = 0; slot < devices.size(); ++slot) {
        bool &isFree = flags[devices.at(slot)]; // a device without a flag gets one, and waits
        if (isFree && slot < biz_Osd_CMDSWork::queueHexCmd.size() && !biz_Osd_CMDSWork::queueHexCmd[slot].empty()) {
            expected.push_back(biz_Osd_CMDSWork::queueHexCmd[slot].front().nTag);
            isFree = false;
        }
    }
    m_sent.clear();
    m_time.step(m_sendLoop);
    require(m_sent == expected, "a pass serves each free device with a command, in their order");
    require(biz_Osd_CMDSWork::m_bRetFlag == flags, "a pass takes the flags of those that it serves, and no other");
}

/** Seconds that 32 bits cannot tell count as their highest value. */
quint32 inThirtyTwoBits(qint64 secondsSince1970)
{
    const bool fits = secondsSince1970 >= 0 && secondsSince1970 <= 0xFFFFFFFF;
    return fits ? static_cast<quint32>(secondsSince1970) : 0xFFFFFFFF;
}

void Calls::timeoutPass()
{
    auto flags = biz_Osd_CMDSWork::m_bRetFlag;
    const auto commands = m_worker.m_mapCurSend;
    const auto sendTimes = m_worker.m_mapSendTime;
    m_time.step(m_timeoutLoop); // the clock stands still between the pass's reading and this one's
    const quint32 now = inThirtyTwoBits(m_time.wallClock().toSecsSinceEpoch());

    for (const QString &ip : biz_Osd_CMDSWork::m_qsIp) {
        const qint64 wait = commands.value(ip).iWaitTime / 1000;
        const auto deadline = static_cast<quint32>((sendTimes.value(ip) + wait) & 0xFFFFFFFF);
        flags[ip] = flags.value(ip) || now >= deadline;
    }
    require(biz_Osd_CMDSWork::m_bRetFlag == flags, "a pass frees the devices whose wait is over, and no other");
}

void Calls::receivePass()
{
    std::vector<quint32> expected;
    if (!biz_Osd_CMDSWork::receivequeueHexCmd.empty()) {
        expected.push_back(biz_Osd_CMDSWork::receivequeueHexCmd.front().nTag);
    }
    m_received.clear();
    m_time.step(m_receiveLoop);
    require(m_received == expected, "a pass announces the oldest reply");
}

void Calls::clear()
{
    const std::size_t replies = biz_Osd_CMDSWork::receivequeueHexCmd.size();
    m_worker.clearQueue();
    require(biz_Osd_CMDSWork::m_qsIp.isEmpty() && biz_Osd_CMDSWork::queueHexCmd.isEmpty() &&
                biz_Osd_CMDSWork::m_bRetFlag.isEmpty() && m_worker.m_mapCurSend.isEmpty() &&
                m_worker.m_mapSendTime.isEmpty(),
            "a clear forgets every device");
    require(biz_Osd_CMDSWork::receivequeueHexCmd.size() == replies, "a clear leaves the replies");
}

/** From before 1970 to beyond what 32 bits of seconds can tell. */
void Calls::setClock()
{
    const qint64 seconds = (static_cast<qint64>(m_input.word()) - 0x100) * 0x20000 + m_input.word();
    m_time.setWallClock(QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC));
}

/** What a careless host may do to the public lists: they are out of step until the next clear. */
void Calls::disturb()
{
    switch (m_input.below(4)) {
    case 0:
        biz_Osd_CMDSWork::m_bRetFlag.remove(record().qsIp);
        break;
    case 1:
        biz_Osd_CMDSWork::m_qsIp.append(record().qsIp);
        break;
    case 2:
        if (!biz_Osd_CMDSWork::queueHexCmd.isEmpty()) {
            biz_Osd_CMDSWork::queueHexCmd.removeLast();
        }
        break;
    default:
        if (!biz_Osd_CMDSWork::m_qsIp.isEmpty()) {
            biz_Osd_CMDSWork::m_qsIp.removeLast();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    return biz::fuzz::playOnFreshChannel<Calls>(data, size, resetChannel);
}
