#ifndef BIZ_HOST_COUNTERS_P_H
#define BIZ_HOST_COUNTERS_P_H

#include <host/command_result.h>

namespace biz::host {

/** The counter of an outcome. */
inline quint64 &counterOf(Counters &counters, Outcome outcome)
{
    switch (outcome) {
    case Outcome::Answered:
        return counters.answered;
    case Outcome::GaveUp:
        return counters.gaveUp;
    case Outcome::Cleared:
        return counters.cleared;
    case Outcome::Skipped:
        return counters.skipped;
    case Outcome::Released:
        return counters.released;
    case Outcome::Stopped:
        break;
    }
    return counters.stopped;
}

} // namespace biz::host

#endif
