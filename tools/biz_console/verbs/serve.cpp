#include <biz_console/verbs/verbs.h>

#include <biz_console/cli/command_line.h>
#include <biz_console/cli/metrics_option.h>
#include <biz_console/cli/run_options.h>
#include <biz_console/replies/checked_reply.h>
#include <biz_console/session/session.h>
#include <common/errors.h>
#include <common/stop_signals.h>
#include <host/device_host.h>
#include <host/osd_host.h>
#include <host/serve.h>

namespace biz::console {

namespace {

QString osdOption()
{
    return QStringLiteral("osd");
}

QString modelOption()
{
    return QStringLiteral("model");
}

QString waitOption()
{
    return QStringLiteral("wait");
}

QString settleOption()
{
    return QStringLiteral("settle");
}

QString pipelinedOption()
{
    return QStringLiteral("pipelined");
}

QString holdOption()
{
    return QStringLiteral("hold");
}

void describe(QCommandLineParser &parser)
{
    parser.setApplicationDescription(QStringLiteral(
        "Takes commands as JSON lines on standard input, for one device, or for OSD devices with --osd, and prints\n"
        "what becomes of them as JSON lines. Ends with its input, within a second.\n"
        "Exit status: 0 the input has ended, or asked for it, 1 not all lines were read in time or could be\n"
        "written, 2 bad usage, 3 the host could not be started."));
    parser.addPositionalArgument(QString(), QString(), QStringLiteral("serve"));
    addDeviceOption(parser);
    parser.addOption({modelOption(),
                      QStringLiteral("The model whose rules judge the replies, such as A2; every reply is accepted by "
                                     "default."),
                      QStringLiteral("model")});
    parser.addOption({waitOption(),
                      QStringLiteral("The wait of commands that name none; %1 by default, %2 for OSD devices.")
                          .arg(defaultDeviceWaitMs)
                          .arg(host::OsdHost::defaultWaitMs),
                      QStringLiteral("ms")});
    parser.addOption({settleOption(), QStringLiteral("Quiet time between a reply and the next command; 0 by default."),
                      QStringLiteral("ms")});
    parser.addOption({pipelinedOption(), QStringLiteral("Sends without waiting for replies, and never again.")});
    parser.addOption(
        {holdOption(), QStringLiteral("Commands wait while the link is down; by default they end as unreachable.")});
    parser.addOption({osdOption(), QStringLiteral("Serves OSD devices: each command names its own.")});
    addOsdOptions(parser, QString::number(host::OsdHost::defaultPort));
    addLogDirOption(parser);
    addMetricsOption(parser);
    addTraceOption(parser);
}

void require(bool isTaken, const QString &problem)
{
    if (!isTaken) {
        throw tools::UsageError(problem);
    }
}

template<typename Host>
void setWait(Host &host, const QCommandLineParser &parser)
{
    if (parser.isSet(waitOption())) {
        require(host.setDefaultWaitTime(numberOf(parser, waitOption(), 1, maxWaitMs)), host.errorString());
    }
}

/** What serve() returned, to the shell. */
ExitCode exitCodeOf(int served, QTextStream &err)
{
    constexpr int cannotStart = 1;
    if (served == 0) {
        return AsExpected;
    }
    if (served == cannotStart) {
        return LinkFailed;
    }
    err << "biz_console: lines of the output could not be written, or were not read in time\n";
    return NotAsExpected;
}

/** Serves until the input ends or a signal asks for the end; what host::serve() returned. */
template<typename Host>
int serve(Host &host, const QCommandLineParser &parser, MetricsFile &metrics)
{
    setWait(host, parser);
    obeyTraceOption(parser);
    const tools::StopSignals signalsToStop;
    QObject::connect(&signalsToStop, &tools::StopSignals::stopRequested, QCoreApplication::instance(),
                     [] { QCoreApplication::exit(); });
    metrics.start([&host] { return host::metricsOf(host); });
    const int served = host::serve(host);
    metrics.finish();
    return served;
}

int serveDevice(const QCommandLineParser &parser, MetricsFile &metrics)
{
    refuseOptions(parser, {QStringLiteral("port"), QStringLiteral("bind")}, "is for OSD devices, with --osd");
    host::DeviceHost host;
    require(host.setLink(deviceLink(parser)), host.errorString());
    if (parser.isSet(modelOption())) {
        host.setDeviceType(modelNamed(parser.value(modelOption())).deviceType);
    }
    if (parser.isSet(pipelinedOption())) {
        refuseOptions(parser, {settleOption()}, "is not for a pipelined host, which waits for no reply");
    }
    if (parser.isSet(settleOption())) {
        require(host.setSettleTime(numberOf(parser, settleOption(), 0, maxWaitMs)), host.errorString());
    }
    host.setPipelined(parser.isSet(pipelinedOption()));
    host.setWhileDown(parser.isSet(holdOption()) ? host::WhileDown::Hold : host::WhileDown::FailFast);
    obeyLogDirOption(parser);
    return serve(host, parser, metrics);
}

int serveOsdDevices(const QCommandLineParser &parser, MetricsFile &metrics)
{
    refuseOptions(
        parser,
        {QStringLiteral("device"), modelOption(), settleOption(), pipelinedOption(), holdOption(), logDirOption()},
        "is not for OSD devices");
    host::OsdHost host;
    require(host.setPort(osdPort(parser, host::OsdHost::defaultPort)), host.errorString());
    const QString local = osdLocalAddress(parser);
    require(local.isEmpty() || host.setLocalAddress(local), host.errorString());
    return serve(host, parser, metrics);
}

} // namespace

int runServe(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    describe(parser);
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    if (!parser.positionalArguments().isEmpty()) {
        throw tools::UsageError(
            QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().constFirst()));
    }
    FileNames names({});
    MetricsFile metrics(parser, output, names);
    const int served = parser.isSet(osdOption()) ? serveOsdDevices(parser, metrics) : serveDevice(parser, metrics);
    return exitCodeOf(served, output.err);
}

} // namespace biz::console
