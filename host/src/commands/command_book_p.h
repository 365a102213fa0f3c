#ifndef BIZ_HOST_COMMAND_BOOK_P_H
#define BIZ_HOST_COMMAND_BOOK_P_H

#include <functional>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include <commands/command_p.h>
#include <commands/command_queue_p.h>
#include <commands/command_tap_p.h>
#include <commands/end_reasons_p.h>
#include <commands/pending_ends_p.h>
#include <commands/statistics_p.h>
#include <commands/ticket_source_p.h>

namespace biz::host {

/** What waits for one device, and the device's share of the statistics. */
template<typename CommandOfChannel>
struct CommandLane
{
    CommandQueue<CommandOfChannel> queue;
    int handedOver = 0;          ///< given to the channel, which has not taken them yet
    int taken = 0;               ///< by the channel for sending
    Statistics *share = nullptr; ///< guarded by the book's statistics; null: the totals alone are counted

    int waiting() const { return queue.size() + handedOver; }
    int pending() const { return waiting() + taken; }
};

/**
 * The book of one host's commands: which wait, which have been handed over to the channel or are in
 * flight, and how each of them ends: counted, with its history and reason, told once. Used on the host's
 * thread only, but for the statistics.
 */
template<typename Host, typename CommandOfChannel>
class CommandBook
{
public:
    using Command = CommandOfChannel;
    using Record = typename Command::Record;
    using Result = typename Command::Result;
    using Lane = CommandLane<Command>;
    using Callback = std::unique_ptr<EndCallback<Result>>;

    /** Called with each command that ends, before it is gone. */
    using OnEnd = std::function<void(const Command &, Outcome)>;

    CommandBook(Host *host, Outbox *outbox, TicketSource *tickets, OnEnd onEnd)
        : m_host(host)
        , m_outbox(outbox)
        , m_tickets(tickets)
        , m_onEnd(std::move(onEnd))
    {
    }

    /** Called whenever waiting() has changed. */
    void setWhenWaitingChanges(std::function<void()> call) { m_whenWaitingChanges = std::move(call); }

    SharedStatistics &statistics() { return m_statistics; }
    const SharedStatistics &statistics() const { return m_statistics; }

    /** Who hears of commands at the moment itself. */
    CommandTaps<Record> &taps() { return m_taps; }

    /** Commands that the channel has not taken. */
    int waiting() const { return m_waiting; }
    int pending() const { return m_waiting + m_taken; }

    // --- From the application to the channel

    /** A command that waits from now on. */
    Ticket enter(Lane &lane, Record record, const CommandOptions &options, Callback callback)
    {
        Command command = make(lane, std::move(record), options, std::move(callback));
        const Ticket ticket = command.ticket;
        countEntered(lane);
        std::optional<Command> replaced = lane.queue.push(std::move(command));
        addWaiting(lane, 1);
        if (replaced) {
            addWaiting(lane, -1);
            endSuperseded(lane, std::move(*replaced), ticket);
        }
        return ticket;
    }

    /** A command that ends at once. */
    Ticket enterEnded(Lane &lane, Record record, const CommandOptions &options, Callback callback, Outcome outcome,
                      const QString &reason)
    {
        Command command = make(lane, std::move(record), options, std::move(callback));
        const Ticket ticket = command.ticket;
        countEntered(lane);
        tell(lane, std::move(command), resultOf(outcome, reason));
        return ticket;
    }

    /** The lane's next command, which is being handed over now; null when none is left. Expired ones end. */
    Command *handOver(Lane &lane)
    {
        while (!lane.queue.isEmpty()) {
            Command command = lane.queue.takeFirst();
            if (!command.isExpired(Clock::now())) {
                return &activate(lane, std::move(command));
            }
            addWaiting(lane, -1);
            tell(lane, std::move(command), resultOf(Outcome::Expired, expiredReason()));
        }
        return nullptr;
    }

    /** The channel has taken a command that was handed over. */
    void noteTaken(Command &command)
    {
        command.isTaken = true;
        --command.lane->handedOver;
        ++command.lane->taken;
        ++m_taken;
        addWaiting(*command.lane, -1);
    }

    /** A command that was taken but not written waits again, before those that are behind it. */
    void putBack(Command &active)
    {
        Command command = remove(active);
        Lane &lane = *std::exchange(command.lane, nullptr);
        command.isTaken = false;
        command.attempts = 0;
        if (auto replacement = lane.queue.putBack(std::move(command))) {
            endSuperseded(lane, std::move(replacement->older), replacement->newer);
        } else {
            addWaiting(lane, 1);
        }
    }

    // --- What the channel holds

    /** The command that a record in the channel stands for; null once it has ended. */
    Command *find(quint32 tag)
    {
        const auto found = m_active.find(tag);
        return found == m_active.end() ? nullptr : &found->second;
    }
    Command *find(Ticket ticket) { return find(tagOf(ticket)); }

