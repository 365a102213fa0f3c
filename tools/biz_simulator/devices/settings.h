#ifndef BIZ_SIMULATOR_SETTINGS_H
#define BIZ_SIMULATOR_SETTINGS_H

#include <optional>

#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <biz_cmdswork/reply_rules_p.h>
#include <biz_simulator/faults/fault_plan.h>
#include <biz_simulator/transport/listen_address.h>
#include <host/osd_host.h>

namespace biz::simulator {

/** A device of the device channel. */
struct DeviceSettings
{
    QString name;  ///< in its summary
    QString label; ///< in its event lines
    rules::Model model = rules::Model::OrlixA2;
    ListenAddress listen;
    int delayMs = 0;
    FaultSettings faults;
};

/** A row of OSD devices on consecutive loopback addresses. */
struct OsdSettings
{
    QString name; ///< in its summary
    quint32 first = 0;
    int count = 0;
    quint16 port = static_cast<quint16>(host::OsdHost::defaultPort);
    int delayMs = 0;
    FaultSettings faults;

    /** Whether one of the devices has this address, in the spelling of QHostAddress. */
    bool plays(const QString &address) const;

    quint32 last() const { return first + static_cast<quint32>(count) - 1; }
};

/** Everything that is played. */
struct Settings
{
    QVector<DeviceSettings> devices;
    QVector<OsdSettings> osdGroups;
    quint32 seed = 1;
    bool namesDevices = false; ///< whether lines about devices begin with their names
};

/** The bounds of what people may ask for. */
constexpr int largestPort = 0xFFFF;
constexpr int longestTimeMs = 3'600'000;
constexpr int largestBurst = 10'000;
constexpr quint32 lastLoopbackAddress = 0x7FFFFFFE; // 127.255.255.255 is a broadcast address

/** The names of the models that can be played. */
QStringList modelNames();

/** Finds a model by its name, and writes the name as it is usual; false: there is none. */
bool readModel(const QString &text, rules::Model *model, QString *name);

/** Reads the first address of a row of OSD devices; false: it is not on the loopback network. */
bool readFirstOsdAddress(const QString &text, quint32 *address);

/** What the faults ask of a device at such an address that cannot be; empty: nothing. */
QString problemWith(const FaultSettings &faults, Scheme scheme);

/** The same of OSD devices. */
QString problemWith(const OsdSettings &group);

} // namespace biz::simulator

#endif
