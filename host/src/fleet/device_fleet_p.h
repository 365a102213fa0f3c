#ifndef BIZ_HOST_FLEET_DEVICE_FLEET_P_H
#define BIZ_HOST_FLEET_DEVICE_FLEET_P_H

#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include <fleet/fleet_device_p.h>
#include <host/device_fleet.h>
#include <refusal_p.h>

namespace biz::host {

/** What a fleet is made of. */
class DeviceFleet::Private
{
public:
    Private(DeviceFleet *fleet, const QString &folder);
    ~Private();
    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;

    bool add(const QString &name, const DeviceSettings &settings);
    bool remove(const QString &name);
    Ticket enqueue(const QString &name, const model_Protocoldata &command, const CommandOptions &options);
    bool cancel(Ticket ticket);

    /** Null, and the refusal is noted: there is none of that name. */
    FleetDevice *device(const QString &name);
    const FleetDevice *find(const QString &name) const;
    QStringList names() const;
    Counters counters(const QString &name) const;

    FleetTap &tap() { return m_tap; }

    LastRefusal refusal;

private:
    bool isTakenByWorkers(const model_Protocoldata &command, const CommandOptions &options);
    bool isGood(const QString &name, const DeviceSettings &settings);
    FleetDevice *formerOf(const QString &name) const;
    void letGo(std::unique_ptr<FleetDevice> device);

    DeviceFleet *const m_fleet;
    const QString m_folder;
    HostSignals<DeviceFleet> m_signals;
    FleetTap m_tap; ///< a child of the fleet, so that it follows it to another thread
    Ticket m_lastTicket = 0;
    std::map<QString, std::unique_ptr<FleetDevice>> m_devices; ///< changed under the mutex
    mutable std::mutex m_mutex;                                ///< for those who ask on other threads
    std::vector<std::unique_ptr<FleetDevice>> m_leaving;       ///< until their workers have ended
};

} // namespace biz::host

#endif
