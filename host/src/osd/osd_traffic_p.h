#ifndef BIZ_HOST_OSD_TRAFFIC_P_H
#define BIZ_HOST_OSD_TRAFFIC_P_H

#include <memory>

#include <host/reply_matcher.h>
#include <loops/host_signals_p.h>
#include <osd/osd_commands_p.h>
#include <osd/osd_loops_p.h>
#include <osd/osd_socket_p.h>
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

    /** Opens the socket, and hands over what waits; empty, or what is wrong. */
    QString begin(const QHostAddress &local, quint16 devicePort);

    /** Takes the replies that are here, and writes nothing any more. */
    void end();

    /** Lets through what the loops have announced since, and closes the socket. */
    void close();

    /** Hands a device's next command over, if nothing of the device is under way. */
    void advance(OsdDevice &device);

    /** A command of the device has ended that the channel may hold the device for. */
    void free(const OsdDevice &device, Ticket ticket);

    /** Handles what the loops have reported. */
    void drain();

private:
    void onAnnounced(const OsdMessage &message);
    bool isWorthWriting(OsdCommand &command);
    void write(OsdDevice &device, OsdCommand &command);

    void onDatagram(const QHostAddress &sender, const QByteArray &datagram);
    void onRefused(const QString &sender, int bytes, const QString &why);
    void onForeign(int bytes, const model_OsdParam &reply);
    void onReply(OsdDevice &device, OsdCommand &command, const model_OsdParam &reply);
    void onUnmatchedReply(OsdDevice &device, const model_OsdParam &reply);
    bool belongsTo(const model_OsdParam &command, const model_OsdParam &reply) const;
    void passOn(const model_OsdParam &reply);
    void look();

    HostSignals<OsdHost> *const m_signals;
    OsdCommands *const m_commands;
    std::unique_ptr<OsdReplyMatcher> m_matcher;
    bool m_keepsUnmatched = false;
    bool m_isRunning = false;
    bool m_isDraining = false;
    quint16 m_devicePort = 0;
    OsdSocket m_socket;
    OsdWatch m_watch;
};

} // namespace biz::host

#endif
