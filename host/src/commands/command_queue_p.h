#ifndef BIZ_HOST_COMMAND_QUEUE_P_H
#define BIZ_HOST_COMMAND_QUEUE_P_H

#include <map>
#include <optional>
#include <utility>

#include <QtCore/QHash>
#include <QtCore/QString>

#include <host/vocabulary.h>

namespace biz::host {

/**
 * The commands that wait for one device: urgent ones first, each kind in order, at most one for each
 * replace key. A call takes no longer the more commands wait, but for the logarithm of their number.
 */
template<typename Command>
class CommandQueue
{
public:
    using Commands = std::map<Ticket, Command>; ///< by position

    bool isEmpty() const { return m_urgent.empty() && m_others.empty(); }
    int size() const { return static_cast<int>(m_urgent.size() + m_others.size()); }

    /**
     * Adds a command, in the place of the one with the same replace key if there is one, which is
     * returned. Only a command that is more urgent than the one it replaces has a place of its own.
     */
    std::optional<Command> push(Command command)
    {
        std::optional<Command> replaced = takeReplaced(command.options.replaceKey);
        command.position = command.ticket;
        if (replaced && (replaced->options.urgent || !command.options.urgent)) {
            command.options.urgent = replaced->options.urgent;
            command.position = replaced->position;
        }
        insert(std::move(command));
        return replaced;
    }

    /** Two commands of one replace key, of which the newer one waits. */
    struct Replacement
    {
        Command older;
        Ticket newer = 0;
    };

    /**
     * Back to where it was taken from. Of it and of one with its key that waits, the newer waits on, and the older is
     * returned: several of one key may have been taken, and come back in any order.
     */
    std::optional<Replacement> putBack(Command command)
    {
        const Ticket ticket = command.ticket;
        const Ticket waiting = m_tickets.value(command.options.replaceKey, 0);
        if (waiting > ticket) {
            return Replacement{std::move(command), waiting};
        }
        std::optional<Command> replaced = takeReplaced(command.options.replaceKey);
        insert(std::move(command));
        return replaced ? std::optional(Replacement{std::move(*replaced), ticket}) : std::nullopt;
    }

    /** Whether a command waits, as urgent as this one, that stood before it: it was put back. */
    bool hasOlder(const Command &command) const
    {
        const Commands &commands = command.options.urgent ? m_urgent : m_others;
        return !commands.empty() && commands.begin()->first < command.position;
    }

    /** The next command; the queue must not be empty. */
    Command takeFirst()
    {
        Commands &commands = m_urgent.empty() ? m_others : m_urgent;
        return takeAt(commands, commands.begin());
    }

    /** A command by its ticket; none when it does not wait here. */
    std::optional<Command> take(Ticket ticket)
    {
        const Ticket position = m_positions.value(ticket, ticket);
        for (Commands *commands : {&m_urgent, &m_others}) {
            const auto found = commands->find(position);
            if (found != commands->end() && found->second.ticket == ticket) {
                return takeAt(*commands, found);
            }
        }
        return std::nullopt;
    }

    /** Takes all of them, at no cost for each: the urgent ones and the others. */
    std::pair<Commands, Commands> takeAll()
    {
        m_tickets.clear();
        m_positions.clear();
        return {std::exchange(m_urgent, {}), std::exchange(m_others, {})};
    }

private:
    std::optional<Command> takeReplaced(const QString &key)
    {
        const Ticket waiting = key.isEmpty() ? 0 : m_tickets.value(key, 0);
        return waiting == 0 ? std::nullopt : take(waiting);
    }

    void insert(Command command)
    {
        if (!command.options.replaceKey.isEmpty()) {
            m_tickets.insert(command.options.replaceKey, command.ticket);
        }
        if (command.position != command.ticket) {
            m_positions.insert(command.ticket, command.position);
        }
        Commands &commands = command.options.urgent ? m_urgent : m_others;
        const Ticket position = command.position;
        // New commands come last, and the tree is told so.
        commands.emplace_hint(commands.end(), position, std::move(command));
    }

    Command takeAt(Commands &commands, typename Commands::iterator at)
    {
        Command command = std::move(at->second);
        commands.erase(at);
        if (!command.options.replaceKey.isEmpty()) {
            m_tickets.remove(command.options.replaceKey);
        }
        if (command.position != command.ticket) {
            m_positions.remove(command.ticket);
        }
        return command;
    }

    Commands m_urgent;
    Commands m_others;
    QHash<QString, Ticket> m_tickets;  ///< by replace key
    QHash<Ticket, Ticket> m_positions; ///< of those that stand in the place of another
};

} // namespace biz::host

#endif
