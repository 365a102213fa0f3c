#ifndef BIZ_SCENARIO_DEVICE_WATCH_H
#define BIZ_SCENARIO_DEVICE_WATCH_H

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <vector>

#include <QtCore/QByteArray>

#include <biz_cmdswork/biz_cmdswork.h>
#include <scenario/scheduler.h>
#include <scenario/world.h>

namespace biz::scenario {

/** What a task is about to do to the channel, beside the channel's own loops. */
enum class Deed { Push, Clear, TimeoutClear, Open };

/** What has become of a command. */
enum class Fate { Waiting, Taken, Discarded };

/** What is known of one command. */
struct Command
{
    QByteArray payload; ///< shares its bytes with the record as long as that exists
    Fate fate = Fate::Waiting;
    int announced = 0;
    int announcedToPeripherals = 0; ///< signalSendMessageUipro
    int resent = 0;
    bool settled = false;
    nanoseconds settledAt{0};
};

/**
 * Follows the device channel from point to point. Whoever changes queue, gate or counter does
 * so between two points, the one where it has just got the lock and the one where it has just
 * left it, so that each change can be held against what this task may do at that place.
 */
class DeviceWatch
{
public:
    DeviceWatch(Scheduler &scheduler, const ScenarioClass &options, Coverage &coverage);

    void addSendLoop(int task, const biz_CMDSWork &worker);
    bool isSendLoop(int task) const { return m_passes.count(task) != 0; }

    /** A command that is about to be pushed; returns its number, which is its `nTag`. */
    int add(const QByteArray &payload);

    /** On the task itself, around the call that does it. */
    void begin(Deed deed, int number = -1);
    void end();

    /** While the host has skip mode on, the send loop may empty the queue without the lock. */
    void setSkipping(bool on) { m_isSkipping = on; }

    /** At every point, while one thread runs and all others stand still. */
    void atPoint();

    /** The running task has said that it gives a command up: what it does next is to open the gate. */
    void noteGiveUp() { m_givesUp.insert(Scheduler::currentTask()); }

    /** The running task has announced a resend: its next sleep is the delay of that. */
    void noteResend();

    bool knows(quint32 number) const { return number < m_commands.size(); }
    Command &command(quint32 number) { return m_commands[number]; }
    const std::deque<Command> &commands() const { return m_commands; }

    /** The command that the loop on this task took last; -1 before the first one. */
    int takenBy(int task) const { return m_passes.at(task).taken; }

    /** The command whose reply the host waits for; -1 when there is none. */
    int inFlight() const { return m_inFlight; }
    void setSettled(int number);

    /** How long the gate has been shut without a break; zero while it is open. */
    nanoseconds gateShutFor() const;

    int takes() const { return m_takes; }
    int clears() const { return m_clears; }

private:
    /** Where a send loop stands between two sleeps. */
    struct Pass
    {
        const biz_CMDSWork *worker = nullptr;
        int at = 0; ///< the point that was looked at last: a task that has to wait for a lock comes by again
        bool isResending = false;
        bool wantsToTake = false;
        bool hasTaken = false;
        int taken = -1;
        int counterBefore = 0;
    };

    struct Doing
    {
        Deed deed;
        int number;
    };

    void require(bool holds, const char *what);
    void atSendLoopsPoint(Pass &pass, int point);
    void onLook(Pass &pass);
    void onTake(Pass &pass);
    void onLeft(int task);
    void onClearLeft();
    void discardWaiting();
    void noteClear(std::array<std::uint64_t, pointsOfTake> &met);
    void followGate(int task);
    bool mayShutGate(int task) const;
    bool mayOpenGate(int task) const;

    Scheduler &m_scheduler;
    const ScenarioClass &m_options;
    Coverage &m_coverage;
    /** A slot may hold one while another thread enqueues, so they must stay where they are. */
    std::deque<Command> m_commands;
    std::deque<int> m_waiting; ///< what the channel's queue has to hold
    std::map<int, Pass> m_passes;
    std::map<int, Doing> m_doing;
    std::map<int, bool> m_holds;
    bool m_gateIsOpen = true;
    nanoseconds m_gateChangedAt{0};
    std::set<int> m_givesUp;
    bool m_isSkipping = false;
    int m_inFlight = -1;
    int m_takes = 0;
    int m_clears = 0;
};

} // namespace biz::scenario

#endif
