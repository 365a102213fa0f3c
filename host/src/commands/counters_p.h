#ifndef BIZ_HOST_COUNTERS_P_H
#define BIZ_HOST_COUNTERS_P_H

#include <host/command_result.h>

namespace biz::host {

using Counter = quint64 Counters::*;

/** The counter of an outcome. */
inline Counter counterOf(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Answered:
        return &Counters::answered;
    case Outcome::GaveUp:
        return &Counters::gaveUp;
    case Outcome::Cleared:
        return &Counters::cleared;
    case Outcome::Skipped:
        return &Counters::skipped;
    case Outcome::Released:
        return &Counters::released;
    case Outcome::Stopped:
        break;
    }
    return &Counters::stopped;
}

} // namespace biz::host

#endif
