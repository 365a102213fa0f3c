#ifndef BIZ_HOST_JOINT_END_P_H
#define BIZ_HOST_JOINT_END_P_H

#include <map>
#include <memory>
#include <utility>

#include <host/command_result.h>
#include <loops/host_clock_p.h>

namespace biz::host {

/** Notes the end in a command's history and makes its result of what both channels' results have in common. */
template<typename Result, typename Command>
Result closeHistory(Command &command, Result result, TimePoint at = Clock::now())
{
    result.attempts = command.attempts;
    command.history.note(outcomeName(result.outcome) + QStringLiteral(": ") + result.reason, at);
    result.history = command.history.events();
    return result;
}

/**
 * Commands that waited and end together, however many they are, at no cost for each: what
 * each is told is made when it is told.
 */
template<typename Command, typename Result>
class JointEnd
{
public:
    JointEnd(std::map<quint32, Command> commands, Outcome outcome, QString reason)
        : m_commands(std::make_shared<std::map<quint32, Command>>(std::move(commands)))
        , m_outcome(outcome)
        , m_reason(std::move(reason))
    {
    }

    std::size_t size() const { return m_commands->size(); }

    /** The oldest of those that have not been told. */
    Command takeNext() const
    {
        const auto first = m_commands->begin();
        Command command = std::move(first->second);
        m_commands->erase(first);
        return command;
    }

    Result resultOf(Command &command) const
    {
        Result result;
        result.outcome = m_outcome;
        result.reason = m_reason;
        return closeHistory(command, std::move(result), m_endedAt);
    }

private:
    std::shared_ptr<std::map<quint32, Command>> m_commands;
    Outcome m_outcome;
    QString m_reason;
    TimePoint m_endedAt = Clock::now();
};

} // namespace biz::host

#endif
