// Passes of the OSD channel's loops over many devices, against the plainest code for the
// same step on the same tables. Prints one JSON object a line.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include <unistd.h>

#include <QtCore/QDateTime>
#include <QtCore/QDebug>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <steps/pass_by_pass.h>

namespace {

using Clock = std::chrono::steady_clock;
using Channel = biz_Osd_CMDSWork;

constexpr int rounds = 21;
constexpr int farFutureMs = 2000000000;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

QString ipOf(int device)
{
    return QStringLiteral("10.%1.%2.%3").arg(device / 65536).arg(device / 256 % 256).arg(device % 256);
}

model_OsdParam commandFor(int device, int waitMs)
{
    model_OsdParam command;
    command.qsIp = ipOf(device);
    command.iWaitTime = waitMs;
    return command;
}

void forgetDevices()
{
    Channel::m_qsIp.clear();
    Channel::queueHexCmd.clear();
    Channel::m_bRetFlag.clear();
}

/**
 * Known devices without commands; the first look-up of each slot is all that a pass does. The
 * tables share the text of an IP, as they do when the first command for it is enqueued.
 */
void knowIdleDevices(int count)
{
    forgetDevices();
    for (int i = 0; i < count; ++i) {
        const QString ip = ipOf(i);
        Channel::m_qsIp.append(ip);
        Channel::queueHexCmd.append(std::queue<model_OsdParam>());
        Channel::m_bRetFlag[ip] = true;
    }
}

/** The workers are kept to the end: their detached time-out threads may still use them. */
Channel &newWorker()
{
    static std::vector<Channel *> workers;
    workers.push_back(new Channel);
    return *workers.back();
}

struct Ratio
{
    double library = 0;
    double literal = 0;
};

/**
 * Batches of library passes and of literal steps in turn; seconds per pass, medians. `loop`
 * is the library's, whose sleeps are skipped.
 */
template<typename Loop, typename Literal>
Ratio takeTurns(Channel &worker, int passesPerBatch, Loop loop, Literal literal)
{
    std::vector<double> library;
    std::vector<double> plain;
    Clock::time_point start;
    PassByPass::run(
        loop, [&worker] { worker.m_bSendRun = false; },
        [&](int pass) {
            if (pass > 0 && pass % passesPerBatch == 0) {
                library.push_back(secondsSince(start) / passesPerBatch);
                const auto literalStart = Clock::now();
                for (int i = 0; i < passesPerBatch; ++i) {
                    literal();
                }
                plain.push_back(secondsSince(literalStart) / passesPerBatch);
            }
            if (pass % passesPerBatch == 0) {
                start = Clock::now();
            }
            return pass < rounds * passesPerBatch;
        });
    return {median(library), median(plain)};
}

void literalIdlePass()
{
    const std::lock_guard<std::mutex> lock(Channel::HexCmdlock);
    for (int i = 0; i < Channel::m_qsIp.size(); ++i) {
        if (!Channel::m_bRetFlag[Channel::m_qsIp.at(i)]) {
            continue;
        }
        if (Channel::queueHexCmd.at(i).empty()) {
            continue;
        }
        std::puts("a device is not idle");
    }
}

void idlePass(int devices)
{
    knowIdleDevices(devices);
    Channel &worker = newWorker();
    const int passesPerBatch = std::max(1, 200000 / devices);
    const Ratio ratio = takeTurns(
        worker, passesPerBatch, [&worker] { worker.a1_GetQueueWork(); }, literalIdlePass);
    std::printf("{\"name\": \"osd_idle_pass\", \"devices\": %d, \"library_us\": %.3f, \"literal_us\": %.3f}\n", devices,
                ratio.library * 1e6, ratio.literal * 1e6);
}

/** Every device awaits a reply that is far from overdue, in the worker's own maps. */
void awaitReplies(Channel &worker, int devices)
{
    knowIdleDevices(devices);
    const auto now = static_cast<quint32>(QDateTime::currentSecsSinceEpoch());
    for (int i = 0; i < devices; ++i) {
        const QString ip = Channel::m_qsIp.at(i);
        Channel::m_bRetFlag[ip] = false;
        worker.m_mapCurSend[ip] = commandFor(i, farFutureMs);
        worker.m_mapSendTime[ip] = now;
    }
}

quint32 secondsOf(const QDateTime &time)
{
    return static_cast<quint32>(time.toSecsSinceEpoch());
}

/** Copies each record and looks every map up twice. */
void literalTimeoutPass(Channel &worker)
{
    const quint32 now = secondsOf(QDateTime::currentDateTime());
    const std::lock_guard<std::mutex> lock(Channel::HexCmdlock);
    for (int i = 0; i < Channel::m_qsIp.size(); ++i) {
        const QString ip = Channel::m_qsIp[i];
        if (!Channel::m_bRetFlag.contains(ip)) {
            Channel::m_bRetFlag[ip] = false;
        }
        if (Channel::m_bRetFlag[ip]) {
            continue;
        }
        if (!worker.m_mapCurSend.contains(ip)) {
            worker.m_mapCurSend[ip] = model_OsdParam();
        }
        const model_OsdParam record = worker.m_mapCurSend[ip];
        if (!worker.m_mapSendTime.contains(ip)) {
            worker.m_mapSendTime[ip] = 0;
        }
        const quint32 sent = worker.m_mapSendTime[ip];
        if (now >= sent + static_cast<quint32>(record.iWaitTime / 1000)) {
            Channel::m_bRetFlag[ip] = true;
        }
    }
}

void timeoutPass(int devices)
{
    Channel &worker = newWorker();
    awaitReplies(worker, devices);
    const int passesPerBatch = std::max(1, 100000 / devices);
    const Ratio ratio = takeTurns(
        worker, passesPerBatch, [&worker] { worker.a1_TimeOutWork(); }, [&worker] { literalTimeoutPass(worker); });
    std::printf("{\"name\": \"osd_timeout_pass\", \"devices\": %d, \"library_us\": %.3f, \"literal_us\": %.3f}\n",
                devices, ratio.library * 1e6, ratio.literal * 1e6);
}

void enqueue(int devices)
{
    knowIdleDevices(devices);
    constexpr int commands = 2000;
    std::vector<model_OsdParam> records;
    for (int i = 0; i < commands; ++i) {
        records.push_back(commandFor(static_cast<int>(static_cast<qint64>(i) * devices / commands), 1000));
    }
    const auto start = Clock::now();
    for (const model_OsdParam &record : records) {
        Channel::addToSendQueue(record);
    }
    std::printf("{\"name\": \"osd_enqueue\", \"devices\": %d, \"library_us\": %.3f}\n", devices,
                secondsSince(start) / commands * 1e6);
}

// --- How long a burst holds the lock ----------------------------------------------------

constexpr int burstDevices = 1000;
constexpr int bursts = 201;

void giveEachOneCommand()
{
    const std::lock_guard<std::mutex> lock(Channel::HexCmdlock);
    for (int i = 0; i < burstDevices; ++i) {
        Channel::queueHexCmd[i].push(commandFor(i, 1000));
        Channel::m_bRetFlag[ipOf(i)] = true;
    }
}

/** The pass that reads the full local date and time for each command. */
void literalBurstPass(Channel &worker)
{
    QVector<model_OsdParam> taken;
    const std::lock_guard<std::mutex> lock(Channel::HexCmdlock);
    for (int i = 0; i < Channel::m_qsIp.size(); ++i) {
        if (!Channel::m_bRetFlag[Channel::m_qsIp[i]] || Channel::queueHexCmd[i].empty()) {
            continue;
        }
        const model_OsdParam record = Channel::queueHexCmd[i].front();
        Channel::queueHexCmd[i].pop();
        taken.append(record);
        worker.m_mapCurSend[record.qsIp] = record;
        worker.m_mapSendTime[record.qsIp] = secondsOf(QDateTime::currentDateTime());
        Channel::m_bRetFlag[Channel::m_qsIp[i]] = false;
    }
}

/** The longest wait of a second thread in setRetFlag since the last look. */
class Bystander
{
public:
    Bystander()
        : m_thread([this] { call(); })
    {
    }
    ~Bystander()
    {
        m_run = false;
        m_thread.join();
    }

