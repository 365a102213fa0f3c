#include <biz_console/verbs/verbs.h>

#include <algorithm>

#include <QtNetwork/QHostAddress>

#include <biz_console/cli/command_line.h>
#include <biz_console/cli/run_options.h>
#include <biz_console/output/json_sink.h>
#include <biz_console/output/send_printer.h>
#include <biz_console/replies/checked_reply.h>
#include <biz_console/run/session_run.h>
#include <common/errors.h>
#include <common/hex.h>
#include <host/frame_codec.h>
#include <host/osd_datagram_codec.h>

namespace biz::console {

namespace {

constexpr int maxFlag = 0xFF;

QString osdOption()
{
    return QStringLiteral("osd");
}

QString modelOption()
{
    return QStringLiteral("model");
}

QString dataOption()
{
    return QStringLiteral("data");
}

QString waitOption()
{
    return QStringLiteral("wait");
}

QString textOption()
{
    return QStringLiteral("text");
}

QString flagOption()
{
    return QStringLiteral("flag");
}

void describe(QCommandLineParser &parser)
{
    parser.setApplicationDescription(
        QStringLiteral("Gives one command to a device, or to an OSD device with --osd, and tells what became of it.\n"
                       "Exit status: 0 answered, 1 not answered, 2 bad usage, 3 the device cannot be reached."));
    parser.addPositionalArgument(
        QStringLiteral("head"),
        QStringLiteral("Bytes 1 to 6 of the head in hexadecimal; of an OSD command all eleven bytes."),
        QStringLiteral("send HEAD"));
    addDeviceOption(parser);
    parser.addOption({modelOption(),
                      QStringLiteral("The model whose rules judge the reply, such as A2; every reply is accepted by "
                                     "default."),
                      QStringLiteral("model")});
    parser.addOption({dataOption(), QStringLiteral("The payload in hexadecimal."), QStringLiteral("hex")});
    parser.addOption(
        {waitOption(),
         QStringLiteral("The command's wait (iWaitTime) in milliseconds; %1 by default, %2 for an OSD device.")
             .arg(defaultDeviceWaitMs)
             .arg(host::OsdHost::defaultWaitMs),
         QStringLiteral("ms")});
    parser.addOption({osdOption(), QStringLiteral("An OSD device instead of --device."), QStringLiteral("address")});
    addOsdOptions(parser, QString::number(host::OsdHost::defaultPort));
    parser.addOption({textOption(), QStringLiteral("The text of an OSD command."), QStringLiteral("text")});
    parser.addOption({flagOption(), QStringLiteral("The flag of an OSD command, 0 by default."), QStringLiteral("n")});
    addJsonOption(parser);
    addLogDirOption(parser);
    addTraceOption(parser);
}

QByteArray headOf(const QString &text, int size, const char *example)
{
    const auto head = tools::bytesFromHex(text);
    if (!head || head->size() != size) {
        throw tools::UsageError(QStringLiteral("the head: %1 bytes in hexadecimal such as \"%2\" expected, not '%3'")
                                    .arg(QString::number(size), QLatin1String(example), text));
    }
    return *head;
}

QByteArray dataOf(const QCommandLineParser &parser, int maxSize)
{
    const QString text = parser.value(dataOption());
    const auto data = tools::bytesFromHex(text);
    if (!data || data->size() > maxSize) {
        throw tools::UsageError(QStringLiteral("--data: at most %1 bytes in hexadecimal expected, not '%2'")
                                    .arg(QString::number(maxSize), text));
    }
    return *data;
}

int waitOf(const QCommandLineParser &parser, int fallback)
{
    return parser.isSet(waitOption()) ? numberOf(parser, waitOption(), 1, maxWaitMs) : fallback;
}

DeviceSession deviceSession(const QCommandLineParser &parser)
{
    const QByteArray head = headOf(onlyArgument(parser, QStringLiteral("the head")), headBytes, "F1 08 03 62 01 00");
    DeviceSessionCommand command;
    std::copy(head.begin(), head.end(), command.record.ucHead + stampedHeadBytes);
    command.name = host::commandText(command.record);
    command.record.baData = dataOf(parser, host::DemoFrameCodec::maxPayload);
    command.record.iWaitTime = waitOf(parser, defaultDeviceWaitMs);
    DeviceSession session;
    session.deviceType = parser.isSet(modelOption()) ? modelNamed(parser.value(modelOption())).deviceType : -1;
    session.commands.append(command);
    return session;
}

OsdSession osdSession(const QCommandLineParser &parser)
{
    const QByteArray head =
        headOf(onlyArgument(parser, QStringLiteral("the head")), osdHeadBytes, "0D 01 00 00 00 00 00 00 00 00 00");
    OsdSessionCommand command;
    std::copy(head.begin(), head.end(), command.record.ucOsdHead);
    command.name = QString::fromLatin1(head.left(2).toHex('/').toUpper());
    command.record.baData = dataOf(parser, host::OsdDatagramCodec::maxPayload);
    command.record.iWaitTime = waitOf(parser, host::OsdHost::defaultWaitMs);
    command.record.qsOsdText = parser.value(textOption());
    if (parser.isSet(flagOption())) {
        command.record.ucOsdFlag = static_cast<quint8>(numberOf(parser, flagOption(), 0, maxFlag));
    }
    OsdSession session;
    session.port = osdPort(parser, host::OsdHost::defaultPort);
    session.devices.append(parser.value(osdOption()));
    session.commands.append(command);
    return session;
}

void requireAddress(const QString &device)
{
    const QHostAddress address(device);
    if (address.isNull() || address.toString() != device) {
        throw tools::UsageError(QStringLiteral("--osd: an address such as 127.1.0.1 expected, not '%1'").arg(device));
    }
}

int play(SessionRun &run, const QCommandLineParser &parser, const Output &output)
{
    if (wantsJson(parser)) {
        run.addSink(std::make_unique<JsonSink>(output.out, true));
    } else {
        run.addSink(std::make_unique<SendPrinter>(output.out));
    }
    return execute(run);
}

int sendToDevice(const QCommandLineParser &parser, const Output &output)
{
    refuseOptions(parser, {textOption(), flagOption(), portOption(), bindOption()}, "is for OSD devices, with --osd");
    std::unique_ptr<host::DeviceLink> link = deviceLink(parser);
    DeviceSession session = deviceSession(parser);
    obeyTraceOption(parser);
    obeyLogDirOption(parser);
    RunPlan plan;
    plan.failsFast = true;
    SessionRun run(std::make_unique<DeviceSide>(std::move(session), std::move(link), plan), plan, output.err);
    return play(run, parser, output);
}

int sendToOsdDevice(const QCommandLineParser &parser, const Output &output)
{
    refuseOptions(parser, {deviceOption(), modelOption(), logDirOption()}, "is not for OSD devices");
    OsdRunOptions options;
    requireAddress(parser.value(osdOption()));
    options.localAddress = osdLocalAddress(parser);
    OsdSession session = osdSession(parser);
    obeyTraceOption(parser);
    SessionRun run(std::make_unique<OsdSide>(std::move(session), std::move(options)), RunPlan(), output.err);
    return play(run, parser, output);
}

} // namespace

int runSend(const QStringList &arguments, const Output &output)
{
    QCommandLineParser parser;
    describe(parser);
    if (!parse(parser, arguments, output)) {
        return AsExpected;
    }
    return parser.isSet(osdOption()) ? sendToOsdDevice(parser, output) : sendToDevice(parser, output);
}

} // namespace biz::console
