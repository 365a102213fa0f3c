#ifndef BIZ_HOST_COUNTERS_H
#define BIZ_HOST_COUNTERS_H

#include <array>
#include <cstddef>

#include <QtCore/QMap>
#include <QtCore/QString>

#include <host/host_export.h>
#include <host/round_trips.h>

namespace biz::host {

/** The rules that are counted one by one; what breaks further ones is counted together. */
constexpr int maxRejectedRules = 64;

/** Totals since the host was made: a plain copy of one moment. */
struct Counters
{
    quint64 enqueued = 0;
    quint64 sent = 0;   ///< first copies that were written
    quint64 resent = 0; ///< second copies that were written

    // One for each Outcome; `enqueued` is their sum and the number of commands that have not ended.
    quint64 answered = 0;
    quint64 gaveUp = 0;
    quint64 cleared = 0;
    quint64 skipped = 0;
    quint64 stopped = 0;
    quint64 released = 0;
    quint64 expired = 0;
    quint64 superseded = 0;
    quint64 cancelled = 0;
    quint64 unreachable = 0;
    quint64 interrupted = 0;

    quint64 rejected = 0;      ///< replies to a command in flight that broke their rule
    quint64 late = 0;          ///< replies to a command that had ended without one
    quint64 duplicate = 0;     ///< replies to a command that had been answered
    quint64 foreign = 0;       ///< replies to no command of this host, or of an unknown sender
    quint64 dropped = 0;       ///< replies that the channel's receive loop had no time for
    quint64 overflowed = 0;    ///< datagrams that the system dropped since they were not read in time
    quint64 refusedBytes = 0;  ///< received bytes that belonged to no valid frame
    quint64 refusedFrames = 0; ///< things that the decoder refused
    quint64 bytesOut = 0;
    quint64 bytesIn = 0;
    QMap<QString, quint64> rejectedByRule; ///< by code and rule: "F1/08: index at most 15..."
    int queueLength = 0;                   ///< commands that wait now
    int queueLengthMax = 0;                ///< the most that ever waited
    qint64 lastSeenUtcMs = 0;              ///< when last heard of, in ms since 1970; 0: never

    // Negative before the first answer. Median and p99 are within 2.2 %, the others exact.
    double roundTripMinMs = -1.0;
    double roundTripMedianMs = -1.0;
    double roundTripP99Ms = -1.0;
    double roundTripMaxMs = -1.0;

    RoundTrips roundTrips; ///< the histogram that these are taken from
};

/**
 * Puts the totals of two hosts or devices together: percentiles are those of all their round trips, and
 * `queueLengthMax` is the greater one.
 */
BIZ_HOST_EXPORT Counters &operator+=(Counters &total, const Counters &share);

/** One total of Counters: its name as JSON and metrics have it, and where it is. */
struct CounterRow
{
    const char *name;
    quint64 Counters::*value;
};

/** Every total, in its order. What prints or adds totals goes through this table. */
constexpr std::array<CounterRow, 24> counterRows{{
    {"enqueued", &Counters::enqueued},
    {"sent", &Counters::sent},
    {"resent", &Counters::resent},
    {"answered", &Counters::answered},
    {"gaveUp", &Counters::gaveUp},
    {"cleared", &Counters::cleared},
    {"skipped", &Counters::skipped},
    {"stopped", &Counters::stopped},
    {"released", &Counters::released},
    {"expired", &Counters::expired},
    {"superseded", &Counters::superseded},
    {"cancelled", &Counters::cancelled},
    {"unreachable", &Counters::unreachable},
    {"interrupted", &Counters::interrupted},
    {"rejected", &Counters::rejected},
    {"late", &Counters::late},
    {"duplicate", &Counters::duplicate},
    {"foreign", &Counters::foreign},
    {"dropped", &Counters::dropped},
    {"overflowed", &Counters::overflowed},
    {"refusedBytes", &Counters::refusedBytes},
    {"refusedFrames", &Counters::refusedFrames},
    {"bytesOut", &Counters::bytesOut},
    {"bytesIn", &Counters::bytesIn},
}};
static_assert(offsetof(Counters, rejectedByRule) == counterRows.size() * sizeof(quint64),
              "a total was added to Counters and not to its table");

} // namespace biz::host

#endif
