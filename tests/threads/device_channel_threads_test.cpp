// The device channel on real threads. What the thread sanitizer finds here beyond the
// named unlocked accesses is a defect.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <ctime>
#include <functional>
#include <future>
#include <limits>
#include <numeric>
#include <thread>

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <pthread.h>

#include <gtest/gtest.h>

#include <biz_cmdswork/biz_cmdswork.h>
#include <support/channel_state_guard.h>
#include <support/message_recorder.h>
#include <support/scratch_folder.h>
#include <support/virtual_time.h>

#include "tally.h"

using namespace biz::test;

namespace {

constexpr int hosts = 4;
constexpr int commandsPerHost = 250;
constexpr int allCommands = hosts * commandsPerHost;

void locked(std::mutex &mutex, const std::function<void()> &act)
{
    const std::lock_guard<std::mutex> lock(mutex);
    act();
}

void push(int tag, int waitMilliseconds = 100000000)
{
    model_Protocoldata record;
    record.nTag = static_cast<quint32>(tag);
    record.iWaitTime = waitMilliseconds;
    record.baData = QByteArray(8, '\x5A');
    locked(biz_CMDSWork::HexCmdlock, [&] { biz_CMDSWork::queueHexCmd.push(record); });
}

void pushReply(const model_Protocoldata &record)
{
    locked(biz_CMDSWork::receiveHexCmdlock, [&] { biz_CMDSWork::receivequeueHexCmd.push(record); });
}

void openGate()
{
    locked(biz_CMDSWork::HexCmdlock, [] { biz_CMDSWork::bRetFlag = true; });
}

const model_Protocoldata &recordAt(void *pointer)
{
    return *static_cast<const model_Protocoldata *>(pointer);
}

/** Runs the body `count` times at once, each with its own number, to the end. */
void onThreads(int count, const std::function<void(int)> &body)
{
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        threads.emplace_back(body, i);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

void pushAll(int host)
{
    for (int i = 0; i < commandsPerHost; ++i) {
        push(host * commandsPerHost + i);
    }
}

std::vector<int> everyTag()
{
    std::vector<int> tags(allCommands);
    std::iota(tags.begin(), tags.end(), 0);
    return tags;
}

std::vector<int> sorted(std::vector<int> numbers)
{
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

/** Whether the commands of each host stand in the order in which it pushed them. */
bool keepsEachHostsOrder(const std::vector<int> &tags)
{
    std::vector<int> last(hosts, -1);
    for (const int tag : tags) {
        int &before = last[static_cast<std::size_t>(tag / commandsPerHost)];
        if (tag <= before) {
            return false;
        }
        before = tag;
    }
    return true;
}

/** A worker with its loops on threads of their own, as a host runs them. */
class RunningWorker
{
public:
    RunningWorker()
    {
        worker.m_bSendRun = true;
        worker.m_bRecvRun = true;
    }
    ~RunningWorker() { stop(); }
    RunningWorker(const RunningWorker &) = delete;
    RunningWorker &operator=(const RunningWorker &) = delete;

    void runSendLoop()
    {
        m_loops.push_back(std::async(std::launch::async, [this] { worker.a1_GetQueueWork(); }));
    }
    void runReceiveLoop()
    {
        m_loops.push_back(std::async(std::launch::async, [this] { worker.a1_receiveGetQueueWork(); }));
    }

    /** Ends the loops; false when one does not come back in 30 s. */
    bool stop()
    {
        __atomic_store_n(&worker.m_bSendRun, false, __ATOMIC_RELAXED);
        __atomic_store_n(&worker.m_bRecvRun, false, __ATOMIC_RELAXED);
        const bool ended = std::all_of(m_loops.begin(), m_loops.end(), [](const std::future<void> &loop) {
            return loop.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
        });
        m_loops.clear();
        return ended;
    }

    biz_CMDSWork worker;

private:
    std::vector<std::future<void>> m_loops;
};

/** Notes the tag that a signal of the worker carries. */
void noteTags(biz_CMDSWork &worker, void (biz_CMDSWork::*signal)(void *), Tally &tally)
{
    QObject::connect(
        &worker, signal, &worker, [&tally](void *record) { tally.note(static_cast<int>(recordAt(record).nTag)); },
        Qt::DirectConnection);
}

class DeviceChannelThreads : public ::testing::Test
{
protected:
    DeviceChannelGuard guard;
    const Hurry hurry{100};
    ScratchFolder folder;
    MessageRecorder output{{}};
    Tally announced;
    Tally accepted;
};

TEST_F(DeviceChannelThreads, EveryCommandOfFourHostsIsAnsweredOnceInItsHostsOrder)
{
    RunningWorker running;
    Tally sequenceBytes;
    noteTags(running.worker, &biz_CMDSWork::signalSendMessage, announced);
    QObject::connect(
        &running.worker, &biz_CMDSWork::signalSendMessage, &running.worker,
        [&](void *record) {
            sequenceBytes.note(recordAt(record).ucHead[0]);
            pushReply(recordAt(record));
        },
        Qt::DirectConnection);
    QObject::connect(
        &running.worker, &biz_CMDSWork::signalSendReceiveMessage, &running.worker, [](void *) { openGate(); },
        Qt::DirectConnection);
    noteTags(running.worker, &biz_CMDSWork::signalSendReceiveMessage, accepted);
    running.runSendLoop();
    running.runReceiveLoop();

    onThreads(hosts, pushAll);
    ASSERT_TRUE(accepted.waitFor(allCommands));
    running.stop();

    EXPECT_EQ(sorted(announced.numbers()), everyTag());
    EXPECT_EQ(accepted.numbers(), announced.numbers());
    EXPECT_TRUE(keepsEachHostsOrder(announced.numbers()));
    for (std::size_t i = 0; i < allCommands; ++i) {
        ASSERT_EQ(sequenceBytes.numbers().at(i), static_cast<int>((i + 1) & 0xFF));
    }
    EXPECT_EQ(biz_CMDSWork::iSN, 1 + allCommands);
    EXPECT_TRUE(output.texts().empty());
}

TEST_F(DeviceChannelThreads, TwoSendLoopsAnnounceNoCommandTwiceAndLoseNone)
{
    biz_CMDSWork::nSysPlan = 1;
    RunningWorker first;
    RunningWorker second;
    for (RunningWorker *running : {&first, &second}) {
        noteTags(running->worker, &biz_CMDSWork::signalSendMessage, announced);
        running->runSendLoop();
    }
    onThreads(hosts, pushAll);
    ASSERT_TRUE(announced.waitFor(allCommands));
    first.stop();
    second.stop();
    EXPECT_EQ(sorted(announced.numbers()), everyTag());
    EXPECT_EQ(biz_CMDSWork::iSN, 1 + allCommands);
}

TEST_F(DeviceChannelThreads, ClearsWhileHostsPushLoseNoCountAndSendNothingTwice)
{
    constexpr int clears = 200;
    RunningWorker running;
    noteTags(running.worker, &biz_CMDSWork::signalSendMessage, announced);
    running.runSendLoop();

    std::atomic<bool> pushing{true};
    // A host that opens the gate now and then, also after a clear that raced a take.
    std::thread opener([&pushing] {
        while (pushing) {
            openGate();
            std::this_thread::yield();
        }
    });
    onThreads(hosts + 1, [&running](int number) {
        if (number < hosts) {
            pushAll(number);
            return;
        }
        for (int i = 0; i < clears; ++i) {
            running.worker.clearQueue();
        }
    });
    push(allCommands); // the last one comes after every clear
    const bool lastOneCame = announced.waitForNumber(allCommands);
    pushing = false;
    opener.join();
    running.stop();

    ASSERT_TRUE(lastOneCame);
    std::vector<int> tags = announced.numbers();
    EXPECT_EQ(biz_CMDSWork::iSN, 1 + clears + static_cast<int>(tags.size()));
    tags.pop_back();
    EXPECT_TRUE(keepsEachHostsOrder(tags));
}

TEST_F(DeviceChannelThreads, TwoReceiveLoopsAnnounceEveryReplyOnce)
{
    RunningWorker first;
    RunningWorker second;
    for (RunningWorker *running : {&first, &second}) {
        noteTags(running->worker, &biz_CMDSWork::signalSendReceiveMessage, accepted);
        running->runReceiveLoop();
    }
    onThreads(hosts, [](int host) {
        for (int i = 0; i < commandsPerHost; ++i) {
            model_Protocoldata reply;
            reply.nTag = static_cast<quint32>(host * commandsPerHost + i);
            pushReply(reply);
        }
    });
    ASSERT_TRUE(accepted.waitFor(allCommands));
    first.stop();
    second.stop();
    EXPECT_EQ(sorted(accepted.numbers()), everyTag());
}

TEST_F(DeviceChannelThreads, AWatchdogAndItsSuccessorGiveACommandUp)
{
    RunningWorker running;
    noteTags(running.worker, &biz_CMDSWork::signalSendMessage, announced);
    running.worker.m_curSend.iWaitTime = 200;
    running.worker.m_curSend.nTag = 7;
    locked(biz_CMDSWork::HexCmdlock, [] { biz_CMDSWork::bRetFlag = false; });
    std::thread([&running] { running.worker.timeoutWatchdog(1); }).join();

    const auto bound = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    bool open = false;
    while (!open && std::chrono::steady_clock::now() < bound) {
        locked(biz_CMDSWork::HexCmdlock, [&open] { open = biz_CMDSWork::bRetFlag; });
        std::this_thread::yield();
    }
    EXPECT_TRUE(open); // the successor's last act
    EXPECT_EQ(announced.numbers(), std::vector<int>{7});
}

TEST_F(DeviceChannelThreads, ASignalOfTheSystemEndsAWatchdogsWaitEarly)
{
    const auto doNothing = [](int) {
    };
    struct sigaction before = {};
    struct sigaction interrupt = {};
    interrupt.sa_handler = doNothing;
    ASSERT_EQ(sigaction(SIGUSR1, &interrupt, &before), 0);

    RunningWorker running;
    running.worker.m_curSend.iWaitTime = std::numeric_limits<int>::max(); // six hours, even in a hurry
    std::promise<int> result;
    std::future<int> answer = result.get_future();
    std::thread watchdog([&] { result.set_value(running.worker.setWatchdogSleepTime()); });
    const auto bound = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    // A signal that comes before the sleep interrupts nothing, hence more than one.
    while (answer.wait_for(std::chrono::milliseconds(5)) != std::future_status::ready &&
           std::chrono::steady_clock::now() < bound) {
        pthread_kill(watchdog.native_handle(), SIGUSR1);
    }
    const bool ended = answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    ASSERT_TRUE(ended); // a thread that sleeps on would outlive the test's patience
    watchdog.join();
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_EQ(answer.get(), -1);
}

TEST_F(DeviceChannelThreads, SkipModeIsSetWhileAnotherThreadLooksAtIt)
{
    biz_CMDSWork worker;
    std::atomic<bool> changing{true};
    std::thread host([&] {
        for (int i = 0; i < 1000; ++i) {
            worker.setSkipSendcmd(i % 2 == 0);
        }
        worker.setSkipSendcmd(true);
        changing = false;
    });
    int looks = 0;
    int skipping = 0;
    do {
        skipping += worker.m_bSkipSendcmd ? 1 : 0; // as a host's display does it
        ++looks;
    } while (changing);
    host.join();
    EXPECT_LE(skipping, looks);
    EXPECT_TRUE(worker.m_bSkipSendcmd);
}

TEST(DeviceChannelThreadsAtTheirPace, SkipModeDestroysOnTheLoopsThreadWhatAHostQueuedOnItsOwn)
{
    const DeviceChannelGuard guard;
    const QByteArray payload(1000, 'x');
    RunningWorker running;
    running.runSendLoop();
    // The loop's first pass finds skip mode on, and has shared no lock with this thread.
    locked(biz_CMDSWork::HexCmdlock, [&payload] {
        model_Protocoldata record;
        record.baData = payload;
        for (int i = 0; i < 10; ++i) {
            biz_CMDSWork::queueHexCmd.push(record);
        }
    });
    running.worker.setSkipSendcmd(true);

    const auto bound = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!payload.isDetached() && std::chrono::steady_clock::now() < bound) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(payload.isDetached()); // nobody else holds it any more
    EXPECT_TRUE(running.stop());
    EXPECT_TRUE(biz_CMDSWork::queueHexCmd.empty());
}

TEST_F(DeviceChannelThreads, LinesThatTwoThreadsLogAtOnceStayWhole)
{
    constexpr int lines = 200;
    // Without a TZ the C library reads the zone anew at each use of local time, under a lock
    // of its own that the thread sanitizer does not know.
    qputenv("TZ", "UTC0");
    tzset();
    RunningWorker workers[2];
    onThreads(2, [&workers](int number) {
        model_Protocoldata reply;
        reply.baData = QByteArray(300, static_cast<char>('a' + number));
        for (int i = 0; i < lines; ++i) {
            workers[number].worker.writeErrorLog(reply);
        }
    });
    int whole[2] = {0, 0};
    const QDir log(folder.path(QStringLiteral("Errorlog")));
    for (const QString &name : log.entryList(QDir::Files)) {
        QFile file(log.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        while (!file.atEnd()) {
            const QByteArray line = file.readLine();
            whole[0] += line.endsWith("<00 00 00 00 00>" + QByteArray(300, 'a').toHex() + "\n") ? 1 : 0;
            whole[1] += line.endsWith("<00 00 00 00 00>" + QByteArray(300, 'b').toHex() + "\n") ? 1 : 0;
        }
    }
    EXPECT_EQ(whole[0], lines);
    EXPECT_EQ(whole[1], lines);
}

TEST_F(DeviceChannelThreads, LoopsEndSoonAfterTheirRunFlagsAreCleared)
{
    RunningWorker running;
    running.runSendLoop();
    running.runReceiveLoop();
    pushAll(0);
    EXPECT_TRUE(running.stop());
}

} // namespace
