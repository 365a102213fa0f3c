#include <cstdlib>
#include <cstring>
#include <memory>

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <host/device/fake_link.h>
#include <host/device_host.h>
#include <host/osd_host.h>

using namespace biz::host;
using namespace biz::test;

namespace {

constexpr int usageError = 2;
constexpr int neverRan = 3;
constexpr int patienceMs = 10000;

std::unique_ptr<DeviceHost> makeDeviceHost()
{
    auto host = std::make_unique<DeviceHost>();
    if (!host->setLink(std::make_unique<FakeLink>())) {
        std::_Exit(neverRan);
    }
    return host;
}

model_OsdParam osdCommand()
{
    model_OsdParam command;
    command.qsIp = QStringLiteral("127.16.0.1");
    return command;
}

/** Destroyed after all that a host has made for the end of the process: it was there first. */
template<typename Host>
std::unique_ptr<Host> ofBeforeMain;

/** Runs the event loop until a command has been sent. */
template<typename Host, typename Command>
void runUntilSent(Host &host, const Command &command)
{
    QObject::connect(&host, &Host::sent, qApp, &QCoreApplication::quit);
    QTimer::singleShot(patienceMs, qApp, [] { QCoreApplication::exit(neverRan); });
    if (host.enqueue(command) == 0 || !host.start() || QCoreApplication::exec() != 0) {
        std::_Exit(neverRan);
    }
}

/** What happens to a host between its last signal and the end of the process. */
template<typename Host>
void finish(std::unique_ptr<Host> host, const char *way)
{
    if (std::strcmp(way, "stop") == 0) {
        host->stop();
        static_cast<void>(host.release()); // as a host that belongs to nobody
    } else if (std::strcmp(way, "hasty-stop") == 0) {
        host->stop(0);
    } else if (std::strcmp(way, "exit") == 0) {
        std::exit(0); // with the host still on this function's stack
    } else if (std::strcmp(way, "static") == 0) {
        static std::unique_ptr<Host> kept;
        kept = std::move(host);
    } else if (std::strcmp(way, "global") == 0) {
        ofBeforeMain<Host> = std::move(host);
    }
    // "destroy": here and now
}

} // namespace

/** Uses a host, lets go of it in the way that is asked for, and returns at once. */
int main(int argc, char **argv)
{
    if (argc != 3) {
        return usageError;
    }
    const QCoreApplication application(argc, argv);
    if (std::strcmp(argv[1], "device") == 0) {
        auto host = makeDeviceHost();
        runUntilSent(*host, model_Protocoldata());
        finish(std::move(host), argv[2]);
    } else {
        auto host = std::make_unique<OsdHost>();
        runUntilSent(*host, osdCommand());
        finish(std::move(host), argv[2]);
    }
    return 0;
}
