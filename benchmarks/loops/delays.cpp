// How long a command waits from its enqueuing to its announcement, and how exact a resend
// is, against bare sleeping loops of the same period that run at the same time.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <random>
#include <thread>
#include <vector>

#include <unistd.h>

#include <QtCore/QDebug>

#include <biz_cmdswork/biz_cmdswork.h>
#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

namespace {

using Clock = std::chrono::steady_clock;

/** For each road; so many that the means of two loops whose passes fall anywhere agree to a hundredth. */
constexpr double postingSeconds = 40;

constexpr long devicePeriodNs = 10000000;
constexpr long osdPeriodNs = 3000000;

long long nowNs()
{
    return std::chrono::nanoseconds(Clock::now().time_since_epoch()).count();
}

/** When the item that is under way was posted, and how long each took to be seen. */
class Road
{
public:
    void post() { m_postedAt = nowNs(); }
    void seen()
    {
        const long long postedAt = m_postedAt.exchange(0);
        if (postedAt != 0) {
            m_delays.push_back(static_cast<double>(nowNs() - postedAt));
        }
    }
    bool isEmpty() const { return m_postedAt == 0; }

    double mean() const
    {
        double sum = 0;
        for (const double delay : m_delays) {
            sum += delay;
        }
        return sum / static_cast<double>(m_delays.size());
    }
    double percentile(double part)
    {
        std::sort(m_delays.begin(), m_delays.end());
        return m_delays[static_cast<std::size_t>(part * static_cast<double>(m_delays.size() - 1))];
    }

private:
    std::atomic<long long> m_postedAt{0};
    std::vector<double> m_delays; // by one thread at a time
};

void startTwin(Road &road, long periodNs)
{
    std::thread([&road, periodNs] {
        const timespec period{0, periodNs};
        for (;;) {
            nanosleep(&period, nullptr);
            road.seen();
        }
    }).detach();
}

void print(const char *name, Road &library, Road &twin)
{
    constexpr double p99 = 0.99;
    std::printf("{\"name\": \"%s\", \"library_mean_us\": %.2f, \"twin_mean_us\": %.2f, \"library_p99_us\": %.2f, "
                "\"twin_p99_us\": %.2f}\n",
                name, library.mean() / 1e3, twin.mean() / 1e3, library.percentile(p99) / 1e3,
                twin.percentile(p99) / 1e3);
}

template<typename Condition>
void sleepWhile(Condition condition)
{
    while (condition()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/** Posts one item on each road at any moment of a pass, many times. */
template<typename Enqueue>
void postAll(Road &library, Road &twin, long periodNs, Enqueue enqueue)
{
    std::mt19937 engine(1);
    std::uniform_int_distribution<long> anyMomentNs(0, periodNs);
    const long long end = nowNs() + static_cast<long long>(postingSeconds * 1e9);
    while (nowNs() < end) {
        // By then both have seen the last one, as a rule; nothing spins beside the loops.
        std::this_thread::sleep_for(std::chrono::nanoseconds(periodNs + anyMomentNs(engine)));
        sleepWhile([&] { return !library.isEmpty() || !twin.isEmpty(); });
        library.post();
        twin.post();
        enqueue();
    }
    sleepWhile([&] { return !library.isEmpty() || !twin.isEmpty(); });
}

void deviceDelay()
{
    static Road library;
    static Road twin;
    static auto *worker = new biz_CMDSWork;
    biz_CMDSWork::nSysPlan = 1;
    QObject::connect(
        worker, &biz_CMDSWork::signalSendMessage, worker, [] { library.seen(); }, Qt::DirectConnection);
    worker->m_bSendRun = true;
    std::thread([] { worker->a1_GetQueueWork(); }).detach();
    startTwin(twin, devicePeriodNs);
    postAll(library, twin, devicePeriodNs, [] {
        model_Protocoldata command;
        command.iWaitTime = 1000;
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        biz_CMDSWork::queueHexCmd.push(command);
    });
    worker->m_bSendRun = false;
    print("device_delay", library, twin);
}

void osdDelay()
{
    static Road library;
    static Road twin;
    static auto *worker = new biz_Osd_CMDSWork;
    const QString ip = QStringLiteral("127.0.0.1");
    QObject::connect(
        worker, &biz_Osd_CMDSWork::signalSendMessage, worker,
        [ip] {
            library.seen();
            biz_Osd_CMDSWork::setRetFlag(ip, true);
        },
        Qt::DirectConnection);
    std::thread([] { worker->a1_GetQueueWork(); }).detach();
    startTwin(twin, osdPeriodNs);
    postAll(library, twin, osdPeriodNs, [ip] {
        model_OsdParam command;
        command.qsIp = ip;
        biz_Osd_CMDSWork::addToSendQueue(command);
    });
    worker->m_bSendRun = false;
    print("osd_delay", library, twin);
}

/** 200 passes from the send to the resend, against 200 sleeps of 10 ms at the same time. */
void resendPrecision()
{
    constexpr int passes = 200;
    static std::atomic<long long> sentAt{0};
    static std::atomic<long long> resendAt{0};
    static auto *worker = new biz_CMDSWork;
    biz_CMDSWork::nSysPlan = 0;
    biz_CMDSWork::bRetFlag = true;
    QObject::connect(
        worker, &biz_CMDSWork::signalSendMessageUipro, worker, [] { sentAt = nowNs(); }, Qt::DirectConnection);
    QObject::connect(
        worker, &biz_CMDSWork::signalInitCore, worker, [] { resendAt = nowNs(); }, Qt::DirectConnection);
    model_Protocoldata command;
    command.iWaitTime = 3000;
    biz_CMDSWork::queueHexCmd.push(command);
    worker->m_bSendRun = true;
    std::thread([] { worker->a1_GetQueueWork(); }).detach();
    while (sentAt == 0) {
        std::this_thread::yield();
    }
    const long long twinStart = nowNs();
    const timespec period{0, devicePeriodNs};
    for (int i = 0; i < passes; ++i) {
        nanosleep(&period, nullptr);
    }
    const long long twinNs = nowNs() - twinStart;
    sleepWhile([] { return resendAt == 0; });
    worker->m_bSendRun = false;
    // Past the resend's delay and the last pass; then the next measurement has the channel.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    biz_CMDSWork::bRetFlag = true;
    std::printf("{\"name\": \"resend_precision\", \"library_ms\": %.3f, \"twin_ms\": %.3f}\n",
                static_cast<double>(resendAt - sentAt) / 1e6, static_cast<double>(twinNs) / 1e6);
}

} // namespace

int main()
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    resendPrecision();
    deviceDelay();
    osdDelay();
    std::fflush(stdout);
    // The twins sleep for ever, and no destructor may run under the loops.
    _exit(0);
}
