#include <common/stop_signals.h>

#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace biz::tools {

namespace {

/** A pipe from the signal handler, which may do next to nothing, to the event loop. */
int pipeEnds[2] = {-1, -1};

extern "C" void writeToPipe(int /*signal*/)
{
    const int savedErrno = errno;
    const char byte = 0;
    // A full pipe holds a request already.
    if (write(pipeEnds[1], &byte, 1) < 0) {
        errno = savedErrno;
    }
}

void handle(int signal)
{
    struct sigaction action = {};
    action.sa_handler = writeToPipe;
    action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
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
