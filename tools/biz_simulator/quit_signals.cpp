#include <biz_simulator/quit_signals.h>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>

namespace biz::simulator {

namespace {

// A signal handler may do next to nothing: it writes one byte, and the event loop reads it.
int pipeEnds[2] = {-1, -1};

void tellEventLoop(int /*signal*/)
{
    const char byte = 0;
    // The pipe can only be full when the loop has been told already.
    if (::write(pipeEnds[1], &byte, 1) < 0) {
        return;
    }
}

} // namespace

bool quitOnSignals(QObject *parent)
{
    if (::pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0) {
        return false;
    }
    auto *notifier = new QSocketNotifier(pipeEnds[0], QSocketNotifier::Read, parent);
    QObject::connect(notifier, &QSocketNotifier::activated, parent, [notifier] {
        notifier->setEnabled(false);
        QCoreApplication::quit();
    });

    struct sigaction action = {};
    action.sa_handler = tellEventLoop;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    return ::sigaction(SIGINT, &action, nullptr) == 0 && ::sigaction(SIGTERM, &action, nullptr) == 0;
}

} // namespace biz::simulator
