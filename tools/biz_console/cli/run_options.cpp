#include <biz_console/cli/run_options.h>

#include <QtCore/QUrl>
#include <QtNetwork/QHostAddress>

#include <biz_console/cli/command_line.h>
#include <biz_console/cli/record_option.h>
#include <biz_console/output/json_sink.h>
#include <biz_console/output/watch_view.h>
#include <common/errors.h>

namespace biz::console {

namespace {

QString jsonOption()
{
    return QStringLiteral("json");
}

/** Where the device is that no option names. */
constexpr char deviceVariable[] = "BIZ_DEVICE";

constexpr int maxRounds = 1'000'000;
constexpr double minPerSecond = 0.001;
constexpr double maxPerSecond = 100'000.0;

QString repeatOption()
{
    return QStringLiteral("repeat");
}

QString rateOption()
{
    return QStringLiteral("rate");
}

QString reconnectOption()
{
    return QStringLiteral("reconnect");
}

QString watchOption()
{
    return QStringLiteral("watch");
}

QString quietOption()
{
    return QStringLiteral("quiet");
}

} // namespace

QString deviceOption()
{
    return QStringLiteral("device");
}

QString portOption()
{
    return QStringLiteral("port");
}

QString bindOption()
{
    return QStringLiteral("bind");
}

void addDeviceOption(QCommandLineParser &parser)
{
    parser.addOption(
        {deviceOption(),
         QStringLiteral("The device: tcp://HOST[:PORT], udp://HOST[:PORT] or serial:///dev/NAME[?baud=115200]. "
                        "By default that of the environment's BIZ_DEVICE."),
         QStringLiteral("url")});
}

std::unique_ptr<host::DeviceLink> deviceLink(const QCommandLineParser &parser)
{
    const bool isGiven = parser.isSet(deviceOption());
    const QString url = isGiven ? parser.value(deviceOption()) : qEnvironmentVariable(deviceVariable);
    if (url.isEmpty() && !isGiven) {
        throw tools::UsageError(QStringLiteral("--device is missing, such as --device tcp://127.0.0.1:15700"));
    }
    QString error;
    std::unique_ptr<host::DeviceLink> link = host::makeLink(QUrl(url), &error);
    if (!link) {
        throw tools::UsageError(
            QStringLiteral("%1: %2").arg(isGiven ? QStringLiteral("--device") : QLatin1String(deviceVariable), error));
    }
    return link;
}

void addOsdOptions(QCommandLineParser &parser, const QString &defaultPort)
{
    parser.addOption({portOption(), QStringLiteral("The devices' UDP port; %1 by default.").arg(defaultPort),
                      QStringLiteral("port")});
    parser.addOption(
        {bindOption(), QStringLiteral("The local address to send from; any by default."), QStringLiteral("address")});
}

quint16 osdPort(const QCommandLineParser &parser, quint16 fallback)
{
    return parser.isSet(portOption()) ? static_cast<quint16>(numberOf(parser, portOption(), 1, UINT16_MAX)) : fallback;
}

QString osdLocalAddress(const QCommandLineParser &parser)
{
    if (!parser.isSet(bindOption())) {
        return {};
    }
    QString address = parser.value(bindOption());
    if (QHostAddress(address).isNull()) {
        throw tools::UsageError(QStringLiteral("--bind: a local address expected, not '%1'").arg(address));
    }
    return address;
}

void addPlanOptions(QCommandLineParser &parser)
{
    parser.addOption({repeatOption(), QStringLiteral("Plays the session <n> times, with 0 until it is interrupted."),
                      QStringLiteral("n")});
    parser.addOption(
        {rateOption(), QStringLiteral("Gives <n> commands a second at most, such as 20 or 0.5."), QStringLiteral("n")});
}

RunPlan runPlan(const QCommandLineParser &parser)
{
    RunPlan plan;
    if (parser.isSet(repeatOption())) {
        plan.rounds = numberOf(parser, repeatOption(), 0, maxRounds);
    }
    if (parser.isSet(rateOption())) {
        bool isNumber = false;
        plan.perSecond = parser.value(rateOption()).toDouble(&isNumber);
        if (!isNumber || !(plan.perSecond >= minPerSecond && plan.perSecond <= maxPerSecond)) {
            throw tools::UsageError(QStringLiteral("--%1: a number from %2 to %3 expected, not '%4'")
                                        .arg(rateOption(), QString::number(minPerSecond),
                                             QString::number(maxPerSecond, 'f', 0), parser.value(rateOption())));
        }
    }
    plan.reconnects = parser.optionNames().contains(reconnectOption());
    return plan;
}

void addReconnectOption(QCommandLineParser &parser)
{
    parser.addOption({reconnectOption(), QStringLiteral("Stays when the link is lost: commands wait until the kit has "
                                                        "opened it again.")});
}

void addJsonOption(QCommandLineParser &parser)
{
    parser.addOption({jsonOption(), QStringLiteral("Prints one JSON object a line: each event, and the summary.")});
}

bool wantsJson(const QCommandLineParser &parser)
{
    return parser.isSet(jsonOption());
}

void addWatchOption(QCommandLineParser &parser)
{
    parser.addOption({watchOption(), QStringLiteral("Shows a terminal the run in place: queue, counters and the last "
                                                    "events. Other outputs get lines.")});
}

void addQuietOption(QCommandLineParser &parser, const char *stillShown)
{
    parser.addOption({quietOption(), QStringLiteral("Shows %1 and the summary only.").arg(QLatin1String(stillShown))});
}

bool isQuiet(const QCommandLineParser &parser)
{
    return parser.isSet(quietOption());
}

void requireOneForm(const QCommandLineParser &parser)
{
    if (wantsJson(parser) && parser.isSet(watchOption())) {
        throw tools::UsageError(QStringLiteral("--watch: cannot be used beside --json"));
    }
}

void addOutputSink(SessionRun &run, const QCommandLineParser &parser, const Output &output,
                   const EventPrinter::Options &shown)
{
    if (parser.isSet(watchOption()) && output.outIsTerminal) {
        run.addSink(std::make_unique<WatchView>(output.out, standardOutputSize, shown.allDevices));
    } else if (wantsJson(parser)) {
        run.addSink(std::make_unique<JsonSink>(output.out, !isQuiet(parser)));
    } else {
        run.addSink(std::make_unique<EventPrinter>(output.out, output.outIsTerminal, shown));
    }
}

} // namespace biz::console
