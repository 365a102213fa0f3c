#ifndef BIZ_HOST_STATISTICS_P_H
#define BIZ_HOST_STATISTICS_P_H

#include <mutex>

#include <QtCore/QDateTime>

#include <commands/counters_p.h>

namespace biz::host {

/** The counters of a host or a device while they are counted; who shares them guards them. */
class Statistics : public Counters
{
public:
    void setWaiting(int waiting)
    {
        queueLength = waiting;
        queueLengthMax = std::max(queueLengthMax, waiting);
    }

    void noteSeen() { lastSeenUtcMs = QDateTime::currentMSecsSinceEpoch(); }

    void noteRejected(const QString &rule)
    {
        ++rejected;
        // A device type that is changed again and again brings ever more rules.
        const bool hasRoom = rejectedByRule.contains(rule) || rejectedByRule.size() < maxRejectedRules - 1;
        ++rejectedByRule[hasRoom ? rule : QStringLiteral("other rules")];
    }

    void noteRefused(int bytes)
    {
        ++refusedFrames;
        refusedBytes += static_cast<quint64>(bytes);
    }

    void noteRoundTrip(double ms) { roundTrips.add(ms); }

    /** All of it as it stands. */
    Counters snapshot() const
    {
        Counters copy = *this;
        sumUpRoundTrips(copy);
        return copy;
    }
};

/**
 * A host's totals, and the shares of its devices, which others own. They are counted on the host's
 * thread and copied on any.
 */
class SharedStatistics
{
public:
    /** `change` gets the totals, and the share if there is one, under the lock: it counts, and nothing else. */
    template<typename Change>
    void count(Statistics *share, const Change &change)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        change(m_totals);
        if (share != nullptr) {
            change(*share);
        }
    }

    void setWaiting(Statistics *share, int waitingInShare, int waiting)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_totals.setWaiting(waiting);
        if (share != nullptr) {
            share->setWaiting(waitingInShare);
        }
    }

    Counters totals() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_totals.snapshot();
    }

    /** Runs `call` under the lock, which guards the shares as well. */
    template<typename Call>
    auto locked(const Call &call) const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return call();
    }

private:
    mutable std::mutex m_mutex;
    Statistics m_totals;
};

} // namespace biz::host

#endif
