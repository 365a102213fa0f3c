#include <common/stop_signals.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <ctime>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace biz::tools {

namespace {

/** A pipe from the signal handler, which may do next to nothing, to the event loop. */
int pipeEnds[2] = {-1, -1};

/** A signal that comes again within this time is the same wish. */
constexpr std::int64_t sameWishMs = 500;

constexpr std::int64_t never = -1;

constexpr int highestSignal = SIGTERM;
static_assert(SIGINT < highestSignal && SIGHUP < highestSignal, "each signal has its time");

/** When each signal came first. */
std::atomic<std::int64_t> cameMs[highestSignal + 1];
static_assert(std::atomic<std::int64_t>::is_always_lock_free, "a signal handler may use it");

std::int64_t nowMs()
{
    constexpr std::int64_t msPerSecond = 1000;
    constexpr std::int64_t nsPerMs = 1'000'000;
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * msPerSecond + now.tv_nsec / nsPerMs;
}

extern "C" void askForStop(int signal)
{
    const int savedErrno = errno;
    std::int64_t first = never;
    if (!cameMs[signal].compare_exchange_strong(first, nowMs()) && nowMs() - first >= sameWishMs) {
        std::signal(signal, SIG_DFL);
        raise(signal); // which takes effect as soon as this handler returns
    }
    const char byte = 0;
    // A full pipe holds a request already.
    if (write(pipeEnds[1], &byte, 1) < 0) {
        errno = savedErrno;
    }
}

void handle(int signal)
{
    struct sigaction action = {};
    cameMs[signal] = never;
    action.sa_handler = askForStop;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
}

/** `nohup` asks for that. Of the other signals it says nothing: a shell ignores SIGINT for all that it runs behind. */
bool isHangUpIgnored()
{
    struct sigaction before = {};
    return sigaction(SIGHUP, nullptr, &before) == 0 && before.sa_handler == SIG_IGN;
}

} // namespace

StopSignals::StopSignals(QObject *parent)
    : QObject(parent)
{
    if (pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    m_notifier = new QSocketNotifier(pipeEnds[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        m_notifier->setEnabled(false);
        Q_EMIT stopRequested();
    });
    handle(SIGINT);
    handle(SIGTERM);
    if (!isHangUpIgnored()) {
        handle(SIGHUP);
    }
}

StopSignals::~StopSignals()
{
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    if (!isHangUpIgnored()) {
        std::signal(SIGHUP, SIG_DFL);
    }
    delete m_notifier;
    close(pipeEnds[0]);
    close(pipeEnds[1]);
}

} // namespace biz::tools
