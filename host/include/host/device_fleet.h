#ifndef BIZ_HOST_DEVICE_FLEET_H
#define BIZ_HOST_DEVICE_FLEET_H

#include <memory>

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QUrl>

#include <host/command_options.h>
#include <host/command_result.h>
#include <host/counters.h>
#include <host/event_source.h>
#include <host/host_export.h>
#include <host/link_status.h>
#include <host/reply_words.h>

namespace biz::host {

/** One device of a fleet, and the program that serves it. */
struct DeviceSettings
{
    QUrl link;     ///< as makeLink() takes it
    QString model; ///< whose rules judge the replies, such as "A2"; empty: every reply is accepted

    int defaultWaitMs = 500; ///< of commands that name no wait, 1 to DeviceFleet::longestMs
    int settleMs = 0;        ///< quiet time between a reply and the next command, to DeviceFleet::longestMs
    bool pipelined = false;
    WhileDown whileDown = WhileDown::FailFast;

    /**
     * A program of the application's own that calls serve(), for a codec, matcher or link that biz_console does not
     * have; it gets `arguments` and none of the above. Empty: biz_console, beside the application's program or
     * in the path.
     */
    QString program;
    QStringList arguments;

    /** The worker is asked so often, in milliseconds, 10 or more, whether it still answers. */
    int heartbeatMs = 2000;

    /** With so many heartbeats unanswered it is killed, and started again. */
    static constexpr int mostUnanswered = 3;
};

/**
 * Drives many devices, each through a DeviceHost in a worker process of its own: one channel is all that a process
 * has, and a worker that dies or hangs takes no other device with it.
 *
 * ## Use
 *  1. Connect to ended().
 *  2. add() each device; its worker starts at once.
 *  3. enqueue() names the device and returns a ticket; ended() tells what became of it.
 *
 * ## Promises
 *  - Every command ends exactly once, also those of a worker that was killed: they end as `Interrupted`. One whose
 *    `attempts` are 0 was never written; any other may have been. None is given to a worker a second time.
 *  - A worker that has ended is started again within a second, after ever longer pauses, half a minute at most, if
 *    it keeps ending. While it is away the device's link counts as lost, and `whileDown` decides about commands.
 *  - A device has one worker at most. The new one starts when the old one's lock on the folder is free.
 *  - No worker outlives the fleet, nor a killed application, by more than a second.
 *  - All signals leave from the event loop, and never inside a call of this class. Those that wait leave in one
 *    event, however many ends are among them. What is pending when the fleet is destroyed has no end.
 *  - Records of signals and results have head, payload and wait; what else a command had stays with the application.
 *  - Memory is bounded: see mostPending. Error logs and what else a worker writes stay in its folder.
 *
 * ## Asks for
 *  - An event loop on the thread that the object lives in, and calls from that thread only, but for counters().
 *    A fleet may be moved to another thread; a worker ends with the thread that has started it.
 *  - A folder that no other fleet uses at the same time.
 */
class BIZ_HOST_EXPORT DeviceFleet : public QObject
{
    Q_OBJECT

public:
    /** Commands of one device that may be pending, and their bytes of payload together. */
    static constexpr int mostPending = 1000;
    static constexpr qint64 mostPendingBytes = qint64{8} * 1024 * 1024;

    /** The longest name of a device, in characters. */
    static constexpr int longestName = 64;

    /** The longest wait, validity and settle time, in milliseconds: an hour. */
    static constexpr int longestMs = 3'600'000;

    /** The longest replace key, in characters. */
    static constexpr int longestReplaceKey = 128;

    /** Each device works in a folder of its name below this one; both are made where they are missing. */
    explicit DeviceFleet(const QString &folder, QObject *parent = nullptr);

    /** Ends all workers, within a second. */
    ~DeviceFleet() override;

    /** Why the last call that was refused was refused; None before the first. */
    Error error() const;
    QString errorString() const;

    // --- Devices ------------------------------------------------------------------------

    /**
     * Adds a device and starts its worker. A name has letters, digits, '.', '_' and '-', and begins with a letter or
     * a digit. linkStateChanged() tells how the start went.
     */
    [[nodiscard]] bool add(const QString &name, const DeviceSettings &settings);

    /**
     * Ends a device's commands as `Stopped` and its worker within a second. Its name can be added at once: the new
     * device is connecting, and its commands wait, until the old worker has ended.
     */
    bool remove(const QString &name);

    /** In alphabetical order. */
    QStringList names() const;

    /** Of the device's link; `Lost` also while its worker is away. */
    LinkStatus linkStatus(const QString &name) const;

    /** 0 while there is no worker. */
    qint64 workerProcessId(const QString &name) const;

    // --- Commands -----------------------------------------------------------------------

    /**
     * Queues a command, as DeviceHost::enqueue() does. Returns 0, with error(), when it is refused. One with more
     * payload than the demonstration frame carries is, as `CannotEncode`, whatever codec the worker has; one with a
     * wait, validity or replace key beyond the longest is, as `OutOfRange`.
     */
    [[nodiscard]] Ticket enqueue(const QString &name, const model_Protocoldata &command,
                                 const CommandOptions &options = {});

    /**
     * Asks for the end of one command as `Cancelled`; it may be answered meanwhile, and ended() tells which. False
     * when it had ended before.
     */
    bool cancel(Ticket ticket);

    /** Ends every pending command of a device as `Cleared`, but for those that are answered meanwhile. */
    bool clear(const QString &name);

    /** Commands of a device that have not ended yet. */
    int pending(const QString &name) const;

    /**
     * A device's totals, over all of its workers; on any thread. Bytes, and replies that were dropped or refused, are
     * as of the last heartbeat.
     */
    Counters counters(const QString &name) const;

Q_SIGNALS:
    /** A command was written to the link; `attempt` is 1, or 2 for the resend. */
    void sent(const QString &name, biz::host::Ticket ticket, int attempt, const model_Protocoldata &command);

    /** The one end of a command. */
    void ended(const QString &name, biz::host::Ticket ticket, const biz::host::CommandResult &result);

    /** A reply to a command in flight broke its rule, and is in the error log in the device's folder. */
    void rejected(const QString &name, biz::host::Ticket ticket, const model_Protocoldata &reply,
                  const biz::host::ReplyJudgement &judgement);

    // As of DeviceHost.
    void late(const QString &name, biz::host::Ticket ticket, const model_Protocoldata &reply, double afterEndMs);
    void duplicate(const QString &name, biz::host::Ticket ticket, const model_Protocoldata &reply);
    void foreign(const QString &name, const model_Protocoldata &reply);
    void refused(const QString &name, int bytes, const QString &why);

    /** The link, or the worker that holds it, has got into another state. */
    void linkStateChanged(const QString &name, const biz::host::LinkStatus &status);

private:
    friend class FleetEvents;
    class Private;
    std::unique_ptr<Private> d;
};

/**
 * Tells what happens in a fleet, for an EventLog: of each event `device` is the device's name. An event leaves from the
 * event loop, before the signal of the same; a listener may call the fleet, and destroy it. What has not left when the
 * fleet is destroyed is not told.
 */
BIZ_HOST_EXPORT std::unique_ptr<EventSource> eventsOf(DeviceFleet *fleet);

} // namespace biz::host

Q_DECLARE_METATYPE(biz::host::DeviceSettings)

#endif
