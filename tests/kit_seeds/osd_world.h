#ifndef BIZ_KIT_SEEDS_OSD_WORLD_H
#define BIZ_KIT_SEEDS_OSD_WORLD_H

#include <memory>

#include <kit_seeds/world.h>

#include <host/osd_host.h>
#include <testkit/simulated_osd_devices.h>

namespace biz::kit_seeds {

/** The OSD channel. */
class OsdWorld final : public World
{
public:
    OsdWorld(Dice &dice, testkit::TestClock &clock);
    ~OsdWorld() override;

    void act() override;
    void check() override;
    bool isQuiet() const override { return m_ledger.open().isEmpty(); }
    void end() override;

private:
    void repair() override {}
    void makeHost();
    void give();
    void stopAndStart();
    void breakSomething();
    QString anyDevice();
    void noteSend(const QHostAddress &device, const QByteArray &datagram);
    void noteEnd(host::Ticket ticket, const host::OsdCommandResult &result, bool isCallback);

    testkit::SimulatedOsdDevices m_devices;
    QObject m_context;
    std::unique_ptr<host::OsdHost> m_host;
    bool m_isInSlot = false;
};

} // namespace biz::kit_seeds

#endif
