#ifndef BIZ_OSDHOST_H
#define BIZ_OSDHOST_H

#include <memory>

#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <host/command_result.h>
#include <host/counters.h>
#include <host/host_export.h>
#include <host/reply_matcher.h>

/**
 * Drives the OSD command channel for an application: many devices at once over UDP, one
 * command in flight per device, and a silent device delays no other.
 *
 * It makes the promises of biz_DeviceHost: every command ends exactly once, all signals
 * leave on the object's thread from its event loop, unnested and with no lock held, any
 * call is legal from any slot, stop() is bounded and destruction is safe in any state. It
 * asks for the same: an event loop, calls from the object's thread but for counters() and
 * devices(), one object per process.
 *
 * ## Devices
 * A device's key is its address in the canonical text of QHostAddress ("127.0.0.1", not
 * "127.1"); other spellings are refused, since the channel would take them for other
 * devices. All devices listen on one port.
 *
 * ## Replies
 * They are matched by their sender, and by setReplyMatcher() if there is one. A second reply to one command, or one
 * that comes when nothing is in flight, is counted and reported, and reaches the channel's receive queue only with
 * setKeepUnmatchedReplies(true); it frees no device. A datagram from an address that was never given a command is
 * counted and reported, nothing else.
 *
 * ## Stop and start
 * The channel's detached time-out thread lives on for up to half a second after a stop. A
 * start() within that time waits for it without blocking; a worker is kept until its
 * threads cannot be alive any more, and the end of the process waits for that as well.
 */
class BIZ_HOST_EXPORT biz_OsdHost : public QObject
{
    Q_OBJECT

public:
    /** The port of the devices unless told otherwise. */
    static constexpr quint16 defaultPort = 15701;

    explicit biz_OsdHost(QObject *parent = nullptr);
    ~biz_OsdHost() override;

    bool isValid() const;
    QString errorString() const;

    /**
     * For commands whose `iWaitTime` is 0 or less, in milliseconds; 2000 by default. The channel
     * counts whole seconds, so 1000 can end a wait almost at once.
     */
    void setDefaultWaitTime(int milliseconds);

    /** The devices' port. Not while running. */
    void setPort(quint16 port);

    /** The local address to send from; any, by default. Not while running. */
    void setLocalAddress(const QString &address);

    /** Whether replies that match no command in flight reach the receive queue. */
    void setKeepUnmatchedReplies(bool on);

    /**
     * Takes over what else than the sender makes a datagram the reply to the command in
     * flight; null, the default: nothing. Not while running.
     */
    void setReplyMatcher(std::unique_ptr<biz::host::OsdReplyMatcher> matcher);

    /**
     * Binds the socket and starts the loops, or waits first for a former time-out thread;
     * started() tells when they run. False when not valid, running, or the bind fails.
     */
    bool start();

    bool isRunning() const;

    biz::host::StopReport stop(int deadlineMs = 1000);

    /**
     * Queues a command for the device that its `qsIp` names. Returns 0, with
     * errorString(), when the object is not valid, the address is not in canonical form or
     * the payload does not fit into a datagram.
     */
    biz::host::Ticket enqueue(const model_OsdParam &command);

    /** Ends every pending command as `Cleared` and forgets every device. */
    void clear();

    int waiting() const;
    int pending() const;

    /** Totals of all devices; on any thread, also while this object's is busy. */
    biz::host::Counters counters() const;

    /** One device's share. */
    struct DeviceStatus
    {
        QString ip;
        biz::host::Counters counters;
        int waiting = 0;
        bool inFlight = false;
        double roundTripMedianMs = -1.0;
        double roundTripMaxMs = -1.0;
    };

    /** Every device in the order in which it was first given a command; on any thread as well. */
    QVector<DeviceStatus> devices() const;

Q_SIGNALS:
    void started();
    void sent(biz::host::Ticket ticket, const model_OsdParam &command);
    void ended(biz::host::Ticket ticket, const biz::host::OsdCommandResult &result);

    /**
     * A reply when the device's last command had been given up or discarded; with a matcher
     * also while another is in flight that it does not belong to.
     */
    void late(biz::host::Ticket ticket, const model_OsdParam &reply, double afterEndMs);

    /** A further reply to a command that had been answered. */
    void duplicate(biz::host::Ticket ticket, const model_OsdParam &reply);

    /** A datagram from an address that was never given a command. */
    void foreign(const QString &sender, const model_OsdParam &reply);

    /** A datagram that holds no valid frame. */
    void refused(const QString &sender, int bytes, const QString &why);

    /** A reply as the channel's receive loop hands it on, 200 a second at most. */
    void received(const model_OsdParam &reply);

    /** Sending to a device, or receiving, failed; the command is left to its time-out. */
    void socketError(const QString &why);

private:
    class Private;
    std::unique_ptr<Private> d;
};

#endif
