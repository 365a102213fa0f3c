#ifndef BIZ_SIMULATOR_SETTINGS_H
#define BIZ_SIMULATOR_SETTINGS_H

#include <QtCore/QString>
#include <QtCore/QVector>

#include <biz_simulator/transport/transport.h>
#include <devices/device_settings_p.h>

namespace biz::simulator {

/** A device of the device channel, and where it listens. */
struct ListeningDevice : DeviceSettings
{
    ListenAddress listen;
};

/** Everything that is played. */
struct Settings
{
    QVector<ListeningDevice> devices;
    QVector<OsdSettings> osdGroups;
    quint32 seed = 1;
    bool namesDevices = false; ///< whether lines about devices begin with their names
};

/** The bounds of what people may ask for. */
constexpr int largestPort = 0xFFFF;
constexpr int longestTimeMs = 3'600'000;
constexpr int largestBurst = 10'000;
constexpr quint32 lastLoopbackAddress = 0x7FFFFFFE; // 127.255.255.255 is a broadcast address

// What these functions cannot accept is a tools::UsageError.

/** The model of this name. */
NamedModel readModel(const QString &name);

/** The first address of a row of OSD devices, which is on the loopback network. */
quint32 readFirstOsdAddress(const QString &text);

/** Refuses faults that a device at such an address cannot have. */
void requirePossible(const FaultSettings &faults, Scheme scheme);

/** The same of OSD devices. */
void requirePossible(const OsdSettings &group);

} // namespace biz::simulator

#endif
