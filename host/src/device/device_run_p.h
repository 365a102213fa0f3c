#ifndef BIZ_HOST_DEVICE_RUN_P_H
#define BIZ_HOST_DEVICE_RUN_P_H

#include <atomic>
#include <memory>

#include <biz_cmdswork/biz_cmdswork.h>
#include <loops/channel_run_p.h>

namespace biz::host {

/** What a loop of the device channel saw. */
struct DeviceMessage
{
    enum class Kind { Announced, QueueSize, Accepted };

    Kind kind;
    model_Protocoldata record;
    bool gated = false; ///< Announced: its take closed the gate
    int queueSize = 0;
};

/** The loops of the device channel, and the watchdogs beside them. */
class DeviceRun final : public ChannelRun<biz_CMDSWork, DeviceMessage>
{
public:
    DeviceRun(const std::function<void()> &onMessages, QObject *host);
    ~DeviceRun() override;

    void begin();

    /** Whether the library's watchdog is started for each command. */
    void setUseWatchdog(bool on);

private:
    /** The detached watchdogs of one run; shared with its send loop, which starts them. */
    struct Watchdogs
    {
        std::atomic<bool> areUsed{false};
        std::atomic<Clock::rep> goneAt{0}; ///< by when all that were started have ended
    };

    TimePoint detachedThreadsGoneAt() override;
    void connectWorker();
    void connectWatchdogs();
    static void startWatchdog(biz_CMDSWork *worker, Watchdogs &watchdogs, int waitMs);

    std::shared_ptr<Watchdogs> m_watchdogs = std::make_shared<Watchdogs>();
};

} // namespace biz::host

#endif
