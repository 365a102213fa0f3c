// The OSD channel on real threads and in real time: what the thread sanitizer should see.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <support/channel_state_guard.h>

using Channel = biz_Osd_CMDSWork;

namespace {

/** Waits until a condition holds, without sleeping; false if that takes 30 seconds. */
bool eventually(const std::function<bool()> &condition)
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

std::ptrdiff_t threadsOfThisProcess()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
}

QString ipOf(int device)
{
    return QStringLiteral("10.0.2.%1").arg(device);
}

model_OsdParam command(int device, int feeder, quint32 number)
{
    model_OsdParam made;
    made.qsIp = ipOf(device);
    made.ucOsdHead[0] = static_cast<unsigned char>(feeder);
    made.iWaitTime = 1000;
    made.nTag = number;
    return made;
}

/** Records that one thread hands to another. */
class Mailbox
{
public:
    void put(const model_OsdParam &record)
    {
        const std::lock_guard<std::mutex> lock(guard);
        records.push_back(record);
    }

    std::vector<model_OsdParam> takeAll()
    {
        const std::lock_guard<std::mutex> lock(guard);
        return std::exchange(records, {});
    }

private:
    std::mutex guard;
    std::vector<model_OsdParam> records;
};

/** A worker with its three loops on real threads. */
class RunningWorker
{
public:
    RunningWorker()
    {
        QObject::connect(&worker, &Channel::signalSendMessage,
                         [this](void *sent) { outbox.put(*static_cast<model_OsdParam *>(sent)); });
        QObject::connect(&worker, &Channel::signalSendReceiveMessage, [this](void *) { ++delivered; });
        sendLoop = std::thread([this] { worker.a1_GetQueueWork(); });
        receiveLoop = std::thread([this] { worker.a1_receiveGetQueueWork(); });
    }

    /** The detached time-out loop may go on for another pass. */
    void stop()
    {
        worker.m_bSendRun = false;
        worker.m_bRecvRun = false;
        sendLoop.join();
        receiveLoop.join();
    }

    Channel worker;
    Mailbox outbox;
    std::atomic<int> delivered{0};

private:
    std::thread sendLoop;
    std::thread receiveLoop;
};

class OsdChannelThreads : public ::testing::Test
{
protected:
    OsdChannelThreads()
        : previousHandler(qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {}))
        , threadsBefore(threadsOfThisProcess())
    {
    }

    ~OsdChannelThreads() override { qInstallMessageHandler(previousHandler); }

    void start(std::function<void()> body) { helpers.emplace_back(std::move(body)); }

    void joinHelpers()
    {
        for (std::thread &helper : helpers) {
            helper.join();
        }
        helpers.clear();
    }

    /** After this nobody uses the stopped workers any more. */
    void awaitTheTimeOutLoops()
    {
        ASSERT_TRUE(eventually([this] { return threadsOfThisProcess() <= threadsBefore; }));
        // Their last pass comes before what follows, for the sanitizer's eyes as well.
        const std::lock_guard<std::mutex> lock(Channel::HexCmdlock);
    }

private:
    biz::test::OsdChannelGuard guard;
    QtMessageHandler previousHandler;
    std::ptrdiff_t threadsBefore;
    std::vector<std::thread> helpers;
};

TEST_F(OsdChannelThreads, EveryCommandOfEveryFeederLeavesOnceAndInOrderAndEveryReplyIsKept)
{
    constexpr int devices = 16;
    constexpr int feeders = 4;
    constexpr quint32 commandsPerFeederAndDevice = 25;
    constexpr int commands = devices * feeders * static_cast<int>(commandsPerFeederAndDevice);

    RunningWorker running;
    for (int feeder = 0; feeder < feeders; ++feeder) {
        start([feeder] {
            for (quint32 number = 0; number < commandsPerFeederAndDevice; ++number) {
                for (int device = 0; device < devices; ++device) {
                    Channel::addToSendQueue(command(device, feeder, number));
                }
            }
        });
    }

    QMap<QString, std::vector<quint32>> next;
    int sent = 0;
    bool inOrder = true;
    const bool allSent = eventually([&] {
        for (const model_OsdParam &one : running.outbox.takeAll()) {
            auto &numbers = next[one.qsIp];
            numbers.resize(feeders);
            inOrder = inOrder && one.nTag == numbers[one.ucOsdHead[0]]++;
            ++sent;
            Channel::addToReceiveQueue(one);
        }
        return sent >= commands;
    });
    joinHelpers();
    running.stop();
    awaitTheTimeOutLoops();

    EXPECT_TRUE(allSent) << sent << " of " << commands;
    EXPECT_TRUE(inOrder);
    EXPECT_TRUE(running.outbox.takeAll().empty());
    EXPECT_EQ(running.delivered + static_cast<int>(Channel::receivequeueHexCmd.size()), commands);
}

TEST_F(OsdChannelThreads, SlotsStayInStepWhileTwoObjectsRunAndEverybodyEnqueuesAnswersHoldsAndClears)
{
    constexpr int devices = 8;
    constexpr int rounds = 2000;

    RunningWorker first;
    RunningWorker second;
    std::atomic<bool> inStep{true};
    for (int feeder = 0; feeder < 3; ++feeder) {
        start([feeder] {
            for (int round = 0; round < rounds; ++round) {
                Channel::addToSendQueue(command((round + feeder) % devices, feeder, static_cast<quint32>(round)));
            }
        });
    }
    start([] {
        for (int round = 0; round < rounds; ++round) {
            Channel::setRetFlag(ipOf(round % devices), round % 3 != 0);
            Channel::addToReceiveQueue(command(round % devices, 0, 0));
        }
    });
    start([&] {
        for (int round = 0; round < rounds; ++round) {
            (round % 2 == 0 ? first : second).worker.clearQueue();
            const std::lock_guard<std::mutex> lock(Channel::HexCmdlock);
            const bool paired = Channel::m_qsIp.size() == Channel::queueHexCmd.size();
            inStep = inStep && paired && Channel::m_bRetFlag.keys().size() == Channel::m_qsIp.size();
        }
    });
    joinHelpers();
    first.stop();
    second.stop();
    awaitTheTimeOutLoops();

    EXPECT_TRUE(inStep);
    EXPECT_EQ(Channel::m_qsIp.size(), Channel::queueHexCmd.size());
    EXPECT_EQ(first.delivered + second.delivered + static_cast<int>(Channel::receivequeueHexCmd.size()), rounds);
}

TEST_F(OsdChannelThreads, OverdueDevicesAreFreedByTheDetachedLoopWhileOthersAreServed)
{
    RunningWorker running;
    for (const int device : {1, 2}) {
        for (quint32 number = 0; number < 2; ++number) {
            model_OsdParam silent = command(device, 0, number);
            silent.iWaitTime = 0;
            Channel::addToSendQueue(silent);
        }
    }

    std::size_t sent = 0;
    const bool allSent = eventually([&] {
        sent += running.outbox.takeAll().size();
        return sent >= 4;
    });
    running.stop();
    awaitTheTimeOutLoops();

    EXPECT_TRUE(allSent) << "no device ever answered";
    EXPECT_EQ(sent, 4U);
}

} // namespace
