#ifndef BIZ_HOST_DEVICE_HOST_H
#define BIZ_HOST_DEVICE_HOST_H

#include <functional>
#include <memory>

#include <QtCore/QObject>
#include <QtCore/QUrl>

#include <host/command_options.h>
#include <host/command_result.h>
#include <host/counters.h>
#include <host/device_link.h>
#include <host/frame_codec.h>
#include <host/host_export.h>
#include <host/link_status.h>
#include <host/reply_matcher.h>
#include <host/reply_words.h>

namespace biz::host {

/**
 * Drives the device command channel for an application: give it a link and commands, and hear how
 * each command ended.
 *
 * ## Use
 *  1. Connect to ended().
 *  2. setLink(), and setModel() for the rules by which replies are judged.
 *  3. start(); commands may be enqueued before it and wait.
 *  4. enqueue() returns a ticket; ended() tells what became of it.
 *
 * ## Promises
 *  - Every command ends exactly once: ended() follows each ticket, never before enqueue() has
 *    returned. Ends are told one per event; other events have their turns between them.
 *  - All signals leave on the thread that the object lives in, from its event loop, with no lock held
 *    and never inside a call of this class. Any call of this class is legal in any of their slots, also
 *    deleteLater(), and so is an event loop that a slot runs: the signals that are due leave from it.
 *  - A command that has ended is not written, and a stopped host writes nothing.
 *  - clear(), setSkipping() and stop() are exact and do not take longer the more commands wait.
 *  - stop() returns within its deadline, and start() may follow.
 *  - Destruction in any state is safe, also after main(). Commands that are pending then end as
 *    `Stopped`, which only callbacks of enqueue() hear.
 *
 * ## Bounds
 *  - Replies find their command by one byte. One that arrives after 256 further commands have been sent
 *    cannot be told from the reply to the newest; up to then a late reply is never taken for a newer
 *    command's. A clear uses up no number.
 *  - A host on a thread other than the main one: end that thread, or destroy the host, before the
 *    process leaves main(). A host on the main thread may outlive main().
 *
 * ## Asks for
 *  - An event loop on the object's thread, and calls from that thread only, but for counters().
 *  - One object per process at a time: the channel is one per process. A second one is not valid and
 *    takes no commands.
 *  - No other use of the channel meanwhile, and no call of the kit from a Qt message handler, which may
 *    run under the channel's lock.
 */
class BIZ_HOST_EXPORT DeviceHost : public QObject
{
    Q_OBJECT

public:
    explicit DeviceHost(QObject *parent = nullptr);
    ~DeviceHost() override;

    /** False when another object holds the channel. */
    bool isValid() const;

    /** Why the last call that was refused was refused; None before the first. */
    Error error() const;
    QString errorString() const;

    // --- Settings, in effect with the next command or reply --------------------------

    /** The connected device's model by name: "A2", "A3"... False: there are no rules of that name. */
    [[nodiscard]] bool setModel(const QString &name);

    /** The model by code; codes without rules, as -1, the default, accept every reply. */
    void setDeviceType(int deviceType);

    /** False, the default: one command in flight at a time. True: sent back to back, never resent. */
    void setPipelined(bool on);

    /** For commands whose `iWaitTime` is 0 or less, in milliseconds, 1 or more; 500 by default. */
    [[nodiscard]] bool setDefaultWaitTime(int milliseconds);

    /**
     * Quiet time between an accepted reply and the next write, in milliseconds; 0 by default. A change
     * also holds for the quiet time that is running. Pipelined commands take no notice of it.
     */
    [[nodiscard]] bool setSettleTime(int milliseconds);

    // --- The link: refused while running ----------------------------------------------

    /** Makes the link that a URL names, as makeLink() does. */
    [[nodiscard]] bool setLink(const QUrl &url);

    /** Takes the link over. */
    [[nodiscard]] bool setLink(std::unique_ptr<DeviceLink> link);

    /** Takes the codec over. By default the demonstration frame, in the form that suits the link. */
    [[nodiscard]] bool setCodec(std::unique_ptr<FrameCodec> codec);

    /** Takes over how replies find their commands; null, the default, means by the sequence byte. */
    [[nodiscard]] bool setReplyMatcher(std::unique_ptr<ReplyMatcher> matcher);

    // --- When the link fails -----------------------------------------------------------

    LinkStatus linkStatus() const;

