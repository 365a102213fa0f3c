#ifndef BIZ_KIT_SEEDS_OSD_WORLD_H
#define BIZ_KIT_SEEDS_OSD_WORLD_H

#include <QtCore/QPointer>
#include <map>

#include <kit_seeds/worlds/host_world.h>
#include <kit_seeds/worlds/watched_transport.h>

#include <host/osd_host.h>
#include <testkit/simulated_osd_devices.h>

namespace biz::kit_seeds {

/** The OSD channel. */
class OsdWorld final : public HostWorld<host::OsdHost>, public WatchedTransport::Watcher
{
public:
    OsdWorld(Dice &dice, testkit::TestClock &clock);
    ~OsdWorld() override;

    void check() override;

private:
    // --- The host
    host::Ticket enqueue(Given &given) override;

    // --- What happens
    void act() override;
    void repair() override;
    void makeHost();
    void connectHost();
    void clearSomething();
    void forget(const QString &device);
    void stopAndStart();
    void changeSettings();
    void breakSomething();
    QString anyDevice();
    host::Counters countersOf(const QString &device) const;

    // --- What is seen
    void afterSend(const QHostAddress &device, const QByteArray &datagram) override;
    void onDelayed() override { m_ledger.noteHindered(); }
    void onRefused(const QByteArray &datagram) override;
    void beforeReceived(const QHostAddress &device, const QByteArray &datagram) override;
    void afterReceived() override;
    void noteEnded(host::Ticket ticket, const host::OsdCommandResult &result, bool isCallback);

    // --- What must hold
    void checkDevices();
    void checkProgress(const host::OsdDeviceStatus &device);
    void checkChannel();

    testkit::SimulatedOsdDevices m_devices;
    QPointer<WatchedTransport> m_transport;
    quint64 m_answersExpected = 0;
    host::Counters m_forgotten;                 ///< of devices that the host has forgotten
    std::map<QString, nanoseconds> m_idleSince; ///< since then a command could be sent to the device
    std::map<QString, nanoseconds> m_heardAt;   ///< of each device that the host knows
    nanoseconds m_heldSince = never;            ///< since then a command that is taken could have been sent
};

} // namespace biz::kit_seeds

#endif
