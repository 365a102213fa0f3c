#include <serve/request_p.h>

#include <algorithm>
#include <iterator>

#include <host/frame_codec.h>
#include <host/osd_datagram_codec.h>
#include <lines/json_fields_p.h>

namespace biz::host {

namespace {

/** Byte 0 of a device command's head is the channel's. */
constexpr int stampedHeadBytes = 1;
constexpr int headBytes = static_cast<int>(sizeof(model_Protocoldata::ucHead)) - stampedHeadBytes;
constexpr int osdHeadBytes = static_cast<int>(sizeof(model_OsdParam::ucOsdHead));

constexpr int highestFlag = 0xFF;
constexpr int longestOsdText = OsdDatagramCodec::maxPayload;

/** A wait that asks for the host's default. */
constexpr int defaultWait = 0;

const QStringList &optionKeys()
{
    static const QStringList keys{QStringLiteral("do"),         QStringLiteral("id"),     QStringLiteral("head"),
                                  QStringLiteral("data"),       QStringLiteral("waitMs"), QStringLiteral("validForMs"),
                                  QStringLiteral("replaceKey"), QStringLiteral("urgent")};
    return keys;
}

CommandOptions readOptions(JsonFields &fields)
{
    CommandOptions options;
    options.validFor = std::chrono::milliseconds(fields.integer("validForMs", 0, longestRequestMs, 0));
    options.replaceKey = fields.text("replaceKey", longestRequestId);
    options.urgent = fields.boolean("urgent");
    return options;
}

model_Protocoldata readDeviceCommand(JsonFields &fields)
{
    fields.allowOnly(optionKeys());
    model_Protocoldata command;
    const QByteArray head = fields.bytes("head", headBytes, "F1 08 03 62 01 00");
    std::copy(head.begin(), head.end(), std::begin(command.ucHead) + stampedHeadBytes);
    command.baData = fields.bytesUpTo("data", DemoFrameCodec::maxPayload);
    command.iWaitTime = fields.integer("waitMs", 1, longestRequestMs, defaultWait);
    return command;
}

/** The device is a member of the object unless it is known already. */
model_OsdParam readOsdCommand(JsonFields &fields, const QString &knownDevice)
{
    const QStringList keys = optionKeys() + QStringList{QStringLiteral("text"), QStringLiteral("flag")};
    fields.allowOnly(knownDevice.isEmpty() ? keys + QStringList{QStringLiteral("device")} : keys);
    model_OsdParam command;
    command.qsIp = knownDevice.isEmpty() ? fields.name("device", longestRequestId) : knownDevice;
    const QByteArray head = fields.bytes("head", osdHeadBytes, "0D 01 00 00 00 00 00 00 00 00 00");
    std::copy(head.begin(), head.end(), std::begin(command.ucOsdHead));
    command.baData = fields.bytesUpTo("data", OsdDatagramCodec::maxPayload);
    command.qsOsdText = fields.text("text", longestOsdText);
    command.ucOsdFlag = static_cast<quint8>(fields.integer("flag", 0, highestFlag, 0));
    command.iWaitTime = fields.integer("waitMs", 1, longestRequestMs, defaultWait);
    return command;
}

void readCommand(JsonFields &fields, ServedChannel channel, const QString &knownDevice, Request *request)
{
    request->id = fields.name("id", longestRequestId);
    switch (channel) {
    case ServedChannel::Device:
        request->device = readDeviceCommand(fields);
        break;
    case ServedChannel::Osd:
        request->osd = readOsdCommand(fields, knownDevice);
        break;
    }
    request->options = readOptions(fields);
}

struct NamedRequest
{
    const char *name;
    Request::Do what;
};

constexpr NamedRequest namedRequests[] = {
    {"command", Request::Do::Command},   {"cancel", Request::Do::Cancel}, {"clear", Request::Do::Clear},
    {"counters", Request::Do::Counters}, {"stop", Request::Do::Stop},
};

void readWhat(JsonFields &fields, Request *request)
{
    const QString name = fields.textIfAny("do");
    const auto *const named =
        std::find_if(std::begin(namedRequests), std::end(namedRequests),
                     [&name](const NamedRequest &candidate) { return name == QLatin1String(candidate.name); });
    if (named != std::end(namedRequests)) {
        request->what = named->what;
        return;
    }
    QStringList names;
    for (const NamedRequest &candidate : namedRequests) {
        names.append(QLatin1String(candidate.name));
    }
    fields.fail("do", QStringLiteral("one of %1 expected").arg(names.join(QStringLiteral(", "))));
}

/** What is asked for is in `read` already. */
void readRest(JsonFields &fields, ServedChannel channel, const QString &knownDevice, ReadRequest *read)
{
    read->id = fields.textIfAny("id").left(longestRequestId);
    switch (read->request.what) {
    case Request::Do::Command:
        readCommand(fields, channel, knownDevice, &read->request);
        break;
    case Request::Do::Cancel:
        fields.allowOnly({QStringLiteral("do"), QStringLiteral("id")});
        read->request.id = fields.name("id", longestRequestId);
        break;
    case Request::Do::Clear:
    case Request::Do::Counters:
    case Request::Do::Stop:
        fields.allowOnly({QStringLiteral("do")});
        break;
    }
    read->problem = fields.problem();
}

} // namespace

ReadRequest readRequest(const QByteArray &line, ServedChannel channel)
{
    ReadRequest read;
    JsonFields fields(line);
    readWhat(fields, &read.request);
    readRest(fields, channel, {}, &read);
    return read;
}

ReadRequest readMessage(const QByteArray &json, ServedChannel channel, const QString &osdDevice)
{
    ReadRequest read;
    JsonFields fields(json);
    read.request.what = Request::Do::Command;
    if (fields.has("do")) {
        readWhat(fields, &read.request);
    }
    readRest(fields, channel, osdDevice, &read);
    return read;
}

} // namespace biz::host
