#ifndef BIZ_HOST_OSD_HOST_P_H
#define BIZ_HOST_OSD_HOST_P_H

#include <host/osd_host.h>
#include <osd/osd_traffic_p.h>
#include <refusal_p.h>
#include <timing_p.h>

namespace biz::host {

/** What an OSD host is made of. */
class OsdHost::Private
{
public:
    explicit Private(OsdHost *host);
    ~Private();
    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;

    bool isValid() const { return m_isMine; }

    /** False, and the refusal is noted, while the host runs. */
    bool mayChange(const QString &what);

    bool start();
    StopReport stop();

    Ticket enqueue(const model_OsdParam &command, const CommandOptions &options, OsdCommands::Callback callback);
    bool cancel(Ticket ticket);

    /** Ends all that is pending for a device. */
    void freeAndEnd(OsdDevice &device, Outcome outcome, const EndReason &reason);

    LastRefusal refusal;
    std::chrono::milliseconds defaultWait = timing::osdDefaultWait;
    quint16 port = defaultPort;
    QHostAddress localAddress{QHostAddress::Any};
    bool isStarted = false;

private:
    const bool m_isMine; ///< the channel
    HostSignals<OsdHost> m_signals;
    bool m_isStopping = false;
    InboxReceiver m_receiver;

public:
    // The parts, in the order in which they rely on each other.
    OsdCommands commands;
    OsdTraffic traffic;

private:
    bool isAddressOfOneDevice(const QString &ip);
    bool canBeSent(const model_OsdParam &command);
};

} // namespace biz::host

#endif
