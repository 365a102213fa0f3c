#ifndef BIZ_HOST_PENDING_ENDS_P_H
#define BIZ_HOST_PENDING_ENDS_P_H

#include <deque>
#include <map>
#include <utility>

#include <commands/command_p.h>
#include <loops/outbox_p.h>

namespace biz::host {

/** Notes the end in a command's history and fills in what the command itself says of its result. */
template<typename Command>
typename Command::Result closeHistory(Command &command, typename Command::Result result, TimePoint at)
{
    result.attempts = command.attempts;
    command.history.note(outcomeName(result.outcome) + QStringLiteral(": ") + result.reason, at);
    result.history = command.history.events();
    fillIn(result, command.record);
    return result;
}

inline void fillIn(CommandResult & /*result*/, const model_Protocoldata & /*record*/) {}

inline void fillIn(OsdCommandResult &result, const model_OsdParam &record)
{
    result.ip = record.qsIp;
}

/** The end of one command that is still to be told: to its callback first, then to everybody. */
template<typename Host, typename Command>
class PendingEnd final : public PendingEnds
{
public:
    PendingEnd(Host *host, Command command, typename Command::Result result)
        : m_host(host)
        , m_ticket(command.ticket)
        , m_callback(std::move(command.callback))
        , m_result(std::move(result))
    {
    }

    bool isEmpty() const override { return m_isTold; }

    bool tellNextCallback() override
    {
        if (!m_callback) {
            return false;
        }
        m_callback->tell(m_ticket, m_result);
        m_callback.reset();
        return true;
    }

    std::function<void()> takeNext() override
    {
        m_isTold = true;
        return [host = m_host, ticket = m_ticket, result = std::move(m_result)] {
            Q_EMIT host->ended(ticket, result);
        };
    }

    void tellCallbacks() override { tellNextCallback(); }

private:
    Host *const m_host;
    const Ticket m_ticket;
    std::unique_ptr<EndCallback<typename Command::Result>> m_callback;
    typename Command::Result m_result;
    bool m_isTold = false;
};

/**
 * Commands that waited and end together, however many they are, at no cost for each: what each is
 * told is made when it is told.
 */
template<typename Host, typename Command>
class JointEnd final : public PendingEnds
{
public:
    JointEnd(Host *host, std::map<Ticket, Command> commands, Outcome outcome, QString reason)
        : m_host(host)
        , m_commands(std::move(commands))
        , m_outcome(outcome)
        , m_reason(std::move(reason))
    {
    }

    bool isEmpty() const override { return !m_current && m_commands.empty(); }

    bool tellNextCallback() override { return current().tellNextCallback(); }

    std::function<void()> takeNext() override
    {
        auto tell = current().takeNext();
        m_current.reset();
        return tell;
    }

    void tellCallbacks() override
    {
        if (m_current) {
            m_current->tellCallbacks();
        }
        for (auto &entry : m_commands) {
            Command &command = entry.second;
            if (command.callback) {
                command.callback->tell(command.ticket, resultOf(command));
            }
        }
    }

private:
    using End = PendingEnd<Host, Command>;

    End &current()
    {
        if (!m_current) {
            m_current = takeFirst();
        }
        return *m_current;
    }

    std::unique_ptr<End> takeFirst()
    {
        const auto first = m_commands.begin();
        Command command = std::move(first->second);
        m_commands.erase(first);
        auto result = resultOf(command);
        return std::make_unique<End>(m_host, std::move(command), std::move(result));
    }

    typename Command::Result resultOf(Command &command) const
    {
        typename Command::Result result;
        result.outcome = m_outcome;
        result.reason = m_reason;
        return closeHistory(command, std::move(result), m_endedAt);
    }

    Host *const m_host;
    std::map<Ticket, Command> m_commands;
    std::unique_ptr<End> m_current; ///< the next one, once something of it has been asked
    const Outcome m_outcome;
    const QString m_reason;
    const TimePoint m_endedAt = Clock::now();
};

} // namespace biz::host

#endif
