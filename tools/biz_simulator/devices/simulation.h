#ifndef BIZ_SIMULATOR_SIMULATION_H
#define BIZ_SIMULATOR_SIMULATION_H

#include <memory>
#include <vector>

#include <biz_simulator/devices/settings.h>
#include <devices/played_device_p.h>
#include <devices/played_osd_devices_p.h>

namespace biz::simulator {

/** All devices of one run of the simulator. */
class Simulation
{
public:
    Simulation(const Settings &settings, const EventLog &log);

    /** Starts every device and prints where it listens; throws CannotListen when one cannot. */
    void start();

    /** Prints a line for each device and for each group of OSD devices. */
    void printSummary() const;

private:
    void listenAll();

    std::vector<std::unique_ptr<PlayedDevice>> m_devices;
    std::vector<std::unique_ptr<PlayedOsdDevices>> m_osdGroups;
    Settings m_settings;
};

} // namespace biz::simulator

#endif
