#include <cstdio>
#include <cstdlib>

#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>

#include <host/device_host.h>
#include <testkit/simulated_device.h>
#include <testkit/test_clock.h>

// Prints the trace of a session in which much goes wrong: the same for the same seed.

using namespace std::chrono_literals;
using namespace biz;

int main(int argc, char **argv)
{
    const quint64 seed = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1;
    testkit::TestClock clock(seed);
    const QTemporaryDir scratch; // for the error log
    QDir::setCurrent(scratch.path());
    testkit::FaultSettings faults;
    faults.seed = static_cast<quint32>(seed);
    for (int kind = 0; kind < testkit::faultKinds; ++kind) {
        faults.rates.append({static_cast<testkit::FaultKind>(kind), 0.02});
    }
    constexpr int commandCount = 100;
    testkit::SimulatedDevice device("A2", faults);
    device.setReplyDelay(7ms);
    host::DeviceHost host;
    host.setWhileDown(host::WhileDown::Hold);
    QString ends;
    QObject::connect(&host, &host::DeviceHost::ended, [&](host::Ticket ticket, const host::CommandResult &result) {
        ends += QStringLiteral(" %1:%2").arg(QString::number(ticket), host::outcomeName(result.outcome));
    });
    bool isReady = host.setModel("A2") && host.setLink(device.makeLink()) && host.start();
    for (int i = 0; i < commandCount; ++i) {
        isReady = host.enqueue(host::makeCommand(0xF1, 0x08)) != 0 && isReady;
    }
    isReady = clock.runUntil([&] { return ends.count(QLatin1Char(':')) == commandCount; }, 10min) && isReady;
    std::printf("%016llx%s\n", static_cast<unsigned long long>(clock.trace()), qPrintable(ends));
    QDir::setCurrent("/");
    return isReady ? 0 : 1;
}
