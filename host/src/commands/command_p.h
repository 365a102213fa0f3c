#ifndef BIZ_HOST_COMMAND_P_H
#define BIZ_HOST_COMMAND_P_H

#include <memory>

#include <QtCore/QString>

#include <commands/command_history_p.h>
#include <commands/end_callback_p.h>
#include <host/command_options.h>
#include <host_clock_p.h>

namespace biz::host {

template<typename CommandOfChannel>
struct CommandLane;

/** A command of either channel from its enqueuing to its end. */
template<typename RecordOfChannel, typename ResultOfChannel>
struct Command
{
    using Record = RecordOfChannel;
    using Result = ResultOfChannel;

    Ticket ticket = 0;
    Ticket position = 0; ///< in its queue: its own ticket, or that of the first one which it replaced
    Record record;       ///< as the application gave it; with its sequence byte once that is known
    CommandOptions options;
    CommandHistory history;
    std::unique_ptr<EndCallback<Result>> callback; ///< null: nobody asked for one

    // Of a command that has been handed over to the channel.
    CommandLane<Command> *lane = nullptr;
    bool isTaken = false; ///< the channel has taken it for sending; until then it counts as waiting
    int attempts = 0;     ///< announcements so far
    TimePoint announcedAt{};
    bool isWritten = false;
    TimePoint writtenAt{};         ///< its last write
    bool isAnswerUnderWay = false; ///< an accepted reply is on its way through the channel
    QString lastProblem;           ///< what last went wrong with it, for the reason of a give-up

    bool isExpired(TimePoint now) const
    {
        using std::chrono::milliseconds;

        // In milliseconds: the longest validity does not fit into the finer unit of the clock.
        return options.validFor != milliseconds::zero() &&
               std::chrono::duration_cast<milliseconds>(now - history.enqueuedAt()) >= options.validFor;
    }
};

} // namespace biz::host

#endif