    /** All that have been handed over or are in flight, oldest first. */
    std::vector<Ticket> active() const
    {
        std::vector<Ticket> tickets;
        tickets.reserve(m_active.size());
        for (const auto &entry : m_active) {
            tickets.push_back(entry.second.ticket);
        }
        return tickets;
    }

    // --- Ends: the command is gone afterwards

    void end(Command &active, Outcome outcome, const QString &reason) { end(active, resultOf(outcome, reason)); }

    void end(Command &active, Result result)
    {
        Command command = remove(active);
        Lane &lane = *command.lane;
        tell(lane, std::move(command), std::move(result));
    }

    /** False when the command does not wait in this lane. */
    bool endWaiting(Lane &lane, Ticket ticket, Outcome outcome, const QString &reason)
    {
        std::optional<Command> command = lane.queue.take(ticket);
        if (!command) {
            return false;
        }
        addWaiting(lane, -1);
        tell(lane, std::move(*command), resultOf(outcome, reason));
        return true;
    }

    /** Ends what waits in a lane's queue, at no cost for each. */
    void endWaiting(Lane &lane, Outcome outcome, const QString &reason)
    {
        const int ended = lane.queue.size();
        if (ended == 0) {
            return;
        }
        auto [urgent, others] = lane.queue.takeAll();
        addWaiting(lane, -ended);
        m_statistics.count(lane.share, [outcome, ended](Statistics &statistics) {
            statistics.*counterOf(outcome) += static_cast<quint64>(ended);
        });
        for (auto *commands : {&urgent, &others}) {
            m_outbox->post(std::make_shared<JointEnd<Host, Command>>(m_host, std::move(*commands), outcome, reason));
        }
    }

private:
    Command make(const Lane &lane, Record record, const CommandOptions &options, Callback callback)
    {
        Command command;
        command.ticket = m_tickets->next();
        command.position = command.ticket;
        command.record = std::move(record);
        command.options = options;
        command.history = CommandHistory(lane.pending());
        command.callback = std::move(callback);
        m_taps.tellGiven(command.ticket, command.record, options);
        return command;
    }

    static Result resultOf(Outcome outcome, const QString &reason)
    {
        Result result;
        result.outcome = outcome;
        result.reason = reason;
        return result;
    }

    Command &activate(Lane &lane, Command command)
    {
        command.lane = &lane;
        ++lane.handedOver;
        const quint32 tag = tagOf(command.ticket);
        return m_active.emplace(tag, std::move(command)).first->second;
    }

    /** Out of what the channel holds; the counts no longer know it. */
    Command remove(Command &active)
    {
        const auto found = m_active.find(tagOf(active.ticket));
        Command command = std::move(found->second);
        m_active.erase(found);
        if (command.isTaken) {
            --command.lane->taken;
            --m_taken;
        } else {
            --command.lane->handedOver;
            addWaiting(*command.lane, -1);
        }
        return command;
    }

    void countEntered(const Lane &lane)
    {
        m_statistics.count(lane.share, [](Statistics &statistics) { ++statistics.enqueued; });
    }

    void addWaiting(const Lane &lane, int change)
    {
        m_waiting += change;
        m_statistics.setWaiting(lane.share, lane.waiting(), m_waiting);
        if (m_whenWaitingChanges) {
            m_whenWaitingChanges();
        }
    }

    void endSuperseded(Lane &lane, Command command, Ticket newer)
    {
        Result result = resultOf(Outcome::Superseded, QStringLiteral("ticket %1 took its place").arg(newer));
        result.supersededBy = newer;
        tell(lane, std::move(command), std::move(result));
    }

    void tell(Lane &lane, Command command, Result result)
    {
        const Outcome outcome = result.outcome;
        const double roundTripMs = result.roundTripMs;
        m_onEnd(command, outcome);
        m_statistics.count(lane.share, [outcome, roundTripMs](Statistics &statistics) {
            ++(statistics.*counterOf(outcome));
            if (outcome == Outcome::Answered) {
                statistics.noteRoundTrip(roundTripMs);
            }
        });
        result = closeHistory(command, std::move(result), Clock::now());
        m_outbox->post(std::make_shared<PendingEnd<Host, Command>>(m_host, std::move(command), std::move(result)));
    }

    Host *const m_host;
    Outbox *const m_outbox;
    TicketSource *const m_tickets;
    const OnEnd m_onEnd;
    std::function<void()> m_whenWaitingChanges;
    CommandTaps<Record> m_taps;
    SharedStatistics m_statistics;
    int m_waiting = 0; ///< in the queues, and handed over but not taken
    int m_taken = 0;
    std::map<quint32, Command> m_active; ///< by tag
};

} // namespace biz::host

#endif
