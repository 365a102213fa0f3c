#ifndef BIZ_HOST_DEVICE_TRAFFIC_P_H
#define BIZ_HOST_DEVICE_TRAFFIC_P_H

#include <chrono>
#include <memory>

#include <QtCore/QTimer>

#include <device/channel/device_loops_p.h>
#include <device/device_gate_p.h>
#include <device/device_replies_p.h>
#include <device/device_watch_p.h>
#include <host/frame_codec.h>
#include <link/link_supervisor_p.h>
#include <loops/reported_p.h>

namespace biz::host {

/** What goes to and fro between the channel's loops and the link while a host runs. */
class DeviceTraffic
{
public:
    DeviceTraffic(DeviceHost *host, HostSignals<DeviceHost> *signalsOfHost, DeviceCommands *commands,
                  LinkSupervisor *link);

    DeviceGate &gate() { return m_gate; }
    DeviceReplies &replies() { return m_replies; }
    int repliesUnderWay() const { return m_replies.underWay(); }

    /** Null: the demonstration frame in the form that suits the link. */
    void setCodec(std::unique_ptr<FrameCodec> codec) { m_ownCodec = std::move(codec); }
    FrameCodec &codec();

    void setWhileDown(WhileDown policy);
    void setMayWrite(DeviceHost::MayWrite mayWrite);

    /** Whether a command that is given now ends at once, since the link is lost. */
    bool isFailingFast() const;
    QString unreachableReason() const;

    /** From here on commands are written. */
    void begin();

    /** Handles what the loops have reported by now, and writes nothing any more. */
    void end();

    /** Handles what the loops have reported. */
    void drain();

private:
    bool mayHandOver() const;

    void onAnnounced(const DeviceMessage &message);
    void onTake(const DeviceMessage &message);
    void onResend(DeviceCommand &command, const DeviceMessage &message);
    bool isWorthWriting(DeviceCommand &command, const DeviceMessage &message);
    void askAgain();
    bool mayWriteNow() const;
    void write(DeviceCommand &command);
    std::chrono::milliseconds longestWaitInFlight() const;
    void noteWritten(Ticket ticket, int attempt, const model_Protocoldata &record, int bytes);
    void onAccepted(model_Protocoldata reply);

    void onUp();
    void onLost();
    void onReceived(const QByteArray &bytes);
    void look();

    HostSignals<DeviceHost> *const m_signals;
    DeviceCommands *const m_commands;
    LinkSupervisor *const m_link;
    std::unique_ptr<FrameCodec> m_ownCodec;
    DemoFrameCodec m_streamCodec;
    DemoDatagramCodec m_datagramCodec;
    DeviceHost::MayWrite m_mayWrite;
    QTimer m_askingAgain; ///< runs while the application holds writes back
    WhileDown m_whileDown = WhileDown::FailFast;
    bool m_isRunning = false;
    bool m_isDraining = false;
    Reported<DeviceMessage> m_reported;
    DeviceReplies m_replies;
    DeviceGate m_gate;
    DeviceWatch m_watch;
};

} // namespace biz::host

#endif
