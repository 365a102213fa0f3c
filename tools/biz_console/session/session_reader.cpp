#include <biz_console/session/session_reader.h>

#include <algorithm>

#include <QtNetwork/QHostAddress>

#include <host/frame_codec.h>
#include <host/osd_datagram_codec.h>
#include <host/osd_host.h>
#include <host/reply_words.h>

namespace biz::console {

using tools::elementPlace;
using tools::ObjectReader;

namespace {

constexpr int maxRepeat = 1'000'000;
constexpr int maxCommands = 1'000'000; ///< of a session in all: each one takes memory
constexpr int maxPort = 0xFFFF;
constexpr int maxDevices = 0xFFFF;
constexpr int maxByte = 0xFF;

Expectation readExpectation(const ObjectReader &command)
{
    Expectation expected;
    if (!command.has("expect")) {
        return expected;
    }
    const ObjectReader reader(command.value("expect"), command.placeOf("expect"), {"outcome", "events"});
    const QString outcome = reader.text("outcome", host::outcomeName(expected.outcome));
    if (!host::outcomeFromName(outcome, &expected.outcome)) {
        reader.fail("outcome", QStringLiteral("one of %1 expected, not \"%2\"")
                                   .arg(host::outcomeNames().join(QStringLiteral(", ")), outcome));
    }
    const QStringList names = reader.textArray("events");
    for (int i = 0; i < names.size(); ++i) {
        Event event{};
        if (!eventFromName(names.at(i), &event)) {
            throw tools::InputError(elementPlace(reader.placeOf("events"), i),
                                    QStringLiteral("one of %1 expected, not \"%2\"")
                                        .arg(eventNames().join(QStringLiteral(", ")), names.at(i)));
        }
        expected.events |= event;
    }
    return expected;
}

int readWait(const ObjectReader &reader, const char *key, int fallback)
{
    return reader.integer(key, 1, maxWaitMs, fallback);
}

QString nameOr(const ObjectReader &reader, const QByteArray &head)
{
    const QString codes = QString::fromLatin1(head.left(2).toHex('/').toUpper());
    return reader.text("name", codes);
}

DeviceSessionCommand readDeviceCommand(const QJsonValue &value, const QString &place, int defaultWaitMs)
{
    const ObjectReader reader(value, place, {"name", "head", "data", "waitMs", "repeat", "expect"});
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

OsdSessionCommand readOsdCommand(const QJsonValue &value, const QString &place, int defaultWaitMs)
{
    const ObjectReader reader(value, place, {"name", "head", "flag", "data", "text", "waitMs", "repeat", "expect"});
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
        session.fail(
            "commands",
            QStringLiteral("at most %1 in all expected, repeats and devices included, not %2").arg(limit).arg(all));
    }
}

QString canonicalAddress(const QString &place, const QString &text)
{
    const QHostAddress address(text);
    if (address.isNull() || address.toString() != text) {
        throw tools::InputError(place,
                                QStringLiteral("an address such as \"127.1.0.1\" expected, not \"%1\"").arg(text));
    }
    return text;
}

QStringList readDeviceList(const ObjectReader &session)
{
    session.filledArray("devices", "address");
    QStringList devices = session.textArray("devices");
    QSet<QString> seen;
    for (int i = 0; i < devices.size(); ++i) {
        const QString place = elementPlace(session.placeOf("devices"), i);
        canonicalAddress(place, devices.at(i));
        if (seen.contains(devices.at(i))) {
            throw tools::InputError(place,
                                    QStringLiteral("each device once expected, not %1 again").arg(devices.at(i)));
        }
        seen.insert(devices.at(i));
    }
    return devices;
}

QStringList readDeviceRange(const ObjectReader &session)
{
    const ObjectReader range(session.value("devices"), session.placeOf("devices"), {"first", "count"});
    bool isIpv4 = false;
    const QString firstText = canonicalAddress(range.placeOf("first"), range.text("first"));
    const quint32 first = QHostAddress(firstText).toIPv4Address(&isIpv4);
    if (!isIpv4) {
        range.fail("first", QStringLiteral("an IPv4 address expected, not \"%1\"").arg(firstText));
    }
    const int count = range.integer("count", 1, maxDevices, 1);
    if (first > UINT32_MAX - static_cast<quint32>(count - 1)) {
        range.fail("count",
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
    QSet<QString> silent;
    const QStringList names = session.textArray("silent");
    for (int i = 0; i < names.size(); ++i) {
        if (!devices.contains(names.at(i))) {
            throw tools::InputError(
                elementPlace(session.placeOf("silent"), i),
                QStringLiteral("one of the session's devices expected, not \"%1\"").arg(names.at(i)));
        }
        silent.insert(names.at(i));
    }
    return silent;
}

/** A model by its name, in any case, or by its code. */
int readDeviceType(const ObjectReader &session)
{
    const QString name = session.value("deviceType").toString();
    for (const host::CheckedModel &model : host::checkedModels()) {
        if (model.name.compare(name, Qt::CaseInsensitive) == 0) {
            return model.deviceType;
        }
    }
    return session.code("deviceType");
}

/** What was written for the former key must not be played in another way without a word. */
void refuseFormerKey(const QJsonValue &session)
{
    const char *const former = "nSysPlan";
    if (session.toObject().contains(QLatin1String(former))) {
        throw tools::InputError(QString::fromLatin1(former),
                                QStringLiteral("\"pipelined\", true or false, expected in its place"));
    }
}

} // namespace

DeviceSession readDeviceSession(const QByteArray &json)
{
    const QJsonValue document = tools::parseJson(json);
    refuseFormerKey(document);
    const ObjectReader reader(document, {}, {"description", "deviceType", "pipelined", "defaultWaitMs", "commands"});
    DeviceSession session;
    reader.text("description");
    session.deviceType = readDeviceType(reader);
    session.isPipelined = reader.boolean("pipelined", false);
    const int defaultWaitMs = readWait(reader, "defaultWaitMs", defaultDeviceWaitMs);
    const QJsonArray commands = reader.filledArray("commands", "command");
    for (int i = 0; i < commands.size(); ++i) {
        const QString place = elementPlace(reader.placeOf("commands"), i);
        session.commands.append(readDeviceCommand(commands.at(i), place, defaultWaitMs));
    }
    limitCommands(reader, session.commands, 1, maxCommands);
    return session;
}

OsdSession readOsdSession(const QByteArray &json)
{
    const ObjectReader reader(tools::parseJson(json), {},
                              {"description", "defaultWaitMs", "port", "devices", "silent", "commands"});
    OsdSession session;
    reader.text("description");
    session.port = static_cast<quint16>(reader.integer("port", 1, maxPort, host::OsdHost::defaultPort));
    session.devices = reader.value("devices").isObject() ? readDeviceRange(reader) : readDeviceList(reader);
    session.silent = readSilent(reader, session.devices);
    const int defaultWaitMs = readWait(reader, "defaultWaitMs", host::OsdHost::defaultWaitMs);
    const QJsonArray commands = reader.filledArray("commands", "command");
    for (int i = 0; i < commands.size(); ++i) {
        const QString place = elementPlace(reader.placeOf("commands"), i);
        session.commands.append(readOsdCommand(commands.at(i), place, defaultWaitMs));
    }
    limitCommands(reader, session.commands, session.devices.size(), maxOsdCommands);
    return session;
}

} // namespace biz::console
