#ifndef BIZ_OSDHOST_P_H
#define BIZ_OSDHOST_P_H

#include <QtCore/QTimer>
#include <QtNetwork/QUdpSocket>

#include <host/osd_host.h>
#include <osd/osd_ledger_p.h>
#include <osd/osd_run_p.h>

/**
 * What happens between the application, the channel and the devices: life cycle and commands
 * in osd_lifecycle.cpp, announcements and datagrams in osd_traffic.cpp.
 */
class biz_OsdHost::Private
{
public:
    explicit Private(biz_OsdHost *host);
    ~Private();

    // Settings
    bool mayChangeSettings();
    void setReplyMatcher(std::unique_ptr<biz::host::OsdReplyMatcher> replyMatcher);
    QString error;
    int defaultWaitMs = firstDefaultWaitMs;
    quint16 port = defaultPort;
    QHostAddress localAddress{QHostAddress::Any};
    bool keepUnmatched = false;

    // Life cycle
    bool isValid() const { return run.isValid(); }
    bool start();
    biz::host::StopReport stop(int deadlineMs);

    // Commands
    biz::host::Ticket enqueue(const model_OsdParam &command);
    void clear();

private:
    /**
     * The channel counts whole seconds from the second in which it sent: with 1000 a device can be
     * given up right after the next second has begun, so this is the least that is safe.
     */
    static constexpr int firstDefaultWaitMs = 2000;

    biz::host::OsdSignals signalsOfHost;

public:
    // The parts, in the order in which they rely on each other.
    biz::host::OsdLedger ledger{&signalsOfHost};
    biz::host::OsdRun run;

private:
    // Children of the host, so that they follow it to another thread.
    QTimer pollTimer;
    QTimer startTimer;
    QUdpSocket socket;
    std::unique_ptr<biz::host::OsdReplyMatcher> matcher; ///< null: any datagram of the device is a reply

    bool bindSocket();
    void startLoops();
    bool isAcceptable(const model_OsdParam &command);
    static void queue(const biz::host::OsdCommand &command);

    void drainInbox();
    void onAnnounced(quint32 tag);
    void writeToDevice(biz::host::OsdDevice &device, biz::host::OsdCommand &command);
    void readDatagrams();
    void onDatagram(const QString &sender, const QByteArray &datagram);
    void onForeign(const QString &sender, int bytes, const model_OsdParam &reply);
    void onRefused(const QString &sender, int bytes, const QString &why);
    bool belongsTo(const model_OsdParam &command, const model_OsdParam &reply) const;
    void onReply(biz::host::OsdCommand &command, const model_OsdParam &reply);
    void handOver(const model_OsdParam &reply);
    void onUnmatchedReply(biz::host::OsdDevice &device, const model_OsdParam &reply);
    void poll();
    void updatePolling();
};

/** The canonical text of an address; a socket that takes both families shows IPv4 senders in an IPv6 spelling. */
inline QString osdDeviceKey(const QHostAddress &address)
{
    bool isIpv4 = false;
    const quint32 ipv4 = address.toIPv4Address(&isIpv4);
    return isIpv4 ? QHostAddress(ipv4).toString() : address.toString();
}

#endif
