#ifndef BIZ_LONG_RUN_OSD_RUN_H
#define BIZ_LONG_RUN_OSD_RUN_H

#include <host/osd_host.h>
#include <kit_seeds/worlds/watched_transport.h>
#include <long_run/long_run.h>
#include <testkit/simulated_osd_devices.h>

namespace biz::long_run {

/** Fifty OSD devices at a command a second each. */
class OsdRun final : public LongRun, public kit_seeds::WatchedTransport::Watcher
{
public:
    OsdRun(testkit::TestClock &clock, const Plan &plan);

private:
    host::Counters counters() const override { return m_host.counters(); }
    int pending() const override { return m_host.pending(); }
    int waiting() const override { return m_host.waiting(); }
    testkit::DeviceTally tally() const override { return m_devices.tally(); }

    milliseconds pace() const override;
    void give() override;
    int slots() const override;
    void beginSlot(int slot) override;
    void forgetCommands() override { m_devices.forgetCommands(); }
    void checkEnd(int rounds) override;

    void connectHost();
    void afterSend(const QHostAddress &device, const QByteArray &datagram) override;
    void onDelayed() override {}
    void onRefused(const QByteArray &datagram) override;
    void beforeReceived(const QHostAddress &device, const QByteArray &datagram) override;
    void afterReceived() override {}

    testkit::SimulatedOsdDevices m_devices;
    const QStringList m_addresses;
    kit_seeds::WatchedTransport *m_transport = nullptr; ///< the host's
    quint64 m_mark = 0;
    host::OsdHost m_host;
};

} // namespace biz::long_run

#endif
