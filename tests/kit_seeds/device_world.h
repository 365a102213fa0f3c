#ifndef BIZ_KIT_SEEDS_DEVICE_WORLD_H
#define BIZ_KIT_SEEDS_DEVICE_WORLD_H

#include <memory>

#include <kit_seeds/world.h>

#include <host/device_host.h>
#include <testkit/simulated_device.h>

namespace biz::kit_seeds {

/** The device channel. */
class DeviceWorld final : public World
{
public:
    DeviceWorld(Dice &dice, testkit::TestClock &clock);
    ~DeviceWorld() override;

    void act() override;
    void check() override;
    bool isQuiet() const override { return m_ledger.open().isEmpty(); }
    void end() override;

private:
    void repair() override;
    void makeHost();
    void give();
    void stopAndStart();
    void changeSettings();
    void breakSomething();
    void noteWrite(const QByteArray &frame);
    void noteEnd(host::Ticket ticket, const host::CommandResult &result, bool isCallback);

    testkit::SimulatedDevice m_device;
    host::DemoFrameCodec m_codec;
    QObject m_context;
    std::unique_ptr<host::DeviceHost> m_host;
    bool m_isInSlot = false;
};

} // namespace biz::kit_seeds

#endif
