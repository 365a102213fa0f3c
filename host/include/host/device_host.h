#ifndef BIZ_DEVICEHOST_H
#define BIZ_DEVICEHOST_H

#include <memory>

#include <QtCore/QObject>

#include <host/command_result.h>
#include <host/counters.h>
#include <host/device_link.h>
#include <host/frame_codec.h>
#include <host/host_export.h>
#include <host/reply_matcher.h>

/**
 * Drives the device command channel for an application: give it a link and commands, and
 * hear how each command ended.
 *
 * It owns a worker of the channel and the two threads of its loops, writes each announced
 * command to the link, feeds the replies back, and opens the gate when the accepted reply
 * carries the sequence byte of the command in flight. A late reply never opens the gate
 * for a newer command.
 *
 * ## What it promises
 *  - Every command ends exactly once: enqueue() returns a ticket, and ended() follows for
 *    it, never before enqueue() has returned.
 *  - All signals leave on the thread that the object lives in, from its event loop, with
 *    no lock held and never nested: any call of this class is legal from any of its slots,
 *    stop() and deleteLater() included.
 *  - stop() returns within its deadline, and can be followed by another start().
 *  - Destruction in any state is safe. Commands that are still pending then have ended as
 *    `Stopped`, but nobody hears of it any more: stop first where that matters.
 *
 * ## What it asks for
 *  - An event loop on the object's thread, and calls from that thread only; counters() may be
 *    called from any.
 *  - One object per process at a time: the channel is one per process. A second one is not
 *    valid and takes no commands.
 *  - No other use of the channel's queues meanwhile. Replies that it feeds carry a number
 *    of the kit's own in `nTag` while they are in the channel.
 *  - A Qt message handler may be called under the channel's lock: it must not call back.
 */
class BIZ_HOST_EXPORT biz_DeviceHost : public QObject
{
    Q_OBJECT

public:
    explicit biz_DeviceHost(QObject *parent = nullptr);
    ~biz_DeviceHost() override;

    /** False when another object holds the channel; errorString() says so. */
    bool isValid() const;

    /** Why the last call that could fail did. */
    QString errorString() const;

    // --- Settings, in effect with the next command or reply --------------------------

    /** The model code of the connected device; -1, the default, accepts every reply. */
    void setDeviceType(int deviceType);

    /** 0, the default: one command in flight at a time. Else: sent back to back. */
    void setSysPlan(int sysPlan);

    /** For commands whose `iWaitTime` is 0 or less, in milliseconds; 500 by default. */
    void setDefaultWaitTime(int milliseconds);

    /**
     * Starts the library's watchdog for each command beside the send loop's own check; off
     * by default, since both count the same time-outs and would give up sooner.
     */
    void setUseWatchdog(bool on);

    /**
     * Quiet time between an accepted reply and the next write, in milliseconds; 0 by default.
     * The gate is opened that much later. Without a gate (setSysPlan) it has no effect.
     */
    void setSettleTime(int milliseconds);

    /** Takes the link over. While running it is refused, and errorString() says so. */
    void setLink(std::unique_ptr<biz::host::DeviceLink> link);

    /** Takes the codec over; the demonstration frame by default. Refused while running. */
    void setCodec(std::unique_ptr<biz::host::FrameCodec> codec);

    /**
     * Takes over how replies find their commands; null, the default, means by the sequence
     * byte. Refused while running.
     */
    void setReplyMatcher(std::unique_ptr<biz::host::ReplyMatcher> matcher);

    // --- Running ----------------------------------------------------------------------

    /**
     * Opens the link; the loops start as soon as it is open, and linkOpened() tells so.
     * False when the object is not valid, has no link or runs already.
     */
    bool start();

    bool isRunning() const;

    /**
     * Stops the loops, closes the link and ends every pending command as `Stopped`.
     * Returns within `deadlineMs`, and may be called in any state.
     */
    biz::host::StopReport stop(int deadlineMs = 1000);

    // --- Commands -----------------------------------------------------------------------

    /**
     * Queues a command; byte 0 of its head will be the sequence number. Before start() it
     * waits. Returns 0 when the object is not valid.
     */
    biz::host::Ticket enqueue(const model_Protocoldata &command);

    /** Ends every pending command as `Cleared`, the one in flight included. */
    void clear();

    /** While on, commands that wait and commands given end as `Skipped`. */
    void setSkipping(bool on);

    /** Commands that have not been sent yet. */
    int waiting() const;

    /** Commands that have not ended yet. */
    int pending() const;

    /** A copy of the totals as they stand; on any thread, also while this object's is busy. */
    biz::host::Counters counters() const;

Q_SIGNALS:
    /** A command was written to the link; `attempt` is 1, or 2 for the resend. */
    void sent(biz::host::Ticket ticket, int attempt, const model_Protocoldata &command);

    /** The one end of a command. */
    void ended(biz::host::Ticket ticket, const biz::host::CommandResult &result);

    /** A reply to a command in flight broke its rule, and is in the error log. */
    void rejected(biz::host::Ticket ticket, const model_Protocoldata &reply, const QString &why);

    /** A reply to a command that had already ended without one. */
    void late(biz::host::Ticket ticket, const model_Protocoldata &reply, double afterEndMs);

    /** A further reply to a command that had been answered. */
    void duplicate(biz::host::Ticket ticket, const model_Protocoldata &reply);

    /** A reply to none of the last 256 commands. */
    void foreign(const model_Protocoldata &reply);

    /** The decoder threw bytes away. */
    void refused(int bytes, const QString &why);

    /** How many commands wait, as the channel reports it. */
    void queueSize(int waiting);

    void linkOpened();

    /** The link failed or was closed by the device; commands go on timing out until stop(). */
    void linkClosed(const QString &reason);

private:
    class Private;
    std::unique_ptr<Private> d;
};

#endif