    /** Waits first until a call that was held up is over and the next one is through. */
    double takeLongest()
    {
        constexpr int callsToWaitFor = 2;
        const int before = m_calls;
        while (m_calls - before < callsToWaitFor) {
            std::this_thread::yield();
        }
        return static_cast<double>(m_longestNs.exchange(0)) * 1e-9;
    }

private:
    void call()
    {
        const QString nobody = QStringLiteral("nobody");
        while (m_run) {
            const auto start = Clock::now();
            Channel::setRetFlag(nobody, true);
            const qint64 waited = std::chrono::nanoseconds(Clock::now() - start).count();
            m_longestNs = std::max(m_longestNs.load(), waited);
            ++m_calls;
        }
    }

    std::atomic<bool> m_run{true};
    std::atomic<qint64> m_longestNs{0};
    std::atomic<int> m_calls{0};
    std::thread m_thread;
};

void burst()
{
    knowIdleDevices(burstDevices);
    Channel &worker = newWorker();
    Bystander bystander;
    std::vector<double> library;
    std::vector<double> literal;
    PassByPass::run([&worker] { worker.a1_GetQueueWork(); }, [&worker] { worker.m_bSendRun = false; },
                    [&](int pass) {
                        if (pass > 0) {
                            library.push_back(bystander.takeLongest());
                            giveEachOneCommand();
                            bystander.takeLongest();
                            literalBurstPass(worker);
                            literal.push_back(bystander.takeLongest());
                        }
                        giveEachOneCommand();
                        bystander.takeLongest();
                        return pass < bursts;
                    });
    std::printf("{\"name\": \"osd_burst_lock\", \"devices\": %d, \"library_us\": %.3f, \"literal_us\": %.3f}\n",
                burstDevices, median(library) * 1e6, median(literal) * 1e6);
}

} // namespace

int main()
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    burst(); // first, since what larger fleets leave behind scatters the memory of this one
    for (const int devices : {10, 100, 1000, 10000}) {
        enqueue(devices);
        idlePass(devices);
        timeoutPass(devices);
    }
    constexpr int beyondThePeriod = 30000;
    idlePass(beyondThePeriod);
    std::fflush(stdout);
    // The detached time-out threads still sleep: no destructor may run under them.
    _exit(0);
}
