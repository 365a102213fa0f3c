// What the host kit adds to the bare library on the way to a TCP socket.
// bench_host_kit raw|kit COMMANDS: sends commands back to back, one each 10 ms, to a server
// on a thread of this process, which echoes them. Prints CPU time per command without the
// server's, and the delay from the send pass's wake-up to the arrival at the server.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QUrl>

#include <biz_cmdswork/biz_cmdswork.h>
#include <host/device_host.h>

namespace {

using biz::host::DemoFrameCodec;

constexpr long sendPeriodNs = 10000000;

std::atomic<long long> lastSendPassAt{0};

long long nowNs()
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

long long cpuNs(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

/** Echoes what it receives; one frame arrives at a time, since one leaves each 10 ms. */
class EchoServer
{
public:
    EchoServer()
    {
        m_listener = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        bind(m_listener, reinterpret_cast<sockaddr *>(&address), size);
        listen(m_listener, 1);
        getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &size);
        m_port = ntohs(address.sin_port);
        std::thread([this] { serve(); }).detach();
    }

    int port() const { return m_port; }
    long long cpu() const { return cpuNs(m_clock); }
    const std::vector<double> &delaysUs() const { return m_delaysUs; }

private:
    void serve()
    {
        pthread_getcpuclockid(pthread_self(), &m_clock);
        const int connection = accept(m_listener, nullptr, nullptr);
        const int on = 1;
        setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        char bytes[4096];
        for (;;) {
            const ssize_t count = recv(connection, bytes, sizeof bytes, 0);
            if (count <= 0) {
                return;
            }
            m_delaysUs.push_back(static_cast<double>(nowNs() - lastSendPassAt) / 1e3);
            if (send(connection, bytes, static_cast<std::size_t>(count), 0) != count) {
                return;
            }
        }
    }

    int m_listener = -1;
    int m_port = 0;
    clockid_t m_clock = CLOCK_PROCESS_CPUTIME_ID;
    std::vector<double> m_delaysUs;
};

model_Protocoldata command()
{
    model_Protocoldata record;
    record.ucHead[1] = 0xF1;
    record.ucHead[2] = 0x0E;
    record.ucHead[4] = 10;
    record.baData = QByteArray(10, 'x');
    record.iWaitTime = 1000;
    return record;
}

void print(const char *role, int commands, long long cpu, std::vector<double> delays)
{
    std::sort(delays.begin(), delays.end());
    double sum = 0;
    for (const double delay : delays) {
        sum += delay;
    }
    const auto p99 = static_cast<std::size_t>(0.99 * static_cast<double>(delays.size() - 1));
    std::printf("{\"name\": \"host_kit\", \"role\": \"%s\", \"cpu_us\": %.3f, \"delay_mean_us\": %.2f, "
                "\"delay_p99_us\": %.2f}\n",
                role, static_cast<double>(cpu) / commands / 1e3, sum / static_cast<double>(delays.size()), delays[p99]);
    std::fflush(stdout);
    _exit(0);
}

/** The smallest host: a blocking socket, written in the slot and read on a thread of its own. */
void runRaw(int commands)
{
    static EchoServer server;
    const int link = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<quint16>(server.port()));
    connect(link, reinterpret_cast<sockaddr *>(&address), sizeof address);
    const int on = 1;
    setsockopt(link, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);

    static DemoFrameCodec encoder;
    static std::atomic<int> answered{0};
    static auto *worker = new biz_CMDSWork;
    biz_CMDSWork::deviceType = 0x1400;
    biz_CMDSWork::nSysPlan = 1;
    QObject::connect(
        worker, &biz_CMDSWork::signalSendMessage, worker,
        [link](void *record) {
            const QByteArray bytes = encoder.encode(*static_cast<model_Protocoldata *>(record));
            if (send(link, bytes.constData(), static_cast<std::size_t>(bytes.size()), 0) != bytes.size()) {
                std::abort();
            }
        },
        Qt::DirectConnection);
    QObject::connect(
        worker, &biz_CMDSWork::signalSendReceiveMessage, worker, [](void *) { ++answered; }, Qt::DirectConnection);
    std::thread([link] {
        DemoFrameCodec decoder;
        char bytes[4096];
        for (;;) {
            const ssize_t count = recv(link, bytes, sizeof bytes, 0);
            for (const auto &reply : decoder.decode(QByteArray(bytes, static_cast<int>(count))).records) {
                const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
                biz_CMDSWork::receivequeueHexCmd.push(reply);
            }
        }
    }).detach();
    for (int i = 0; i < commands; ++i) {
        biz_CMDSWork::queueHexCmd.push(command());
    }
    const long long before = cpuNs(CLOCK_PROCESS_CPUTIME_ID) - server.cpu();
    worker->m_bSendRun = true;
    worker->m_bRecvRun = true;
    std::thread([] { worker->a1_GetQueueWork(); }).detach();
    std::thread([] { worker->a1_receiveGetQueueWork(); }).detach();
    while (answered < commands) {
        usleep(100000);
    }
    print("raw", commands, cpuNs(CLOCK_PROCESS_CPUTIME_ID) - server.cpu() - before, server.delaysUs());
}

void runKit(int commands)
{
    static EchoServer server;
    static biz_DeviceHost host;
    QUrl url(QStringLiteral("tcp://127.0.0.1"));
    url.setPort(server.port());
    QString error;
    host.setLink(biz::host::makeLink(url, &error));
    host.setDeviceType(0x1400);
    host.setSysPlan(1);
    for (int i = 0; i < commands; ++i) {
        host.enqueue(command());
    }
    static int left = commands;
    static long long before = 0;
    QObject::connect(&host, &biz_DeviceHost::ended, &host, [commands] {
        if (--left == 0) {
            print("kit", commands, cpuNs(CLOCK_PROCESS_CPUTIME_ID) - server.cpu() - before, server.delaysUs());
        }
    });
    before = cpuNs(CLOCK_PROCESS_CPUTIME_ID) - server.cpu();
    host.start();
    QCoreApplication::exec();
}

} // namespace

extern "C" [[gnu::visibility("default")]] int nanosleep(const timespec *request, timespec *remaining)
{
    const auto result = static_cast<int>(syscall(SYS_nanosleep, request, remaining));
    if (request->tv_sec == 0 && request->tv_nsec == sendPeriodNs) {
        lastSendPassAt = nowNs();
    }
    return result;
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    constexpr int expectedArguments = 3;
    const QByteArray role(argc == expectedArguments ? argv[1] : "");
    if (role == "raw") {
        runRaw(std::atoi(argv[2]));
    } else if (role == "kit") {
        runKit(std::atoi(argv[2]));
    }
    std::fprintf(stderr, "usage: bench_host_kit raw|kit COMMANDS\n");
    return 2;
}
