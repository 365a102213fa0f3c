// What the host kit adds to the bare library on the way to a TCP socket.
// bench_host_kit raw|kit|log pipelined|gated COMMANDS: sends commands to a server on a thread of this
// process, which echoes them: back to back, one each 10 ms, or each when the former is answered.
// Prints CPU time per command without the server's, the delay from the send pass's wake-up to the
// arrival at the server, and how many commands were answered in a second. `log` is the kit with an event
// log in a file.

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
#include <QtCore/QTemporaryDir>
#include <QtCore/QUrl>

#include <biz_cmdswork/biz_cmdswork.h>
#include <host/device_host.h>
#include <host/event_log.h>

namespace {

using namespace biz::host;

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
            // The kit begins a connection with a single byte, which no pass has sent.
            if (count > 1) {
                m_delaysUs.push_back(static_cast<double>(nowNs() - lastSendPassAt) / 1e3);
            }
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

/** What a role does: `isGated` waits for each answer. */
struct Task
{
    bool isGated = false;
    int commands = 0;
};

/** Since the first command may leave. */
struct Start
{
    long long cpu = 0;
    long long at = nowNs();
};

Start startNow(const EchoServer &server)
{
    return {cpuNs(CLOCK_PROCESS_CPUTIME_ID) - server.cpu(), nowNs()};
}

void print(const char *role, const Task &task, const Start &start, const EchoServer &server)
{
    const double seconds = static_cast<double>(nowNs() - start.at) / 1e9;
    const long long cpu = cpuNs(CLOCK_PROCESS_CPUTIME_ID) - server.cpu() - start.cpu;
    std::vector<double> delays = server.delaysUs();
    std::sort(delays.begin(), delays.end());
    double sum = 0;
    for (const double delay : delays) {
        sum += delay;
    }
    const auto p99 = static_cast<std::size_t>(0.99 * static_cast<double>(delays.size() - 1));
    std::printf("{\"name\": \"host_kit\", \"role\": \"%s\", \"cpu_us\": %.3f, \"delay_mean_us\": %.2f, "
                "\"delay_p99_us\": %.2f, \"answered_per_second\": %.3f}\n",
                role, static_cast<double>(cpu) / task.commands / 1e3, sum / static_cast<double>(delays.size()),
                delays[p99], task.commands / seconds);
    std::fflush(stdout);
    _exit(0);
}

int connectTo(const EchoServer &server)
{
    const int link = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<quint16>(server.port()));
    connect(link, reinterpret_cast<sockaddr *>(&address), sizeof address);
    const int on = 1;
    setsockopt(link, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return link;
}

void readReplies(int link)
{
    DemoFrameCodec decoder;
    char bytes[4096];
    for (;;) {
        const ssize_t count = recv(link, bytes, sizeof bytes, 0);
        for (const auto &reply : decoder.decode(QByteArray(bytes, static_cast<int>(count))).records) {
            const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
            biz_CMDSWork::receivequeueHexCmd.push(reply);
        }
    }
}

/** The smallest host: a blocking socket, written in the slot and read on a thread of its own. */
void runRaw(const Task &task)
{
    static EchoServer server;
    const int link = connectTo(server);

    static DemoFrameCodec encoder;
    static std::atomic<int> answered{0};
    static auto *worker = new biz_CMDSWork;
    biz_CMDSWork::deviceType = 0x1400;
    biz_CMDSWork::nSysPlan = task.isGated ? 0 : 1;
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
        worker, &biz_CMDSWork::signalSendReceiveMessage, worker,
        [task](void *) {
            ++answered;
            if (task.isGated) {
                const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
                biz_CMDSWork::bRetFlag = true;
            }
        },
        Qt::DirectConnection);
    std::thread([link] { readReplies(link); }).detach();
    for (int i = 0; i < task.commands; ++i) {
        biz_CMDSWork::queueHexCmd.push(command());
    }
    const Start start = startNow(server);
    worker->m_bSendRun = true;
    worker->m_bRecvRun = true;
    std::thread([] { worker->a1_GetQueueWork(); }).detach();
    std::thread([] { worker->a1_receiveGetQueueWork(); }).detach();
    constexpr useconds_t lookPeriodUs = 10000;
    while (answered < task.commands) {
        usleep(lookPeriodUs);
    }
    print("raw", task, start, server);
}

bool enqueueAll(DeviceHost &host, int commands)
{
    bool isTaken = true;
    for (int i = 0; i < commands; ++i) {
        isTaken = host.enqueue(command()) != 0 && isTaken;
    }
    return isTaken;
}

/** With the path of an event log, or without. */
void runKit(const Task &task, const char *role, const QString &eventLog)
{
    static EchoServer server;
    static DeviceHost host;
    QUrl url(QStringLiteral("tcp://127.0.0.1"));
    url.setPort(server.port());
    host.setPipelined(!task.isGated);
    static int left = task.commands;
    static Start start;
    if (!eventLog.isEmpty()) {
        new EventLog(&host, eventLog);
    }
    QObject::connect(&host, &DeviceHost::ended, &host, [task, role] {
        if (--left == 0) {
            print(role, task, start, server);
        }
    });
    const bool isReady = host.setLink(url) && host.setModel(QStringLiteral("A2")) && enqueueAll(host, task.commands);
    start = startNow(server);
    if (!isReady || !host.start()) {
        qFatal("%s", qPrintable(host.errorString()));
    }
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
    constexpr int expectedArguments = 4;
    const QStringList arguments = QCoreApplication::arguments();
    const Task task{arguments.value(2) == QLatin1String("gated"), arguments.value(3).toInt()};
    const bool isTask = argc == expectedArguments && task.commands > 0 &&
                        (task.isGated || arguments.at(2) == QLatin1String("pipelined"));
    if (isTask && arguments.at(1) == QLatin1String("raw")) {
        runRaw(task);
    } else if (isTask && arguments.at(1) == QLatin1String("kit")) {
        runKit(task, "kit", {});
    } else if (isTask && arguments.at(1) == QLatin1String("log")) {
        const QTemporaryDir folder;
        runKit(task, "log", folder.filePath(QStringLiteral("events.jsonl")));
    }
    std::fprintf(stderr, "usage: bench_host_kit raw|kit|log pipelined|gated COMMANDS\n");
    return 2;
}
