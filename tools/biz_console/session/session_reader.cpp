#include <biz_console/session/session_reader.h>

#include <algorithm>

#include <QtNetwork/QHostAddress>

#include <common/json/json_reader.h>
#include <common/shown_text.h>
#include <common/suggestion.h>
#include <host/frame_codec.h>
#include <host/osd_datagram_codec.h>
#include <host/osd_host.h>
#include <host/reply_words.h>

namespace biz::console {

using tools::JsonText;
using tools::JsonValue;
using tools::ObjectReader;
using tools::PlacedValue;
using tools::quotedText;

namespace {

constexpr int maxRepeat = 1'000'000;
constexpr int maxCommands = 1'000'000; ///< of a session in all: each one takes memory
constexpr int maxPort = 0xFFFF;
constexpr int maxDevices = 0xFFFF;
constexpr int maxByte = 0xFF;

const QStringList &deviceCommandKeys()
{
    static const QStringList keys{QStringLiteral("name"),   QStringLiteral("head"),   QStringLiteral("data"),
                                  QStringLiteral("waitMs"), QStringLiteral("repeat"), QStringLiteral("expect")};
    return keys;
}

const QStringList &osdCommandKeys()
{
    static const QStringList keys = deviceCommandKeys() + QStringList{QStringLiteral("flag"), QStringLiteral("text")};
    return keys;
}

/** "one of sent, resent expected, not "set"; did you mean 'sent'?". */
QString notOneOf(const QStringList &names, const QString &text)
{
    return QStringLiteral("one of %1 expected, not %2").arg(names.join(QStringLiteral(", ")), quotedText(text)) +
           tools::suggestionFor(text, names);
}

Expectation readExpectation(const ObjectReader &command)
{
    Expectation expected;
    if (!command.has("expect")) {
        return expected;
    }
    const ObjectReader reader(command, command.placed("expect"), {"outcome", "events"});
    const QString outcome = reader.text("outcome", host::outcomeName(expected.outcome));
    if (!host::outcomeFromName(outcome, &expected.outcome)) {
        reader.note("outcome", notOneOf(host::outcomeNames(), outcome));
    }
    for (const PlacedValue &name : reader.textArray("events")) {
        if (const auto event = expectableFromName(name.value.text)) {
            expected.events.add(*event);
        } else {
            reader.noteAt(name, notOneOf(expectableNames(), name.value.text));
        }
    }
    return expected;
}

int readWait(const ObjectReader &reader, const char *key, int fallback)
{
    return reader.integer(key, 1, maxWaitMs, fallback);
}

/** Without a name, or with an empty one, the codes stand for it. */
QString nameOr(const ObjectReader &reader, const QByteArray &head)
{
    const QString name = reader.text("name");
    return name.isEmpty() ? QString::fromLatin1(head.left(2).toHex('/').toUpper()) : name;
}

DeviceSessionCommand readDeviceCommand(const ObjectReader &reader, int defaultWaitMs)
{
    DeviceSessionCommand command;
    const QByteArray head = reader.hexOfSize("head", headBytes, "F1 08 03 62 01 00");
    std::copy(head.begin(), head.end(), command.record.ucHead + stampedHeadBytes);
    command.name = nameOr(reader, head);
    command.record.baData = reader.hexUpTo("data", host::DemoFrameCodec::maxPayload);
    command.record.iWaitTime = readWait(reader, "waitMs", defaultWaitMs);
    command.repeat = reader.integer("repeat", 1, maxRepeat, 1);
    command.expected = readExpectation(reader);
    return command;
}

OsdSessionCommand readOsdCommand(const ObjectReader &reader, int defaultWaitMs)
{
    OsdSessionCommand command;
    const QByteArray head = reader.hexOfSize("head", osdHeadBytes, "0D 01 00 00 00 00 00 00 00 00 00");
    std::copy(head.begin(), head.end(), command.record.ucOsdHead);
    command.name = nameOr(reader, head);
    command.record.ucOsdFlag = static_cast<quint8>(reader.integer("flag", 0, maxByte, 0));
    command.record.baData = reader.hexUpTo("data", host::OsdDatagramCodec::maxPayload);
    command.record.qsOsdText = reader.text("text");
    command.record.iWaitTime = readWait(reader, "waitMs", defaultWaitMs);
    command.repeat = reader.integer("repeat", 1, maxRepeat, 1);
    command.expected = readExpectation(reader);
    return command;
}

/** A session's commands must fit into memory, for each of `devices` devices. */
template<typename Command>
void limitCommands(const ObjectReader &session, const QVector<Command> &commands, int devices, int limit)
{
    qint64 all = 0;
    for (const Command &command : commands) {
        all += static_cast<qint64>(command.repeat) * devices;
    }
    if (all > limit) {
        session.note(
            "commands",
            QStringLiteral("at most %1 in all expected, repeats and devices included, not %2").arg(limit).arg(all));
    }
}

bool isCanonicalAddress(const QString &text)
{
    const QHostAddress address(text);
    return !address.isNull() && address.toString() == text;
}

QString addressExpected(const QString &text)
{
    return QStringLiteral("an address such as \"127.1.0.1\" expected, not ") + quotedText(text);
}

QStringList readDeviceList(const ObjectReader &session)
{
    session.filledArray("devices", "address");
    QStringList devices;
    QSet<QString> seen;
    for (const PlacedValue &device : session.textArray("devices")) {
        if (!isCanonicalAddress(device.value.text)) {
            session.noteAt(device, addressExpected(device.value.text));
        } else if (seen.contains(device.value.text)) {
            session.noteAt(device, QStringLiteral("each device once expected, not %1 again").arg(device.value.text));
        } else {
            seen.insert(device.value.text);
            devices.append(device.value.text);
        }
    }
    return devices;
}

QStringList readDeviceRange(const ObjectReader &session)
{
    const ObjectReader range(session, session.placed("devices"), {"first", "count"});
    bool isIpv4 = false;
    const QString firstText = range.text("first");
    const quint32 first = QHostAddress(firstText).toIPv4Address(&isIpv4);
    const int count = range.integer("count", 1, maxDevices, 1);
    if (!isCanonicalAddress(firstText)) {
        range.note("first", addressExpected(firstText));
    } else if (!isIpv4) {
        range.note("first", QStringLiteral("an IPv4 address expected, not ") + quotedText(firstText));
    } else if (first > UINT32_MAX - static_cast<quint32>(count - 1)) {
        range.note("count",
                   QStringLiteral("at most %1 addresses from %2 on expected, not %3")
                       .arg(QString::number(quint64(UINT32_MAX) - first + 1), firstText, QString::number(count)));
    }
    QStringList devices;
    for (int i = 0; i < count; ++i) {
        devices.append(QHostAddress(first + static_cast<quint32>(i)).toString());
    }
    return devices;
}

QSet<QString> readSilent(const ObjectReader &session, const QStringList &devices)
{
    const QSet<QString> known(devices.begin(), devices.end());
    QSet<QString> silent;
    for (const PlacedValue &name : session.textArray("silent")) {
        if (known.contains(name.value.text)) {
            silent.insert(name.value.text);
        } else {
            session.noteAt(name,
                           QStringLiteral("one of the session's devices expected, not ") + quotedText(name.value.text));
        }
    }
    return silent;
}

/** A model by its name, in any case, or by its code. */
int readDeviceType(const ObjectReader &session)
{
    const JsonValue &type = session.value("deviceType");
    QStringList names;
    for (const host::CheckedModel &model : host::checkedModels()) {
        if (model.name.compare(type.text, Qt::CaseInsensitive) == 0) {
            return model.deviceType;
        }
        names.append(model.name);
    }
    const std::optional<int> code = session.code("deviceType");
    if (!code) {
        session.note("deviceType",
                     QStringLiteral("a model such as \"A2\", or its code such as \"0x1400\" or 5120, expected, not ") +
                         tools::shown(type) + tools::suggestionFor(type.text, names));
    }
    return code.value_or(-1);
}

/** A session of the other channel would otherwise be told by a list of its keys. */
void refuseOtherChannel(const JsonText &text, const char *foreignKey, const char *hint)
{
    const JsonValue &found = text.root().member(QString::fromLatin1(foreignKey));
    if (found.kind != JsonValue::Kind::Nothing) {
        throw tools::InputError(text.placeAt(found.keyOffset), QString::fromLatin1(hint));
    }
}

/** A recording is lines of JSON, which as one text would be told by what stands in its second line. */
void refuseRecording(const tools::InputText &input)
{
    const QByteArray firstLine = input.bytes.left(input.bytes.indexOf('\n'));
    if (firstLine.contains(R"("event":"recording")")) {
        throw tools::InputError(input.name, QStringLiteral("this is a recording: use 'biz_console replay' or 'show'"));
    }
}

/** What was written for the former key must not be played in another way without a word. */
void refuseFormerKey(const JsonText &text)
{
    const char *const former = "nSysPlan";
    const JsonValue &found = text.root().member(QString::fromLatin1(former));
    if (found.kind != JsonValue::Kind::Nothing) {
        throw tools::InputError(text.placeAt(found.keyOffset),
                                QStringLiteral("nSysPlan: \"pipelined\", true or false, expected in its place"));
    }
}

} // namespace

DeviceSession readDeviceSession(const tools::InputText &input)
{
    refuseRecording(input);
    JsonText text(input);
    refuseOtherChannel(text, "devices", "\"devices\" is of an OSD session: use 'biz_console osd'");
    refuseFormerKey(text);
    const ObjectReader reader(text, {"description", "deviceType", "pipelined", "defaultWaitMs", "commands"});
    DeviceSession session;
    reader.text("description");
    session.deviceType = readDeviceType(reader);
    session.isPipelined = reader.boolean("pipelined", false);
    const int defaultWaitMs = readWait(reader, "defaultWaitMs", defaultDeviceWaitMs);
    for (const PlacedValue &command : reader.filledArray("commands", "command")) {
        session.commands.append(readDeviceCommand({reader, command, deviceCommandKeys()}, defaultWaitMs));
    }
    limitCommands(reader, session.commands, 1, maxCommands);
    text.requireGood();
    return session;
}

OsdSession readOsdSession(const tools::InputText &input)
{
    refuseRecording(input);
    JsonText text(input);
    refuseOtherChannel(text, "deviceType", "\"deviceType\" is of a session for one device: use 'biz_console run'");
    const ObjectReader reader(text, {"description", "defaultWaitMs", "port", "devices", "silent", "commands"});
    OsdSession session;
    reader.text("description");
    session.port = static_cast<quint16>(reader.integer("port", 1, maxPort, host::OsdHost::defaultPort));
    session.devices = reader.value("devices").isObject() ? readDeviceRange(reader) : readDeviceList(reader);
    session.silent = readSilent(reader, session.devices);
    const int defaultWaitMs = readWait(reader, "defaultWaitMs", host::OsdHost::defaultWaitMs);
    for (const PlacedValue &command : reader.filledArray("commands", "command")) {
        session.commands.append(readOsdCommand({reader, command, osdCommandKeys()}, defaultWaitMs));
    }
    limitCommands(reader, session.commands, static_cast<int>(session.devices.size()), maxOsdCommands);
    text.requireGood();
    return session;
}

} // namespace biz::console
