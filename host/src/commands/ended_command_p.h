#ifndef BIZ_HOST_ENDED_COMMAND_P_H
#define BIZ_HOST_ENDED_COMMAND_P_H

#include <commands/counters_p.h>
#include <host_clock_p.h>

namespace biz::host {

/** What is remembered of an ended command, to tell its further replies apart. */
struct EndedCommand
{
    Ticket ticket = 0; ///< 0: there is none
    Outcome outcome = Outcome::Stopped;
    TimePoint endedAt;
};

/** What a reply is that belongs to no command in flight, but perhaps to an ended one. */
inline Counter counterOfUnmatched(const EndedCommand &ended)
{
    if (ended.ticket == 0) {
        return &Counters::foreign;
    }
    return ended.outcome == Outcome::Answered ? &Counters::duplicate : &Counters::late;
}

} // namespace biz::host

#endif
