#ifndef BIZ_HOST_COUNTERS_P_H
#define BIZ_HOST_COUNTERS_P_H

#include <host/counters.h>
#include <host/vocabulary.h>

namespace biz::host {

using Counter = quint64 Counters::*;

/** What the histogram comes to, in the fields that tell it. */
void sumUpRoundTrips(Counters &counters);

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
    case Outcome::Stopped:
        return &Counters::stopped;
    case Outcome::Released:
        return &Counters::released;
    case Outcome::Expired:
        return &Counters::expired;
    case Outcome::Superseded:
        return &Counters::superseded;
    case Outcome::Cancelled:
        return &Counters::cancelled;
    case Outcome::Unreachable:
        return &Counters::unreachable;
    case Outcome::Interrupted:
        return &Counters::interrupted;
    }
    Q_UNREACHABLE();
}

} // namespace biz::host

#endif
