#ifndef BIZ_HOST_OSD_HOST_H
#define BIZ_HOST_OSD_HOST_H

#include <functional>
#include <memory>

#include <QtCore/QObject>
#include <QtCore/QVector>

#include <host/command_options.h>
#include <host/command_result.h>
#include <host/counters.h>
#include <host/datagram_transport.h>
#include <host/host_export.h>
#include <host/reply_matcher.h>

namespace biz::host {

/** One device of an OsdHost at one moment. */
struct OsdDeviceStatus
{
    QString ip;
    Counters counters;     ///< this device's share
    bool inFlight = false; ///< a command has been written to it and is neither answered nor given up

    /** It has been heard of, and no command has been given up since. */
    bool reachable = false;

    /**
     * Of a device that is not reachable: when the first command was written that it has not been heard of since,
     * in ms since 1970; 0: none was written.
     */
    qint64 silentSinceUtcMs = 0;
};

/**
 * Drives the OSD command channel for an application: many devices at once over UDP, one command in
 * flight per device, and a silent device delays no other.
 *
 * ## Use
 *  1. Connect to ended().
 *  2. setPort() where the devices do not listen on defaultPort.
 *  3. start(); commands may be enqueued before it and wait.
 *  4. enqueue() files each command for the device that its `qsIp` names.
 *
 * It makes the promises of DeviceHost and asks for the same; devices() as well as counters() may be
 * called on any thread.
 *
 * ## Devices
 * A device's key is its address in the canonical text of QHostAddress ("127.0.0.1", not "127.1"). Other
 * spellings are refused, since the channel would take them for other devices, and so are addresses of
 * more than one device. All devices listen on one port.
 *
 * ## Replies
 * They are matched by their sender, and by setReplyMatcher() if there is one. A second reply to one
 * command, or one that comes when nothing is in flight, is counted and reported, and reaches the
 * channel's receive queue only with setKeepUnmatchedReplies(true); it frees no device. A datagram from
 * an address that was never given a command is counted and reported, nothing else.
 *
 * ## Time
 * The channel counts a wait in whole seconds, by the wall clock, from the second in which it took the
 * command: a wait of less than defaultWaitMs can be over almost at once. Where the command had to wait for room
 * to be sent, the device has the least time of that wait from the write on all the same.
 *
 * ## Bursts
 * However many devices there are, one reply of each is held until it is read, also when all answer at once: they
 * share sockets in groups, each of which fits into one receive buffer of the system. What is dropped nevertheless,
 * as of devices that speak without being asked, is counted. Addresses where nobody answers delay no other.
 */
class BIZ_HOST_EXPORT OsdHost : public QObject
{
    Q_OBJECT

public:
    /** The port of the devices unless told otherwise. */
    static constexpr quint16 defaultPort = 15701;

    /** The wait of a command that asks for none, in milliseconds: the least that leaves a device a second. */
    static constexpr int defaultWaitMs = 2000;

    explicit OsdHost(QObject *parent = nullptr);
    ~OsdHost() override;

    /** False when another object holds the channel. */
    bool isValid() const;

    /** Why the last call that was refused was refused; None before the first. */
    Error error() const;
    QString errorString() const;

    // --- Settings -----------------------------------------------------------------------

    /** For commands whose `iWaitTime` is 0 or less, in milliseconds, 1 or more; defaultWaitMs at first. */
    [[nodiscard]] bool setDefaultWaitTime(int milliseconds);

    /** The devices' port, 1 or more. Refused while running. */
    [[nodiscard]] bool setPort(quint16 port);

    /** The local address to send from; any, by default. Refused while running. */
    [[nodiscard]] bool setLocalAddress(const QString &address);

    /** Whether replies that match no command in flight reach the receive queue; false by default. */
    void setKeepUnmatchedReplies(bool on);

    /**
     * Installs an extra test for matching a datagram to the command in flight; null, the default:
     * the sender decides. Refused while running.
     */
    [[nodiscard]] bool setReplyMatcher(std::unique_ptr<OsdReplyMatcher> matcher);

    /** Takes over how datagrams travel; null, the default, means by UDP. Refused while running. */
    [[nodiscard]] bool setTransport(std::unique_ptr<DatagramTransport> transport);

    // --- Holding writes back ------------------------------------------------------------

    using MayWrite = std::function<bool()>;

    /**
     * Asked right before a command would be sent; null, the default, means yes. After a no it is asked again every
     * few milliseconds, until the command's wait is over. It is asked from within the host, and must not call it.
     */
    void setMayWrite(MayWrite mayWrite);

    // --- Running ------------------------------------------------------------------------

    /** Opens the transport; commands leave from now on. */
    [[nodiscard]] bool start();

    bool isRunning() const;

    /**
     * Closes the transport and ends every pending command as `Stopped`. The channel's loops go on without work
     * until the process ends, so start() may follow at once. Nothing is waited for: the deadline is there for the sake
     * of code that treats both hosts alike.
     */
    StopReport stop(int deadlineMs = 1000);

    // --- Commands -----------------------------------------------------------------------

    using EndCallback = std::function<void(Ticket, const OsdCommandResult &)>;

    /**
     * Queues a command for the device that its `qsIp` names. Returns 0, with error(), when the object is
     * not valid, the address is not the canonical one of a single device, or the payload does not fit
     * into a datagram.
     */
    [[nodiscard]] Ticket enqueue(const model_OsdParam &command, const CommandOptions &options = {});

    /** The same, and `callback` hears the end of this one command, as with DeviceHost::enqueue(). */
    [[nodiscard]] Ticket enqueue(const model_OsdParam &command, const CommandOptions &options, const QObject *context,
                                 EndCallback callback);

    /** Ends one command as `Cancelled`, as DeviceHost::cancel() does. */
    bool cancel(Ticket ticket);

    /** Ends every pending command as `Cleared`; devices and their counters stay. */
    void clear();

    /** The same for one device. */
    void clear(const QString &ip);

    /**
     * Clears a device, and forgets it with its counters; the totals stay. The channel keeps its entry for the address,
     * some hundred bytes and the last command, until the process ends.
     */
    void forget(const QString &ip);

    /** Commands that have not been taken for sending yet. */
    int waiting() const;

    /** Commands that have not ended yet. */
    int pending() const;

    /** Totals of all devices; on any thread, also while this object's is busy. */
    Counters counters() const;

    /** Every device in the order in which it was first given a command; on any thread as well. */
    QVector<OsdDeviceStatus> devices() const;

Q_SIGNALS:
    void started();
    void sent(biz::host::Ticket ticket, const model_OsdParam &command);
    void ended(biz::host::Ticket ticket, const biz::host::OsdCommandResult &result);

    /**
     * A reply when the device's last command had ended without one; with a matcher also while another
     * is in flight that it does not belong to.
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

    /**
     * Sending to a device, or receiving, failed; the command is left to its time-out. That replies came faster than
     * they were read is told once for each start, and counted as `overflowed`.
     */
    void socketError(const QString &why);

private:
    friend class OsdEvents;
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace biz::host

#endif
