#ifndef BIZ_LONG_RUN_DEVICE_RUN_H
#define BIZ_LONG_RUN_DEVICE_RUN_H

#include <host/device_host.h>
#include <kit_seeds/worlds/watched_link.h>
#include <long_run/error_log_check.h>
#include <long_run/long_run.h>
#include <testkit/simulated_device.h>

namespace biz::long_run {

/** One device at five commands a second. */
class DeviceRun final : public LongRun, public kit_seeds::WatchedLink::Watcher
{
public:
    DeviceRun(testkit::TestClock &clock, const Plan &plan);

private:
    host::Counters counters() const override { return m_host.counters(); }
    int pending() const override { return m_host.pending(); }
    int waiting() const override { return m_host.waiting(); }
    int repliesUnderWay() const override { return m_host.repliesUnderWay(); }
    testkit::DeviceTally tally() const override { return m_device.tally(); }

    milliseconds pace() const override;
    void give() override;
    int slots() const override;
    void beginSlot(int slot) override;
    void forgetCommands() override { m_device.forgetCommands(); }
    void checkEnd(int rounds) override;

    void connectHost();
    void beforeOpen() override {}
    void beforeWrite(const QByteArray &frame, bool isFull, qint64 bytesHeld) override;
    void afterWrite(const QByteArray &frame) override;
    void beforeReceived(const QByteArray &bytes) override;
    void onOpened() override { m_replyCodec.reset(); }
    void onBreak() override { m_replyCodec.reset(); }
    void onHeld() override {}

    testkit::SimulatedDevice m_device;
    host::DemoFrameCodec m_commandCodec;
    host::DemoFrameCodec m_replyCodec;
    ErrorLogCheck m_log;
    QByteArray m_lastWritten; ///< mark of the command
    quint64 m_mark = 0;
    host::DeviceHost m_host;
};

} // namespace biz::long_run

#endif
