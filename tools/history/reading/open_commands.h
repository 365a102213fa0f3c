#ifndef BIZ_HISTORY_OPEN_COMMANDS_H
#define BIZ_HISTORY_OPEN_COMMANDS_H

#include <cstddef>

#include <QtCore/QHash>

#include <history/history.h>

namespace biz::history {

/** Where a command stands in a history. */
struct CommandPlace
{
    int device = 0;
    std::size_t command = 0;
};

/** The commands of the run that goes on, by their tickets. */
class OpenCommands
{
public:
    /** Null: none of this ticket is held. */
    const CommandPlace *find(quint64 ticket) const;

    void add(quint64 ticket, const CommandPlace &place);

    /** Whether the run has had any. */
    bool hadAny() const { return m_hadAny; }

    /**
     * Keeps the last commands of a device once twice as many are held. Those of the run stay until they have ended,
     * unless there are so many that their ends must have been lost.
     */
    void forgetEarly(Device &device, int place, std::size_t kept);

private:
    QHash<quint64, CommandPlace> m_places;
    bool m_hadAny = false;
};

} // namespace biz::history

#endif
