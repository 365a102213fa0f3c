#include "device_channel_fixture.h"

#include <mutex>

namespace biz::test {

namespace {

constexpr nanoseconds sendPass = milliseconds(10);
constexpr nanoseconds receivePass = milliseconds(5);

} // namespace

model_Protocoldata command(int tag, int waitMilliseconds)
{
    model_Protocoldata record;
    record.nTag = static_cast<quint32>(tag);
    record.iWaitTime = waitMilliseconds;
    record.ucHead[0] = 0xEE;
    record.ucHead[1] = 0xF1;
    return record;
}

model_Protocoldata acceptedReply(int tag)
{
    model_Protocoldata record;
    record.nTag = static_cast<quint32>(tag);
    const uchar head[7] = {0, 0xF1, 0x08, 15, 0x62, 0x01, 0};
    std::copy(std::begin(head), std::end(head), std::begin(record.ucHead));
    record.baData = QByteArray(354, '\x01');
    return record;
}

model_Protocoldata refusedReply(int tag)
{
    model_Protocoldata record = acceptedReply(tag);
    record.ucHead[3] = 16;
    return record;
}

DeviceChannelTest::DeviceChannelTest()
{
    worker.m_bSendRun = true;
    worker.m_bRecvRun = true;
    otherWorker.m_bSendRun = true;
    signals.attach(worker);
    signals.attach(otherWorker);
}

void DeviceChannelTest::TearDown()
{
    worker.m_bSendRun = false;
    worker.m_bRecvRun = false;
    otherWorker.m_bSendRun = false;
    time.finish();
}

void DeviceChannelTest::enqueue(const model_Protocoldata &record)
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::queueHexCmd.push(record);
}

void DeviceChannelTest::enqueue(const std::vector<int> &tags)
{
    for (const int tag : tags) {
        enqueue(command(tag));
    }
}

void DeviceChannelTest::pushReply(const model_Protocoldata &record)
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
    biz_CMDSWork::receivequeueHexCmd.push(record);
}

void DeviceChannelTest::setGate(bool open)
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::bRetFlag = open;
}

void DeviceChannelTest::putInFlight(int tag, int waitMilliseconds)
{
    enqueue(command(tag, waitMilliseconds));
    passes(1);
    ASSERT_EQ(announced(), Tags{tag});
    forgetAll();
}

void DeviceChannelTest::passes(int count)
{
    sendPasses(worker, sendLoop, count);
}

void DeviceChannelTest::passesOfOther(int count)
{
    sendPasses(otherWorker, otherSendLoop, count);
}

void DeviceChannelTest::sendPasses(biz_CMDSWork &ofWorker, ThreadId &loop, int count)
{
    if (loop == unfollowedThread) {
        loop = time.start("send loop", [&ofWorker] { ofWorker.a1_GetQueueWork(); });
    }
    for (int i = 0; i < count; ++i) {
        time.step(loop);
        // A resend sleeps inside its pass.
        while (time.isParked(loop) && time.wakeUpTime(loop) - time.now() != sendPass) {
            time.step(loop);
        }
    }
}

void DeviceChannelTest::receivePasses(int count)
{
    if (receiveLoop == unfollowedThread) {
        receiveLoop = time.start("receive loop", [this] { worker.a1_receiveGetQueueWork(); });
    }
    time.step(receiveLoop, count);
}

ThreadId DeviceChannelTest::startWatchdog(int sn)
{
    return time.start("watchdog", [this, sn] { worker.timeoutWatchdog(sn); });
}

void DeviceChannelTest::forgetAll()
{
    signals.clear();
    output.clear();
    journal.clear();
    time.forgetSleeps();
}

void DeviceChannelTest::journalSleeps()
{
    time.onSleep([this](const SleepRequest &request) {
        const nanoseconds length = seconds(request.seconds) + nanoseconds(request.nanoseconds);
        if (length != sendPass && length != receivePass) {
            journal.add("sleep " + std::to_string(request.seconds) + " s " + std::to_string(request.nanoseconds) +
                        " ns");
        }
    });
}

} // namespace biz::test
