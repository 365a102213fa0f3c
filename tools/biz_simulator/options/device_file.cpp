#include <biz_simulator/options/device_file.h>

#include <climits>

#include <biz_simulator/options/fault_script.h>
#include <common/errors.h>

namespace biz::simulator {

using tools::ObjectReader;

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

void readModelOf(const ObjectReader &reader, ListeningDevice *device)
{
    const QString text = reader.text("model");
    if (!readModel(text, &device->model, &device->name)) {
        reader.fail("model", QStringLiteral("one of %1 expected, not %2")
                                 .arg(modelNames().join(QStringLiteral(", ")), tools::shown(reader.value("model"))));
    }
    device->name = reader.text("name", device->name);
    device->label = device->name;
}

void readListen(const ObjectReader &reader, ListenAddress *address)
{
    QString error;
    if (!readListenUrl(reader.text("listen"), address, &error)) {
        reader.fail("listen", error);
    }
}

void refuseOsdEntries(const ObjectReader &reader, const ListeningDevice &device)
{
    for (int i = 0; i < device.faults.script.size(); ++i) {
        if (!device.faults.script.at(i).device.isEmpty()) {
            throw tools::InputError(tools::elementPlace(reader.placeOf("faults"), i) + QStringLiteral(".device"),
                                    QStringLiteral("an address of an OSD device is expected in \"osd\" only"));
        }
    }
}

ListeningDevice readDevice(const QJsonValue &value, const QString &place, quint32 seed)
{
    const ObjectReader reader(value, place,
                              {"name", "model", "listen", "oneClient", "delay", "faults", "rates", "lateBy",
                               "vanishFor", "burstSize", "outageFor"});
    ListeningDevice device;
    readModelOf(reader, &device);
    readListen(reader, &device.listen);
    device.listen.oneClient = reader.boolean("oneClient", false);
    if (device.listen.oneClient && device.listen.scheme != Scheme::Tcp) {
        reader.fail("oneClient", QStringLiteral("expected of a device on TCP only"));
    }
    device.delayMs = reader.integer("delay", 0, longestTimeMs, 0);
    device.faults = readFaults(reader, seed);
    refuseOsdEntries(reader, device);
    const QString problem = problemWith(device.faults, device.listen.scheme);
    if (!problem.isEmpty()) {
        throw tools::InputError(place, problem);
    }
    return device;
}

void readAddresses(const ObjectReader &reader, OsdSettings *group)
{
    if (!readFirstOsdAddress(reader.text("first"), &group->first)) {
        reader.fail("first", QStringLiteral("an address from 127.0.0.0 to 127.255.255.254 expected, not ") +
                                 tools::shown(reader.value("first")));
    }
    const auto room = static_cast<int>(lastLoopbackAddress - group->first) + 1;
    group->count = reader.integer("count", 1, room, 1);
    group->port = static_cast<quint16>(reader.integer("port", 0, largestPort, group->port));
}

void readSilent(const ObjectReader &reader, OsdSettings *group)
{
    for (const QString &address : reader.textArray("silent")) {
        ScriptEntry entry;
        entry.device = address;
        entry.fault = FaultKind::Silence;
        group->faults.script.append(entry);
    }
}

void requireDevices(const ObjectReader &reader, const OsdSettings &group)
{
    for (int i = 0; i < group.faults.script.size(); ++i) {
        if (group.faults.script.at(i).device.isEmpty()) {
            throw tools::InputError(tools::elementPlace(reader.placeOf("faults"), i),
                                    QStringLiteral("\"device\", the address of an OSD device, is expected in \"osd\""));
        }
    }
}

OsdSettings readOsdGroup(const QJsonValue &value, const QString &place, quint32 seed)
{
    const ObjectReader reader(value, place,
                              {"first", "count", "port", "silent", "delay", "faults", "rates", "lateBy", "vanishFor",
                               "burstSize", "outageFor"});
    OsdSettings group;
    readAddresses(reader, &group);
    group.name = QStringLiteral("%1 OSD devices from %2")
                     .arg(QString::number(group.count), QHostAddress(group.first).toString());
    group.delayMs = reader.integer("delay", 0, longestTimeMs, 0);
    group.faults = readFaults(reader, seed);
    requireDevices(reader, group);
    readSilent(reader, &group);
    const QString problem = problemWith(group);
    if (!problem.isEmpty()) {
        throw tools::InputError(place, problem);
    }
    return group;
}

/** Event lines and summaries would not tell devices of one name apart. */
void refuseSecondOfName(const QVector<ListeningDevice> &devices, const QString &place)
{
    const QString &name = devices.constLast().name;
    for (int i = 0; i + 1 < devices.size(); ++i) {
        if (devices.at(i).name == name) {
            throw tools::InputError(
                place, QStringLiteral("a \"name\" of its own expected; another device is named %1").arg(name));
        }
    }
}

} // namespace

Settings readDeviceFile(const QByteArray &json)
{
    const ObjectReader reader(tools::parseJson(json), {}, {"description", "seed", "devices", "osd"});
    reader.text("description");
    Settings settings;
    settings.namesDevices = true;
    settings.seed = static_cast<quint32>(reader.integer("seed", 0, INT_MAX, static_cast<int>(settings.seed)));

    const QJsonArray devices = reader.array("devices", "devices");
    for (int i = 0; i < devices.size(); ++i) {
        const QString place = tools::elementPlace(reader.placeOf("devices"), i);
        settings.devices.append(readDevice(devices.at(i), place, settings.seed));
        settings.devices.last().faults.stream = static_cast<quint32>(i);
        refuseSecondOfName(settings.devices, place);
    }
    const QJsonArray groups = reader.array("osd", "groups of OSD devices");
    for (int i = 0; i < groups.size(); ++i) {
        settings.osdGroups.append(
            readOsdGroup(groups.at(i), tools::elementPlace(reader.placeOf("osd"), i), settings.seed));
    }
    if (settings.devices.isEmpty() && settings.osdGroups.isEmpty()) {
        throw tools::InputError(QStringLiteral("document"),
                                QStringLiteral("at least one device in \"devices\" or \"osd\" expected"));
    }
    return settings;
}

} // namespace biz::simulator
