#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <host/osd_host.h>

using biz::host::OsdHost;

namespace {

constexpr int usageError = 2;
constexpr int neverRan = 3;
constexpr int patienceMs = 10000;
constexpr int endlessWaitMs = 60000;

/** Destroyed after main(), when the kit has taken leave of the channel already. */
std::unique_ptr<OsdHost> globalHost;

/** The test counts from here to the end of the process. */
void tellThatTheEndBegins()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    std::printf("%lld\n", static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count()));
    std::fflush(stdout);
}

bool enqueueEndless(OsdHost &host)
{
    model_OsdParam command;
    command.qsIp = QStringLiteral("127.16.0.1");
    command.iWaitTime = endlessWaitMs;
    return host.enqueue(command) != 0;
}

/** Runs the event loop until one command is in flight and another waits; ends the process in the slot if asked to. */
void runUntilSent(OsdHost &host, bool exitsInSlot)
{
    QObject::connect(&host, &OsdHost::sent, qApp, [exitsInSlot] {
        if (exitsInSlot) {
            tellThatTheEndBegins();
            std::exit(0);
        }
        QCoreApplication::quit();
    });
    QTimer::singleShot(patienceMs, qApp, [] { QCoreApplication::exit(neverRan); });
    if (!enqueueEndless(host) || !enqueueEndless(host) || !host.start() || QCoreApplication::exec() != 0) {
        std::_Exit(neverRan);
    }
}

/** What happens to a host between its last signal and the end of the process. */
void finish(std::unique_ptr<OsdHost> host, const char *way)
{
    if (std::strcmp(way, "stop") == 0) {
        host->stop();
        static_cast<void>(host.release()); // as a host that belongs to nobody
    } else if (std::strcmp(way, "hasty-stop") == 0) {
        host->stop(0);
    } else if (std::strcmp(way, "leave") == 0) {
        static_cast<void>(host.release()); // it runs on
    } else if (std::strcmp(way, "exit") == 0) {
        std::exit(0); // with the host still on this function's stack
    } else if (std::strcmp(way, "static") == 0) {
        static std::unique_ptr<OsdHost> kept;
        kept = std::move(host);
    } else if (std::strcmp(way, "global") == 0) {
        globalHost = std::move(host);
    }
    // "destroy": here and now
}

} // namespace

/** Uses a host, lets go of it in the way that is asked for, and returns at once. */
int main(int argc, char **argv)
{
    if (argc != 2) {
        return usageError;
    }
    const QCoreApplication application(argc, argv);
    auto host = std::make_unique<OsdHost>();
    runUntilSent(*host, std::strcmp(argv[1], "exit-in-slot") == 0);
    tellThatTheEndBegins();
    finish(std::move(host), argv[1]);
    return 0;
}
