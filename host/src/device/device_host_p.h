#ifndef BIZ_HOST_DEVICE_HOST_P_H
#define BIZ_HOST_DEVICE_HOST_P_H

#include <device/device_traffic_p.h>
#include <host/device_host.h>
#include <refusal_p.h>
#include <timing_p.h>

namespace biz::host {

/** What a device host is made of. */
class DeviceHost::Private
{
public:
    explicit Private(DeviceHost *host);
    ~Private();
    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;

    bool isValid() const { return m_isMine; }

    /** False, and the refusal is noted, while the host runs. */
    bool mayChange(const QString &what);

    bool start();
    StopReport stop(TimePoint deadline);

    Ticket enqueue(const model_Protocoldata &command, const CommandOptions &options, DeviceCommands::Callback callback);
    bool cancel(Ticket ticket);
    void clear();
    void setSkipping(bool on);

    LastRefusal refusal;
    std::chrono::milliseconds defaultWait = timing::deviceDefaultWait;
    bool isStarted = false;

private:
    DeviceHost *const m_host;
    const bool m_isMine; ///< the channel
    HostSignals<DeviceHost> m_signals;
    bool m_isStopping = false;
    InboxReceiver m_receiver;
    bool m_isSkipping = false;
    bool m_isQueueSizeDue = false;
    int m_toldQueueSize = 0;

public:
    // The parts, in the order in which they rely on each other.
    DeviceCommands commands;
    LinkSupervisor link;
    DeviceTraffic traffic;

private:
    bool canBeSent(const model_Protocoldata &command);
    void tellQueueSize();
};

} // namespace biz::host

#endif
