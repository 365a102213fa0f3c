// A queue that is steered, with the host kit: of the values of one slider only the newest is sent, an
// urgent command overtakes what waits, old commands expire, and one that was a mistake is cancelled.
//
// steered_queue [URL], by default a simulated A2 on this machine.

#include <QtCore/QCoreApplication>
#include <QtCore/QTextStream>

#include <host/device_host.h>

using namespace biz::host;

namespace {

using namespace std::chrono_literals;

/** Each movement of a slider is a command, and only the last one counts. */
bool enqueueSlider(DeviceHost &host)
{
    constexpr int movements = 100;
    CommandOptions newestOnly;
    newestOnly.replaceKey = QStringLiteral("brightness");
    newestOnly.validFor = 5s; // after that the viewer has left
    bool isTaken = true;
    for (int value = 0; value < movements; ++value) {
        const QByteArray payload(1, static_cast<char>(value));
        isTaken = host.enqueue(makeCommand(0xF1, 0x08, payload), newestOnly) != 0 && isTaken;
    }
    return isTaken;
}

/** Overtakes the slider, and one function hears of its end alone. */
bool enqueueUrgent(DeviceHost &host)
{
    CommandOptions atOnce;
    atOnce.urgent = true;
    const auto tell = [](Ticket, const CommandResult &result) {
        QTextStream(stdout) << "the urgent command: " << outcomeName(result.outcome) << '\n';
    };
    return host.enqueue(makeCommand(0xF1, 0x12), atOnce, &host, tell) != 0;
}

void printTotals(const DeviceHost &host)
{
    const Counters totals = host.counters();
    QTextStream(stdout) << "answered " << totals.answered << ", superseded " << totals.superseded << ", cancelled "
                        << totals.cancelled << '\n';
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QString simulator = QStringLiteral("tcp://127.0.0.1:%1").arg(defaultTcpPort);
    DeviceHost host;
    const bool isReady = host.setLink(QUrl(QCoreApplication::arguments().value(1, simulator))) &&
                         host.setModel(QStringLiteral("A2")) && enqueueSlider(host) && enqueueUrgent(host);
    const Ticket mistake = isReady ? host.enqueue(makeCommand(0xF1, 0x08)) : 0;
    if (mistake == 0 || !host.cancel(mistake) || !host.start()) {
        qCritical("%s", qPrintable(host.errorString()));
        return 1;
    }
    int toEnd = static_cast<int>(host.counters().enqueued);
    QObject::connect(&host, &DeviceHost::ended, &app, [&toEnd] {
        if (--toEnd == 0) {
            QCoreApplication::quit();
        }
    });
    QCoreApplication::exec();
    printTotals(host);
    return host.counters().answered == 2 ? 0 : 1;
}
