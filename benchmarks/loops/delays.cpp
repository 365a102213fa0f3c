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

constexpr int postings = 1500;
constexpr int minimumGapUs = 11000;
constexpr int gapSpreadUs = 10000;

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

/** Posts one item on each road at a random moment, many times. */
template<typename Enqueue>
void postAll(Road &library, Road &twin, Enqueue enqueue)
{
    std::mt19937 engine(1);
    for (int i = 0; i < postings; ++i) {
        const auto gap = minimumGapUs + static_cast<int>(engine() % gapSpreadUs);
        std::this_thread::sleep_for(std::chrono::microseconds(gap));
        while (!library.isEmpty() || !twin.isEmpty()) {
            std::this_thread::yield();
        }
        library.post();
        twin.post();
        enqueue();
    }
    while (!library.isEmpty() || !twin.isEmpty()) {
        std::this_thread::yield();
    }
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
    startTwin(twin, 10000000);
    postAll(library, twin, [] {
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
    startTwin(twin, 3000000);
    postAll(library, twin, [ip] {
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
    const timespec period{0, 10000000};
    for (int i = 0; i < passes; ++i) {
        nanosleep(&period, nullptr);
    }
    const long long twinNs = nowNs() - twinStart;
    while (resendAt == 0) {
        std::this_thread::yield();
    }
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
