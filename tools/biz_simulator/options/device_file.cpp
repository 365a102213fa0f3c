#include <biz_simulator/options/device_file.h>

#include <algorithm>
#include <climits>

#include <biz_simulator/options/fault_script.h>
#include <common/errors.h>
#include <common/shown_text.h>

namespace biz::simulator {

using tools::JsonValue;
using tools::ObjectReader;
using tools::PlacedValue;

namespace {

FaultMeasures readMeasures(const ObjectReader &reader)
{
    const FaultMeasures usual;
    return {reader.integer("lateBy", 0, longestTimeMs, usual.lateByMs),
            reader.integer("vanishFor", 0, longestTimeMs, usual.vanishForMs),
            reader.integer("burstSize", 1, largestBurst, usual.burstSize),
            reader.integer("outageFor", 0, longestTimeMs, usual.outageForMs)};
}

FaultSettings readFaults(const ObjectReader &reader, quint32 seed)
{
    FaultSettings faults;
    faults.script = readFaultEntries(reader);
    faults.rates = readFaultRates(reader);
    faults.seed = seed;
    faults.measures = readMeasures(reader);
    return faults;
}

/** What `read` cannot accept is noted at the key, and reading goes on. */
template<typename Read>
void noteProblems(const ObjectReader &reader, const char *key, Read read)
{
    try {
        read();
    } catch (const tools::UsageError &error) {
        reader.note(key, error.text());
    }
}

/** The same at a place that has no key of its own. */
template<typename Read>
void noteProblemsAt(const ObjectReader &reader, const PlacedValue &place, Read read)
{
    try {
        read();
    } catch (const tools::UsageError &error) {
        reader.noteAt(place, error.text());
    }
}

void readModelOf(const ObjectReader &reader, ListeningDevice *device)
{
    noteProblems(reader, "model", [&] {
        const NamedModel model = readModel(reader.text("model"));
        device->model = model.model;
        device->name = model.name;
    });
    device->name = reader.text("name", device->name);
    device->label = device->name;
}

void refuseOsdEntries(const ObjectReader &reader)
{
    if (!reader.value("faults").isArray()) {
        return;
    }
    for (const PlacedValue &entry : reader.array("faults", "faults")) {
        const JsonValue &device = entry.value.member(QStringLiteral("device"));
        if (device.kind != JsonValue::Kind::Nothing) {
            reader.noteAt({device, entry.place + QStringLiteral(".device")},
                          QStringLiteral("an address of an OSD device is expected in \"osd\" only"));
        }
    }
}

ListeningDevice readDevice(const ObjectReader &file, const PlacedValue &value, quint32 seed)
{
    const ObjectReader reader(file, value,
                              {"name", "model", "listen", "oneClient", "delay", "faults", "rates", "lateBy",
                               "vanishFor", "burstSize", "outageFor"});
    ListeningDevice device;
    readModelOf(reader, &device);
    noteProblems(reader, "listen", [&] { device.listen = readListenUrl(reader.text("listen")); });
    device.listen.oneClient = reader.boolean("oneClient", false);
    if (device.listen.oneClient && device.listen.scheme != Scheme::Tcp) {
        reader.note("oneClient", QStringLiteral("expected of a device on TCP only"));
    }
    device.delayMs = reader.integer("delay", 0, longestTimeMs, 0);
    device.faults = readFaults(reader, seed);
    refuseOsdEntries(reader);
    noteProblemsAt(reader, value, [&] { requirePossible(device.faults, device.listen.scheme); });
    return device;
}

void readAddresses(const ObjectReader &reader, OsdSettings *group)
{
    noteProblems(reader, "first", [&] { group->first = readFirstOsdAddress(reader.text("first")); });
    const auto room = static_cast<int>(lastLoopbackAddress - group->first) + 1;
    group->count = reader.integer("count", 1, room, 1);
    group->port = static_cast<quint16>(reader.integer("port", 0, largestPort, group->port));
}

void readSilent(const ObjectReader &reader, OsdSettings *group)
{
    for (const PlacedValue &address : reader.textArray("silent")) {
        if (address.value.text.isEmpty()) {
            reader.noteAt(address, QStringLiteral("the address of an OSD device expected, not an empty one"));
        }
        ScriptEntry entry;
        entry.device = address.value.text;
        entry.fault = FaultKind::Silence;
        group->faults.script.append(entry);
    }
}

void requireDevices(const ObjectReader &reader)
{
    if (!reader.value("faults").isArray()) {
        return;
    }
    for (const PlacedValue &entry : reader.array("faults", "faults")) {
        if (entry.value.isObject() && entry.value.member(QStringLiteral("device")).kind == JsonValue::Kind::Nothing) {
            reader.noteAt(entry, QStringLiteral("\"device\", the address of an OSD device, is expected in \"osd\""));
        }
    }
}

OsdSettings readOsdGroup(const ObjectReader &file, const PlacedValue &value, quint32 seed)
{
    const ObjectReader reader(file, value,
                              {"first", "count", "port", "silent", "delay", "faults", "rates", "lateBy", "vanishFor",
                               "burstSize", "outageFor"});
    OsdSettings group;
    readAddresses(reader, &group);
    group.name = QStringLiteral("%1 OSD devices from %2")
                     .arg(QString::number(group.count), QHostAddress(group.first).toString());
    group.delayMs = reader.integer("delay", 0, longestTimeMs, 0);
    group.faults = readFaults(reader, seed);
    requireDevices(reader);
    readSilent(reader, &group);
    noteProblemsAt(reader, value, [&] { requirePossible(group); });
    return group;
}

/** Event lines and summaries would not tell devices of one name apart. */
void refuseSecondOfName(const ObjectReader &file, const PlacedValue &value, const QVector<ListeningDevice> &devices,
                        const QString &name)
{
    const auto hasName = [&name](const ListeningDevice &device) {
        return device.name == name;
    };
    if (std::any_of(devices.begin(), devices.end(), hasName)) {
        file.noteAt(value, QStringLiteral("a \"name\" of its own expected; another device is named ") +
                               tools::quotedText(name));
    }
}

} // namespace

Settings readDeviceFile(const tools::InputText &input)
{
    tools::JsonText text(input);
    const ObjectReader reader(text, {"description", "seed", "devices", "osd"});
    reader.text("description");
    Settings settings;
    settings.namesDevices = true;
    settings.seed = static_cast<quint32>(reader.integer("seed", 0, INT_MAX, static_cast<int>(settings.seed)));
    for (const PlacedValue &value : reader.array("devices", "devices")) {
        ListeningDevice device = readDevice(reader, value, settings.seed);
        device.faults.stream = static_cast<quint32>(settings.devices.size());
        refuseSecondOfName(reader, value, settings.devices, device.name);
        settings.devices.append(device);
    }
    for (const PlacedValue &value : reader.array("osd", "groups of OSD devices")) {
        settings.osdGroups.append(readOsdGroup(reader, value, settings.seed));
    }
    if (settings.devices.isEmpty() && settings.osdGroups.isEmpty()) {
        reader.note("devices", QStringLiteral("at least one device expected, here or in \"osd\""));
    }
    text.requireGood();
    return settings;
}

} // namespace biz::simulator
