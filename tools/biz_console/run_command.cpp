#include <biz_console/command_line.h>

#include <memory>

#include <QtCore/QUrl>

#include <biz_console/device_run.h>
#include <biz_console/run_options.h>
#include <biz_console/session_reader.h>

namespace biz::console {

namespace {

DeviceSession loadSession(const QString &path)
{
    try {
        return readDeviceSession(tools::readInputFile(path));
    } catch (const SessionError &error) {
        throw InputError(path + QStringLiteral(": ") + error.text());
    }
}

std::unique_ptr<host::DeviceLink> linkOf(const QString &device)
{
    QString error;
    std::unique_ptr<host::DeviceLink> link = host::makeLink(QUrl(device), &error);
    if (!link) {
        throw UsageError(QStringLiteral("--device: ") + error);
    }
    return link;
}

} // namespace

int runDevice(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Plays a session against one device."));
    parser.addPositionalArgument(QStringLiteral("session"), QStringLiteral("The session, a JSON file."),
                                 QStringLiteral("run SESSION.json"));
    const QString deviceOption = QStringLiteral("device");
    parser.addOption(
        {deviceOption,
         QStringLiteral("The device: tcp://HOST[:PORT], udp://HOST[:PORT] or serial:///dev/NAME[?baud=N]."),
         QStringLiteral("url")});
    addQuietOption(parser);
    addJsonOption(parser);
    addLogDirOption(parser);
    addTraceOption(parser);
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    const QString path = onlyArgument(parser, QStringLiteral("the session"));
    if (!parser.isSet(deviceOption)) {
        throw UsageError(QStringLiteral("--device is missing, such as --device tcp://127.0.0.1:15700"));
    }
    std::unique_ptr<host::DeviceLink> link = linkOf(parser.value(deviceOption));
    DeviceSession session = loadSession(path);
    obeyTraceOption(parser);
    obeyLogDirOption(parser);

    DeviceRun run(std::move(session), std::move(link), output.err);
    EventPrinter::Options shown;
    shown.events = !isQuiet(parser);
    shown.progress = shown.events;
    addOutputSink(run, parser, output, shown);
    return execute(run);
}

} // namespace biz::console
