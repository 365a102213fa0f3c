#ifndef BIZ_HOST_STATISTICS_P_H
#define BIZ_HOST_STATISTICS_P_H

#include <QtCore/QDateTime>

#include <host/counters_p.h>
#include <host/round_trips_p.h>

namespace biz::host {

/** The counters of a host or a device while they are counted; on the host's thread only. */
class Statistics : public Counters
{
public:
    void noteWaiting(int waiting) { queueLengthMax = std::max(queueLengthMax, waiting); }

    void noteSeen() { lastSeenUtcMs = QDateTime::currentMSecsSinceEpoch(); }

    void noteRejected(const QString &rule)
    {
        ++rejected;
        // A device type that is changed again and again brings ever more rules.
        const bool hasRoom = rejectedByRule.contains(rule) || rejectedByRule.size() < maxRejectedRules - 1;
        ++rejectedByRule[hasRoom ? rule : QStringLiteral("other rules")];
    }

    void noteRoundTrip(double ms) { m_roundTrips.add(ms); }

    const RoundTrips &roundTrips() const { return m_roundTrips; }

    /** All of it as it stands. */
    Counters snapshot(int waiting) const
    {
        Counters copy = *this;
        copy.queueLength = waiting;
        if (m_roundTrips.max() >= 0.0) {
            copy.roundTripMinMs = m_roundTrips.min();
            copy.roundTripMedianMs = m_roundTrips.median();
            copy.roundTripP99Ms = m_roundTrips.percentile(99);
            copy.roundTripMaxMs = m_roundTrips.max();
        }
        return copy;
    }

private:
    RoundTrips m_roundTrips;
};

} // namespace biz::host

#endif