    /** How long after a failure the link is opened again, in milliseconds; 1000 by default, 0: never. */
    [[nodiscard]] bool setReconnectInterval(int milliseconds);

    /**
     * What becomes of commands while the link is lost; FailFast by default. One that had been written when
     * the link was lost ends as `Unreachable` in both, and is never sent again.
     */
    void setWhileDown(WhileDown policy);

    // --- Holding writes back ----------------------------------------------------------

    using MayWrite = std::function<bool()>;

    /**
     * Asked right before each copy of a command would be handed to the link; null, the default, means yes.
     * After a no a first copy stays with the commands that wait, and the question is asked again every ten
     * milliseconds; a resend is left out. It is asked from within the host, and must not call it.
     */
    void setMayWrite(MayWrite mayWrite);

    // --- Running ----------------------------------------------------------------------

    /** Starts the loops and opens the link; linkStateChanged() tells how that went. */
    [[nodiscard]] bool start();

    bool isRunning() const;

    /**
     * Stops the loops, closes the link and ends every pending command as `Stopped`. Returns within
     * `deadlineMs`, and may be called in any state.
     */
    StopReport stop(int deadlineMs = 1000);

    /**
     * Tells the device that no command follows, and goes on reading: linkStateChanged() tells `Closed` when it has sent
     * what it had to send and ended the connection. What is given now waits. False where the link has no such
     * way, which is so of all but TCP, is not up, or holds bytes that have not left. stop() follows.
     */
    bool endWriting();

    /**
     * Accepted replies that the channel has not handed on yet: `ended` or `duplicate` follows for each, unless the
     * model is changed meanwhile and its rules refuse it.
     */
    int repliesUnderWay() const;

    // --- Commands -----------------------------------------------------------------------

    using EndCallback = std::function<void(Ticket, const CommandResult &)>;

    /**
     * Queues a command; byte 0 of its head will be the sequence number. Returns 0, with error(), when the
     * object is not valid or the command does not fit into a frame.
     */
    [[nodiscard]] Ticket enqueue(const model_Protocoldata &command, const CommandOptions &options = {});

    /**
     * The same, and `callback` hears the end of this one command: as an event on the thread of `context`,
     * before ended() where that is the host's own, and also when the host is destroyed. Nothing is called once
     * `context` is gone. A callback without a context is refused.
     */
    [[nodiscard]] Ticket enqueue(const model_Protocoldata &command, const CommandOptions &options,
                                 const QObject *context, EndCallback callback);

    /**
     * Ends one command as `Cancelled`, whether it waits or is in flight; the reason says whether it had
     * been written, and a reply that still comes is late. False when it had ended before.
     */
    bool cancel(Ticket ticket);

    /** Ends every pending command as `Cleared`, the one in flight included. */
    void clear();

    /** While on, commands that wait and commands given end as `Skipped`. */
    void setSkipping(bool on);

    /** Commands that have not been taken for sending yet. */
    int waiting() const;

    /** Commands that have not ended yet. */
    int pending() const;

    /** A copy of the totals as they stand; on any thread, also while this object's is busy. */
    Counters counters() const;

Q_SIGNALS:
    /** A command was written to the link; `attempt` is 1, or 2 for the resend. */
    void sent(biz::host::Ticket ticket, int attempt, const model_Protocoldata &command);

    /** The one end of a command. */
    void ended(biz::host::Ticket ticket, const biz::host::CommandResult &result);

    /** A reply to a command in flight broke its rule, and is in the error log. */
    void rejected(biz::host::Ticket ticket, const model_Protocoldata &reply,
                  const biz::host::ReplyJudgement &judgement);

    /** A reply to a command that had already ended without one. */
    void late(biz::host::Ticket ticket, const model_Protocoldata &reply, double afterEndMs);

    /** A further reply to a command that had been answered. */
    void duplicate(biz::host::Ticket ticket, const model_Protocoldata &reply);

    /** A reply to none of the last 256 commands. */
    void foreign(const model_Protocoldata &reply);

    /** The decoder threw bytes away. */
    void refused(int bytes, const QString &why);

    /** The number of waiting() commands, once for each turn of the event loop in which it changed. */
    void queueSize(int waiting);

    /** The link has got into another state; further attempts while it is lost are not told. */
    void linkStateChanged(const biz::host::LinkStatus &status);

private:
    friend class DeviceEvents;
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace biz::host

#endif
