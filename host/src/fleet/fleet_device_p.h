#ifndef BIZ_HOST_FLEET_DEVICE_P_H
#define BIZ_HOST_FLEET_DEVICE_P_H

#include <map>
#include <mutex>

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <commands/command_history_p.h>
#include <commands/command_queue_p.h>
#include <commands/statistics_p.h>
#include <fleet/fleet_tap_p.h>
#include <fleet/worker_line_p.h>
#include <fleet/worker_p.h>
#include <host/device_fleet.h>
#include <loops/host_signals_p.h>

namespace biz::host {

/** One device of a fleet: its worker, and its commands from their enqueuing to their ends. */
class FleetDevice : public QObject
{
public:
    using Signals = HostSignals<DeviceFleet>;

    FleetDevice(const QString &name, const WorkerPlan &plan, WhileDown whileDown, Signals *signalsOfFleet,
                FleetTap *tap, QObject *parent);

    const QString &name() const { return m_name; }

    void start();

    /** The same when a former worker, which holds the folder, is gone. */
    void startAfter(Worker *former);

    Worker &worker() { return m_worker; }
    const Worker &worker() const { return m_worker; }

    bool hasRoomFor(const model_Protocoldata &command, const CommandOptions &options) const;
    void enqueue(Ticket ticket, const model_Protocoldata &command, const CommandOptions &options);
    bool cancel(Ticket ticket);
    void clear();

    /** Ends every command as `Stopped`, and the worker. */
    void remove();

    bool holds(Ticket ticket) const { return m_commands.count(ticket) != 0; }
    int pending() const { return static_cast<int>(m_commands.size()); }
    const LinkStatus &linkStatus() const { return m_link; }

    /** On any thread. */
    Counters counters() const;

private:
    struct Command
    {
        model_Protocoldata record;
        CommandOptions options;
        CommandHistory history;
        bool isGiven = false; ///< to the worker
        bool isEndAskedFor = false;
        int attempts = 0;        ///< that the worker has told, each before it was written
        Ticket supersededBy = 0; ///< the next one with its replace key
    };
    using Commands = std::map<Ticket, Command>;

    /** A command that its worker has not got yet, in the queue that a host has, too. */
    struct Held
    {
        Ticket ticket = 0;
        Ticket position = 0;
        CommandOptions options;
    };

    void giveHeld();
    void give(const Held &held);
    const Command *heldWithKey(const QString &replaceKey) const;
    void hold(Ticket ticket, const CommandOptions &options);
    void askForEnd(Command &command, const QByteArray &line);

    void onLine(const QByteArray &text);
    void onWritten(const WorkerLine &line);
    void onReply(const WorkerLine &line);
    void countStray(quint64 Counters::*counter);
    void onRejected(const WorkerLine &line);
    void onRefused(const Event &event);
    void onError(const WorkerLine &line);
    void onEnd(Ticket ticket, const Event &event, Outcome outcome);
    void onCounters(const Counters &ofWorker);
    void onWorkerEnded();
    void onAway(Error error, const QString &reason);

    void endGiven();
    void endHeld(Outcome outcome, const QString &reason);
    void endByFleet(Commands::iterator command, Outcome outcome, const QString &reason);
    void end(Commands::iterator command, CommandResult result);
    bool isFailingFast() const;
    void enterLinkState(LinkStatus status);

    void tellEvent(Event event, Ticket ticket) const;
    void tellGiven(Ticket ticket, const Command &command) const;
    void tellEnd(Ticket ticket, const Command &command, const CommandResult &result) const;

    template<typename Change>
    void count(const Change &change)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        change(m_statistics);
    }

    const QString m_name;
    const WhileDown m_whileDown;
    Signals *const m_signals;
    FleetTap *const m_tap;
    LinkStatus m_link;

    Commands m_commands;
    qint64 m_payload = 0;      ///< of all of them, in bytes
    CommandQueue<Held> m_held; ///< those that the worker has not got yet
    QHash<QString, Ticket> m_newestWithKey;

    mutable std::mutex m_mutex; ///< for the statistics
    Statistics m_statistics;
    Counters m_ofFormerWorkers;
    Counters m_ofWorker; ///< as it told last

    Worker m_worker; ///< last, so that it goes first
};

} // namespace biz::host

#endif
