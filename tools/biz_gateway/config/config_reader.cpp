#include <biz_gateway/config/config_reader.h>

#include <algorithm>

#include <QtNetwork/QHostAddress>

#include <biz_gateway/config/broker_reader.h>
#include <common/json/json_reader.h>
#include <common/shown_text.h>
#include <common/suggestion.h>
#include <host/device_link.h>
#include <host/reply_words.h>

namespace biz::gateway {

using tools::JsonText;
using tools::ObjectReader;
using tools::PlacedValue;

namespace {

constexpr int longestMs = 3'600'000;
constexpr int shortestHeartbeatMs = 10;
constexpr int longestKeepHours = 24 * 365;
constexpr int smallestPayload = 256;
constexpr int largestPayload = 256 * 1024; ///< of a line that a worker takes
constexpr int mostPerSecond = 100'000;
constexpr int largestMebibytes = 1024 * 1024;
constexpr int secondsOfADay = 24 * 60 * 60;

bool isNameCharacter(QChar character, bool isFirst)
{
    const bool isLetterOrDigit = character.unicode() < 0x80 && character.isLetterOrNumber();
    return isLetterOrDigit || (!isFirst && QStringLiteral("._-").contains(character));
}

/** A name that can be a folder and a level of a topic. */
bool isPlainName(const QString &name, int longest)
{
    bool isGood = !name.isEmpty() && name.size() <= longest;
    for (int at = 0; at < name.size(); ++at) {
        isGood = isGood && isNameCharacter(name.at(at), at == 0);
    }
    return isGood;
}

QString readName(const ObjectReader &reader, const char *key, int longest)
{
    QString name = reader.text(key);
    if (!isPlainName(name, longest)) {
        reader.note(key, QStringLiteral("1 to %1 letters, digits, '.', '_' and '-' expected, a letter or a digit "
                                        "first, not %2")
                             .arg(QString::number(longest), tools::shown(reader.value(key))));
    }
    return name;
}

// --- Devices ----------------------------------------------------------------------------------

QUrl readLink(const ObjectReader &reader)
{
    QUrl link(reader.text("link"));
    QString problem;
    if (!host::makeLink(link, &problem)) {
        reader.note("link", problem);
    }
    return link;
}

QString readModel(const ObjectReader &reader)
{
    QString model = reader.text("model");
    QStringList names;
    for (const host::CheckedModel &checked : host::checkedModels()) {
        names.append(checked.name);
    }
    if (!model.isEmpty() && !names.contains(model)) {
        reader.note("model", QStringLiteral("one of %1 expected, not %2")
                                     .arg(names.join(QStringLiteral(", ")), tools::quotedText(model)) +
                                 tools::suggestionFor(model, names));
    }
    return model;
}

host::WhileDown readWhileDown(const ObjectReader &reader)
{
    const QString word = reader.text("whileDown", QStringLiteral("fail"));
    if (word != QLatin1String("fail") && word != QLatin1String("hold")) {
        reader.note("whileDown", QStringLiteral("\"fail\" or \"hold\" expected, not ") + tools::quotedText(word));
    }
    return word == QLatin1String("hold") ? host::WhileDown::Hold : host::WhileDown::FailFast;
}

/** A program of the site's own does not take what configures the console. */
void readProgram(const ObjectReader &reader, host::DeviceSettings *settings)
{
    settings->program = reader.text("program");
    for (const PlacedValue &argument : reader.textArray("arguments")) {
        settings->arguments.append(argument.value.text);
    }
    if (settings->program.isEmpty()) {
        reader.note("program", QStringLiteral("a path expected"));
    }
    for (const char *key : {"link", "model", "waitMs", "settleMs", "pipelined"}) {
        if (reader.has(key)) {
            reader.note(key, QStringLiteral("no such key expected beside \"program\", which gets \"arguments\" only"));
        }
    }
}

ServedDevice readDevice(const ObjectReader &file, const PlacedValue &value)
{
    const ObjectReader reader(file, value,
                              {"name", "link", "model", "waitMs", "settleMs", "pipelined", "whileDown", "program",
                               "arguments", "heartbeatMs"});
    ServedDevice device;
    device.name = readName(reader, "name", host::DeviceFleet::longestName);
    host::DeviceSettings &settings = device.settings;
    settings.whileDown = readWhileDown(reader);
    settings.heartbeatMs = reader.integer("heartbeatMs", shortestHeartbeatMs, longestMs, settings.heartbeatMs);
    if (reader.has("program")) {
        readProgram(reader, &settings);
        return device;
    }
    if (reader.has("arguments")) {
        reader.note("arguments", QStringLiteral("expected beside \"program\" only"));
    }
    settings.link = readLink(reader);
    settings.model = readModel(reader);
    settings.defaultWaitMs = reader.integer("waitMs", 1, longestMs, settings.defaultWaitMs);
    settings.settleMs = reader.integer("settleMs", 0, longestMs, settings.settleMs);
    settings.pipelined = reader.boolean("pipelined", settings.pipelined);
    if (settings.pipelined && settings.settleMs > 0) {
        reader.note("settleMs", QStringLiteral("not expected beside \"pipelined\": a pipelined device is sent its "
                                               "commands without a wait for replies, so that no quiet time follows "
                                               "one"));
    }
    return device;
}

QVector<ServedDevice> readDevices(const ObjectReader &file)
{
    QVector<ServedDevice> devices;
    for (const PlacedValue &value : file.array("devices", "devices")) {
        const ServedDevice device = readDevice(file, value);
        const auto hasName = [&device](const ServedDevice &other) {
            return other.name == device.name;
        };
        if (std::any_of(devices.begin(), devices.end(), hasName)) {
            file.noteAt(value, QStringLiteral("a \"name\" of its own expected; another device is named ") +
                                   tools::quotedText(device.name));
        }
        devices.append(device);
    }
    return devices;
}

/** Whether it is an address in the one spelling by which OSD devices are known. */
bool isCanonicalAddress(const QString &text)
{
    QHostAddress address;
    return address.setAddress(text) && address.toString() == text;
}

OsdDevices readOsd(const ObjectReader &file)
{
    OsdDevices osd;
    if (!file.has("osd")) {
        return osd;
    }
    const ObjectReader reader(file, file.placed("osd"), {"port", "localAddress", "waitMs", "devices"});
    osd.port = static_cast<quint16>(reader.integer("port", 1, largestPort, osd.port));
    osd.defaultWaitMs = reader.integer("waitMs", 1, longestMs, osd.defaultWaitMs);
    osd.localAddress = reader.text("localAddress");
    if (!osd.localAddress.isEmpty() && !isCanonicalAddress(osd.localAddress)) {
        reader.note("localAddress", QStringLiteral("an address such as \"192.168.1.2\" expected, not ") +
                                        tools::quotedText(osd.localAddress));
    }
    for (const PlacedValue &value : reader.textArray("devices")) {
        if (!isCanonicalAddress(value.value.text) || osd.addresses.contains(value.value.text)) {
            reader.noteAt(value, QStringLiteral("the address of one more device, such as \"192.168.1.40\", expected, "
                                                "not ") +
                                     tools::shown(value.value));
        }
        osd.addresses.append(value.value.text);
    }
    return osd;
}

// --- Bounds -----------------------------------------------------------------------------------

JournalSettings readJournal(const ObjectReader &file)
{
    JournalSettings journal;
    if (!file.has("journal")) {
        return journal;
    }
    const ObjectReader reader(file, file.placed("journal"), {"keepHours", "mostMebibytes", "outlastsPower"});
    journal.keepHours = reader.integer("keepHours", 1, longestKeepHours, journal.keepHours);
    journal.mostMebibytes = reader.integer("mostMebibytes", 1, largestMebibytes, journal.mostMebibytes);
    journal.outlastsPower = reader.boolean("outlastsPower", journal.outlastsPower);
    return journal;
}

ClientAllowance readAllowance(const ObjectReader &file)
{
    ClientAllowance allowance;
    if (!file.has("client")) {
        return allowance;
    }
    const ObjectReader reader(file, file.placed("client"), {"perSecond", "burst", "payloadBytes", "pending"});
    allowance.perSecond = reader.integer("perSecond", 1, mostPerSecond, allowance.perSecond);
    allowance.burst = reader.integer("burst", 1, mostPerSecond, std::max(allowance.burst, allowance.perSecond));
    allowance.payloadBytes = reader.integer("payloadBytes", smallestPayload, largestPayload, allowance.payloadBytes);
    allowance.pending = reader.integer("pending", 1, mostPerSecond, allowance.pending);
    return allowance;
}

/** Without a rule of the site's own, clients are answered below its topic "response". */
QStringList readResponseTopics(const ObjectReader &file, const QString &site)
{
    QStringList filters;
    for (const PlacedValue &value : file.textArray("responseTopics")) {
        if (!isTopicFilter(value.value.text)) {
            file.noteAt(value, QStringLiteral("a filter of topics such as \"clients/#\" expected, not ") +
                                   tools::shown(value.value));
        }
        filters.append(value.value.text);
    }
    return file.has("responseTopics") ? filters : QStringList{QStringLiteral("biz/%1/response/#").arg(site)};
}

} // namespace

GatewayConfig readGatewayConfig(const tools::InputText &input, const QString &folder)
{
    JsonText text(input);
    const ObjectReader reader(text, {"description", "site", "broker", "devices", "osd", "journal", "client",
                                     "responseTopics", "countersEveryS", "events"});
    reader.text("description");
    GatewayConfig config;
    config.site = readName(reader, "site", longestSite);
    config.broker = readBroker(reader, config.site, folder);
    config.devices = readDevices(reader);
    config.osd = readOsd(reader);
    if (config.devices.isEmpty() && config.osd.addresses.isEmpty()) {
        reader.note("devices", QStringLiteral("at least one device expected, here or in \"osd\""));
    }
    config.journal = readJournal(reader);
    config.allowance = readAllowance(reader);
    config.responseTopics = readResponseTopics(reader, config.site);
    config.countersEveryS = reader.integer("countersEveryS", 0, secondsOfADay, config.countersEveryS);
    config.tellsEvents = reader.boolean("events", config.tellsEvents);
    text.requireGood();
    return config;
}

} // namespace biz::gateway
