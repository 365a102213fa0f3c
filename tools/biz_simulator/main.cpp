#include <memory>

#include <sys/resource.h>

#include <QtCore/QCoreApplication>

#include <biz_simulator/event_log.h>
#include <biz_simulator/options.h>
#include <biz_simulator/osd_devices.h>
#include <biz_simulator/tcp_device.h>
#include <common/stop_signals.h>

namespace {

using namespace biz::simulator;

enum ExitStatus { Success = 0, BadUsage = 2, CannotBind = 3 };

int fail(ExitStatus status, const QString &message)
{
    writeLine(stderr, QStringLiteral("biz_simulator: ") + message);
    return status;
}

QString addressInUrl(const QHostAddress &address)
{
    const bool isV6 = address.protocol() == QAbstractSocket::IPv6Protocol;
    return isV6 ? QStringLiteral("[%1]").arg(address.toString()) : address.toString();
}

void tellTcpDevice(const Options &options, const TcpDevice &device)
{
    writeLine(stdout, QStringLiteral("listening on tcp://%1:%2")
                          .arg(addressInUrl(options.bindAddress), QString::number(device.port())));
}

void tellOsdDevices(const Options &options, const OsdDevices &devices)
{
    const QHostAddress first(options.osdFirst);
    const QHostAddress last(options.osdFirst + static_cast<quint32>(options.osdCount) - 1);
    writeLine(stdout, QStringLiteral("listening on udp://%1 to %2 port %3")
                          .arg(first.toString(), last.toString(), QString::number(devices.port())));
}

/** Each OSD device has a socket: as many as the system lets this process have. */
void allowManySockets()
{
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        // Without success the default stands, and a bind that fails for it says so.
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

/** Plays what the options ask for until a signal ends it. */
int play(const Options &options)
{
    const EventLog log(options.events);
    std::unique_ptr<TcpDevice> tcp;
    std::unique_ptr<OsdDevices> osd;

    if (options.model) {
        tcp = std::make_unique<TcpDevice>(*options.model, FaultPlan(options.faults), options.delayMs, log);
        if (!tcp->listen(options.bindAddress, options.port)) {
            return fail(CannotBind,
                        QStringLiteral("cannot listen on tcp://%1:%2: %3; expected a free port")
                            .arg(addressInUrl(options.bindAddress), QString::number(options.port), tcp->errorString()));
        }
    }
    if (options.osdCount != 0) {
        osd = std::make_unique<OsdDevices>(options.osdFirst, options.osdCount, options.faults, options.delayMs, log);
        if (!osd->listen(options.osdPort)) {
            return fail(CannotBind,
                        QStringLiteral("cannot listen on udp %1; expected a free port").arg(osd->errorString()));
        }
    }
    if (!options.faults.rates.isEmpty()) {
        writeLine(stdout, QStringLiteral("seed %1").arg(options.faults.seed));
    }
    if (tcp) {
        tellTcpDevice(options, *tcp);
    }
    if (osd) {
        tellOsdDevices(options, *osd);
    }

    QCoreApplication::exec();

    if (tcp) {
        writeLine(stdout, QStringLiteral("%1: %2").arg(options.modelName, summaryText(tcp->counters())));
    }
    if (osd) {
        writeLine(
            stdout,
            QStringLiteral("%1 OSD devices: %2").arg(QString::number(options.osdCount), summaryText(osd->counters())));
    }
    return Success;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const CommandLine line = readCommandLine(QCoreApplication::arguments());
    if (!line.error.isEmpty()) {
        return fail(BadUsage, line.error);
    }
    if (!line.text.isEmpty()) {
        std::fputs(qUtf8Printable(line.text), stdout);
        return Success;
    }
    // Before anything listens: whoever reads that it does may send a signal at once.
    const biz::tools::StopSignals signals;
    QObject::connect(&signals, &biz::tools::StopSignals::stopRequested, &application, &QCoreApplication::quit);
    allowManySockets();
    return play(line.options);
}
