#ifndef BIZ_KIT_SEEDS_TOTALS_H
#define BIZ_KIT_SEEDS_TOTALS_H

#include <array>

#include <kit_seeds/model/clock.h>
#include <kit_seeds/model/ledger.h>
#include <kit_seeds/model/violation.h>

#include <host/counters.h>

namespace biz::kit_seeds {

/** The sum of all ends. */
quint64 endsOf(const host::Counters &counters);

/** What one host was seen to do, counted again, and that its own totals say the same. */
class Totals
{
public:
    explicit Totals(Violation *violation)
        : m_violation(violation)
    {
    }

    void noteWrite(bool isFirst, int bytes);
    void noteReceived(int bytes, bool isFromKnown);
    void noteReply() { ++m_replies; }
    void noteRefused(int bytes);

    /** Replies that were on their way through a channel which was stopped, or is asked otherwise: at most so many. */
    void noteRepliesLost(int most) { m_repliesLost += most; }

    void toldSent() { ++m_toldSent; }
    void toldEnd(const ToldEnd &end);
    void toldRejected() { ++m_toldRejected; }
    void toldLate() { ++m_toldLate; }
    void toldDuplicate() { ++m_toldDuplicate; }
    void toldForeign() { ++m_toldForeign; }

    /** Any time. `underWay`: replies that the host has not made up its mind about. */
    void check(const host::Counters &counters, int given, int pending, int waiting, int underWay);

private:
    void checkTold(const host::Counters &counters);
    void checkReplies(const host::Counters &counters, int underWay);

    Violation *m_violation;
    quint64 m_sent = 0;
    quint64 m_resent = 0;
    quint64 m_bytesOut = 0;
    quint64 m_bytesIn = 0;
    quint64 m_refused = 0;
    quint64 m_refusedBytes = 0;
    quint64 m_replies = 0;
    int m_repliesLost = 0;
    int m_mostWaiting = 0;
    qint64 m_seenUtcMs = 0;
    std::array<quint64, 11> m_ends{}; ///< by outcome
    quint64 m_toldSent = 0;
    quint64 m_toldRejected = 0;
    quint64 m_toldLate = 0;
    quint64 m_toldDuplicate = 0;
    quint64 m_toldForeign = 0;
    double m_shortestMs = -1.0;
    double m_longestMs = -1.0;
    quint64 m_due = 0;           ///< so much had been counted...
    nanoseconds m_dueAt = never; ///< ...then, and has to be told soon
};

} // namespace biz::kit_seeds

#endif
