#include <biz_console/command_line.h>

#include <QtNetwork/QHostAddress>

#include <biz_console/osd_run.h>
#include <biz_console/run_options.h>
#include <biz_console/session_reader.h>

namespace biz::console {

namespace {

QString portOption()
{
    return QStringLiteral("port");
}

QString bindOption()
{
    return QStringLiteral("bind");
}

QString eventsOption()
{
    return QStringLiteral("events");
}

QString allDevicesOption()
{
    return QStringLiteral("all-devices");
}

OsdSession loadSession(const QString &path)
{
    try {
        return readOsdSession(tools::readInputFile(path));
    } catch (const SessionError &error) {
        throw InputError(path + QStringLiteral(": ") + error.text());
    }
}

void describe(QCommandLineParser &parser)
{
    parser.setApplicationDescription(QStringLiteral("Plays a session against many OSD devices at once."));
    parser.addPositionalArgument(QStringLiteral("session"), QStringLiteral("The session, a JSON file."),
                                 QStringLiteral("osd SESSION.json"));
    parser.addOption(
        {portOption(), QStringLiteral("The devices' UDP port; the session's by default."), QStringLiteral("port")});
    parser.addOption({bindOption(), QStringLiteral("The local address to send from; 127.0.0.1 by default."),
                      QStringLiteral("address"), QStringLiteral("127.0.0.1")});
    parser.addOption({eventsOption(), QStringLiteral("Shows a line for each event of each device.")});
    parser.addOption({allDevicesOption(), QStringLiteral("Gives every device a row of the table of its own.")});
    addQuietOption(parser);
    addJsonOption(parser);
    addTraceOption(parser);
}

quint16 portOf(const QCommandLineParser &parser)
{
    bool isNumber = false;
    const quint16 port = parser.value(portOption()).toUShort(&isNumber);
    if (!isNumber || port == 0) {
        throw UsageError(
            QStringLiteral("--port: a number from 1 to 65535 expected, not '%1'").arg(parser.value(portOption())));
    }
    return port;
}

QString localAddressOf(const QCommandLineParser &parser)
{
    QString address = parser.value(bindOption());
    if (QHostAddress(address).isNull()) {
        throw UsageError(QStringLiteral("--bind: a local address expected, not '%1'").arg(address));
    }
    return address;
}

} // namespace

int runOsd(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    describe(parser);
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    const QString path = onlyArgument(parser, QStringLiteral("the session"));
    OsdRunOptions options;
    options.localAddress = localAddressOf(parser);
    const bool hasPort = parser.isSet(portOption());
    const quint16 port = hasPort ? portOf(parser) : quint16(0);
    OsdSession session = loadSession(path);
    if (hasPort) {
        session.port = port;
    }
    obeyTraceOption(parser);

    OsdRun run(std::move(session), options, output.err);
    EventPrinter::Options shown;
    shown.events = parser.isSet(eventsOption()) && !isQuiet(parser);
    shown.progress = !isQuiet(parser);
    shown.allDevices = parser.isSet(allDevicesOption());
    addOutputSink(run, parser, output, shown);
    return execute(run);
}

} // namespace biz::console
