#ifndef BIZ_HOST_OSD_TRAFFIC_P_H
#define BIZ_HOST_OSD_TRAFFIC_P_H

#include <memory>
#include <vector>

#include <QtCore/QTimer>

#include <host/datagram_transport.h>
#include <host/osd_host.h>
#include <host/reply_matcher.h>
#include <loops/host_signals_p.h>
#include <loops/reported_p.h>
#include <osd/channel/osd_loops_p.h>
#include <osd/osd_commands_p.h>
#include <osd/osd_watch_p.h>

namespace biz::host {

/** What goes to and fro between the channel's loops and the devices while a host runs. */
class OsdTraffic
{
public:
    OsdTraffic(OsdHost *host, HostSignals<OsdHost> *signalsOfHost, OsdCommands *commands);

    /** Null: any datagram of the device is a reply. */
    void setMatcher(std::unique_ptr<OsdReplyMatcher> matcher);
    void setKeepUnmatched(bool on) { m_keepsUnmatched = on; }

    void setMayWrite(OsdHost::MayWrite mayWrite) { m_mayWrite = std::move(mayWrite); }

    void setTransport(std::unique_ptr<DatagramTransport> transport);

    /** Opens the transport, and hands over what waits; empty, or what is wrong. */
    QString begin(const QHostAddress &local, quint16 devicePort);

    /** Takes the replies that are here, and writes nothing any more. */
    void end();

    /** Lets through what the loops have announced since, and closes the transport. */
    void close();

    /** Hands a device's next command over, if nothing of the device is under way. */
    void advance(OsdDevice &device);

    /** A command of the device has ended that the channel may hold the device for. */
    void free(const OsdDevice &device, Ticket ticket);

    /** Handles what the loops have reported. */
    void drain();

    /** The device is not sent to any more. */
    void forget(const OsdDevice &device) { m_transport->forget(device.address); }

private:
    void onAnnounced(const OsdMessage &message);
    void writeOrLetThrough(OsdDevice &device, OsdCommand &command);
    bool isWorthWriting(OsdCommand &command);
    void write(OsdDevice &device, OsdCommand &command);
    void holdBack(OsdCommand &command, const QString &problem);
    void onWritten(OsdDevice &device, OsdCommand &command, int bytes);
    void onProblem(OsdDevice &device, OsdCommand &command, const QString &problem);
    void onWritable();

    void onDatagram(const QHostAddress &sender, const QByteArray &datagram);
    void onRefused(const QString &sender, int bytes, const QString &why);
    void onForeign(int bytes, const model_OsdParam &reply);
    void onReply(OsdDevice &device, OsdCommand &command, const model_OsdParam &reply);
    void onUnmatchedReply(OsdDevice &device, const model_OsdParam &reply);
    bool belongsTo(const model_OsdParam &command, const model_OsdParam &reply) const;
    void passOn(const model_OsdParam &reply);
    void onOverflowed(quint64 datagrams);
    void look();

    OsdHost *const m_host;
    HostSignals<OsdHost> *const m_signals;
    OsdCommands *const m_commands;
    std::unique_ptr<OsdReplyMatcher> m_matcher;
    bool m_keepsUnmatched = false;
    bool m_isRunning = false;
    bool m_isDraining = false;
    Reported<OsdMessage> m_reported;
    quint16 m_devicePort = 0;
    bool m_hasToldOverflow = false;  ///< since the start
    std::vector<Ticket> m_unwritten; ///< in flight for the channel, and waiting for room in the transport
    OsdHost::MayWrite m_mayWrite;
    QTimer m_askingAgain; ///< whether may be written
    std::unique_ptr<DatagramTransport> m_transport;
    OsdWatch m_watch;
};

} // namespace biz::host

#endif
