#ifndef BIZ_HISTORY_TALLY_H
#define BIZ_HISTORY_TALLY_H

#include <QtCore/QtGlobal>

namespace biz::history {

struct Command;
struct Device;
struct Incident;

/** The commands of a device by what became of them, and the replies that came beside the way. */
struct Tally
{
    quint64 commands = 0;
    quint64 answered = 0;
    quint64 resent = 0;
    quint64 givenUp = 0;
    quint64 unreachable = 0;
    quint64 notEnded = 0;
    quint64 others = 0; ///< cleared, skipped, stopped and the like: what the host itself wanted
    quint64 late = 0;
    quint64 duplicate = 0;
    quint64 foreign = 0;

    void count(const Command &command);
    void count(const Incident &incident);
};

Tally &operator+=(Tally &total, const Tally &share);

/** Of the commands and incidents that the history holds. */
Tally tallyOf(const Device &device);

} // namespace biz::history

#endif
