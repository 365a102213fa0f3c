#include <loops/roles.h>

#include <atomic>
#include <ctime>
#include <functional>
#include <mutex>
#include <queue>
#include <thread>

#include <QtCore/QDebug>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <loops/counted_sleep.h>
#include <peers/accept_all_checker.h>

namespace {

/**
 * Items that wait for each loop: enough that no pass finds none when the feeder is late, few
 * enough that they were written a moment ago, as those of a host are.
 */
constexpr std::size_t itemsInStock = 8;

constexpr long millisecond = 1000000;

const QString onlyDevice = QStringLiteral("127.0.0.1");
std::atomic<std::size_t> osdItemsWaiting{0};

void startLoop(const std::string &name, std::function<void()> loop)
{
    std::thread([name, loop = std::move(loop)] {
        counted::nameThisLoop(name);
        loop();
    }).detach();
}

void startTwinLoop(const std::string &name, long periodNs)
{
    startLoop(name, [periodNs] {
        const timespec period{0, periodNs};
        for (;;) {
            nanosleep(&period, nullptr);
        }
    });
}

void startTwin()
{
    startTwinLoop("send", 10 * millisecond);
    startTwinLoop("receive", 5 * millisecond);
    startTwinLoop("osd send", 3 * millisecond);
    startTwinLoop("osd receive", 5 * millisecond);
    startTwinLoop("osd timeout", 500 * millisecond);
}

// Never destroyed: their loops run until the process ends.
biz_CMDSWork &deviceWorker()
{
    static auto *worker = new biz_CMDSWork;
    return *worker;
}

biz_Osd_CMDSWork &osdWorker()
{
    static auto *worker = new biz_Osd_CMDSWork;
    return *worker;
}

void startLibrary()
{
    biz_CMDSWork &device = deviceWorker();
    device.m_bSendRun = true;
    device.m_bRecvRun = true;
    startLoop("send", [&device] { device.a1_GetQueueWork(); });
    startLoop("receive", [&device] { device.a1_receiveGetQueueWork(); });
    biz_Osd_CMDSWork &osd = osdWorker();
    startLoop("osd send", [&osd] { osd.a1_GetQueueWork(); });
    startLoop("osd receive", [&osd] { osd.a1_receiveGetQueueWork(); });
}

/** A good reply, and a command; a host that keeps what it sent shares the payload with the queue. */
const model_Protocoldata &item()
{
    static const model_Protocoldata shared = [] {
        model_Protocoldata record;
        record.ucHead[1] = 0xF1;
        record.ucHead[2] = 0x08;
        record.ucHead[4] = 0x62;
        record.ucHead[5] = 0x01;
        record.baData = QByteArray(354, 'x');
        record.iWaitTime = 1000;
        return record;
    }();
    return shared;
}

void topUp(std::queue<model_Protocoldata> &queue, std::mutex &mutex)
{
    const std::lock_guard<std::mutex> lock(mutex);
    while (queue.size() < itemsInStock) {
        queue.push(item());
    }
}

void topUpOsd()
{
    model_OsdParam command;
    command.qsIp = onlyDevice;
    command.iWaitTime = 1000;
    for (std::size_t i = osdItemsWaiting; i < itemsInStock; ++i) {
        biz_Osd_CMDSWork::addToSendQueue(command);
        ++osdItemsWaiting;
    }
}

/** Calls `feed` often enough for the fastest loop to find an item in each pass. */
void startFeeder(std::function<void()> feed)
{
    feed();
    startLoop("feeder", [feed = std::move(feed)] {
        const timespec period{0, 5000000};
        for (;;) {
            nanosleep(&period, nullptr);
            feed();
        }
    });
}

/** One item a pass: back to back commands, good replies, and a device that is always free. */
void startBusy()
{
    biz_CMDSWork::nSysPlan = 1;
    biz_CMDSWork::deviceType = 0x1400;
    QObject::connect(
        &osdWorker(), &biz_Osd_CMDSWork::signalSendMessage, &osdWorker(),
        [] {
            --osdItemsWaiting;
            const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::HexCmdlock);
            biz_Osd_CMDSWork::m_bRetFlag[onlyDevice] = true;
        },
        Qt::DirectConnection);
    startFeeder([] {
        topUp(biz_CMDSWork::queueHexCmd, biz_CMDSWork::HexCmdlock);
        topUp(biz_CMDSWork::receivequeueHexCmd, biz_CMDSWork::receiveHexCmdlock);
        topUpOsd();
    });
    startLibrary();
}

// --- The plainest loops for one item a pass ---------------------------------------------

/** A queue as the library's, with a lock of its own. */
struct PlainQueue
{
    std::queue<model_Protocoldata> items;
    std::mutex mutex;
};

void take(PlainQueue &queue, model_Protocoldata &record)
{
    const std::lock_guard<std::mutex> lock(queue.mutex);
    record = std::move(queue.items.front());
    queue.items.pop();
}

/** `handle` gets the worker whose signals it emits and the item. */
template<typename Handle>
void startPlainLoop(const std::string &name, PlainQueue &queue, long periodNs, Handle handle)
{
    startLoop(name, [&queue, periodNs, handle] {
        biz_CMDSWork worker;
        model_Protocoldata record;
        const timespec period{0, periodNs};
        for (;;) {
            nanosleep(&period, nullptr);
            if (!queue.items.empty()) {
                take(queue, record);
                handle(worker, record);
            }
        }
    });
}

void startPlain()
{
    static PlainQueue commands;
    static PlainQueue replies;
    startFeeder([] {
        topUp(commands.items, commands.mutex);
        topUp(replies.items, replies.mutex);
    });
    startPlainLoop("send", commands, 10 * millisecond, [](biz_CMDSWork &worker, model_Protocoldata &record) {
        Q_EMIT worker.signalSendMessage(&record);
        Q_EMIT worker.signalQueueSize(static_cast<int>(commands.items.size()));
        Q_EMIT worker.signalSendMessageUipro(&record);
    });
    startPlainLoop("receive", replies, 5 * millisecond, [](biz_CMDSWork &worker, model_Protocoldata &record) {
        AcceptAllChecker checker;
        if (checker.checkRecvData(record)) {
            Q_EMIT worker.signalSendReceiveMessage(&record);
        }
    });
}

/** The OSD send loop alone, with devices that have nothing to send. */
void startOsdIdle(int devices)
{
    for (int i = 0; i < devices; ++i) {
        const QString ip = QStringLiteral("10.%1.%2.%3").arg(i / 65536).arg(i / 256 % 256).arg(i % 256);
        biz_Osd_CMDSWork::m_qsIp.append(ip);
        biz_Osd_CMDSWork::queueHexCmd.append(std::queue<model_OsdParam>());
        biz_Osd_CMDSWork::m_bRetFlag[ip] = true;
    }
    startLoop("osd send", [] { osdWorker().a1_GetQueueWork(); });
}

} // namespace

bool startRole(const std::string &role)
{
    const std::string osdIdle = "osd-idle-";

    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    if (role == "twin") {
        startTwin();
    } else if (role == "idle") {
        startLibrary();
    } else if (role == "busy") {
        startBusy();
    } else if (role == "plain") {
        startPlain();
    } else if (role.compare(0, osdIdle.size(), osdIdle) == 0) {
        startOsdIdle(std::stoi(role.substr(osdIdle.size())));
    } else {
        return false;
    }
    return true;
}
