#include <biz_gateway/service/reload_signal.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace biz::gateway {

namespace {

/** A pipe from the signal handler, which may do next to nothing, to the event loop. */
int pipeEnds[2] = {-1, -1};

extern "C" void askForReload(int /*signal*/)
{
    const int savedErrno = errno;
    const char byte = 0;
    // A full pipe holds a request already.
    if (write(pipeEnds[1], &byte, 1) < 0) {
        errno = savedErrno;
    }
}

void drain()
{
    std::array<char, 64> bytes{};
    while (read(pipeEnds[0], bytes.data(), bytes.size()) > 0) {
    }
}

} // namespace

ReloadSignal::ReloadSignal(QObject *parent)
    : QObject(parent)
{
    if (pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    m_notifier = new QSocketNotifier(pipeEnds[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] {
        drain();
        Q_EMIT reloadRequested();
    });
    struct sigaction action = {};
    action.sa_handler = askForReload;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGHUP, &action, nullptr);
}

ReloadSignal::~ReloadSignal()
{
    std::signal(SIGHUP, SIG_DFL);
    delete m_notifier;
    close(pipeEnds[0]);
    close(pipeEnds[1]);
}

} // namespace biz::gateway
