#include <kit_seeds/model/totals.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include <QtCore/QDateTime>

namespace biz::kit_seeds {

using namespace std::chrono_literals;
using host::Counters;
using host::Outcome;

namespace {

/** What is counted is told by an event of its own, which comes soon where the thread has time. */
constexpr nanoseconds tellLag = 100ms;

/** The total of each outcome, in the order of the enumeration. */
constexpr std::array<quint64 Counters::*, 11> totalsOfEnds{
    &Counters::answered,  &Counters::gaveUp,      &Counters::cleared,     &Counters::skipped,
    &Counters::stopped,   &Counters::released,    &Counters::expired,     &Counters::superseded,
    &Counters::cancelled, &Counters::unreachable, &Counters::interrupted,
};
static_assert(static_cast<std::size_t>(Outcome::Interrupted) + 1 == totalsOfEnds.size());

} // namespace

quint64 endsOf(const Counters &counters)
{
    return std::accumulate(totalsOfEnds.begin(), totalsOfEnds.end(), quint64{0},
                           [&counters](quint64 sum, auto total) { return sum + counters.*total; });
}

void Totals::noteWrite(bool isFirst, int bytes)
{
    ++(isFirst ? m_sent : m_resent);
    m_bytesOut += static_cast<quint64>(bytes);
}

void Totals::noteReceived(int bytes, bool isFromKnown)
{
    m_bytesIn += static_cast<quint64>(bytes);
    m_seenUtcMs = isFromKnown ? QDateTime::currentMSecsSinceEpoch() : m_seenUtcMs;
}

void Totals::noteRefused(int bytes)
{
    ++m_refused;
    m_refusedBytes += static_cast<quint64>(bytes);
}

void Totals::toldEnd(const ToldEnd &end)
{
    ++m_ends[static_cast<std::size_t>(end.outcome)];
    if (end.outcome == Outcome::Answered) {
        m_shortestMs = m_shortestMs < 0 ? end.roundTripMs : std::min(m_shortestMs, end.roundTripMs);
        m_longestMs = std::max(m_longestMs, end.roundTripMs);
    }
}

void Totals::check(const Counters &counters, int given, int pending, int waiting, int underWay)
{
    m_violation->require(counters.enqueued == static_cast<quint64>(given), "not what was given is counted");
    m_violation->require(counters.enqueued == endsOf(counters) + static_cast<quint64>(pending),
                         "the ends and what is pending are not what was given");
    m_violation->require(waiting >= 0 && waiting <= pending, "more wait than are pending");
    m_violation->require(counters.queueLength == waiting, "another number waits than is counted");
    m_mostWaiting = std::max(m_mostWaiting, waiting);
    m_violation->require(counters.queueLengthMax >= m_mostWaiting && counters.queueLengthMax <= given,
                         "the most that waited is wrong");
    m_violation->require(counters.sent == m_sent, "not what was written first is counted as sent");
    m_violation->require(counters.resent == m_resent, "not what was written anew is counted as resent");
    m_violation->require(counters.bytesOut == m_bytesOut, "other bytes went out than are counted");
    m_violation->require(counters.bytesIn == m_bytesIn, "other bytes came in than are counted");
    m_violation->require(counters.refusedFrames == m_refused && counters.refusedBytes == m_refusedBytes,
                         "other bytes were refused than are counted");
    m_violation->require(counters.roundTrips.count() == counters.answered, "answers have no round trip, or several");
    checkReplies(counters, underWay);
    checkTold(counters);
}

/** Each reply is one of these, or on its way to be. */
void Totals::checkReplies(const Counters &counters, int underWay)
{
    const auto known = static_cast<qint64>(counters.answered + counters.rejected + counters.late + counters.duplicate +
                                           counters.foreign) +
                       underWay;
    const auto replies = static_cast<qint64>(m_replies);
    m_violation->require(known <= replies, "a reply is counted twice");
    m_violation->require(known + m_repliesLost >= replies, "a reply is not counted");
    m_violation->require(counters.lastSeenUtcMs == m_seenUtcMs, "it was last seen at another time");
}

void Totals::checkTold(const Counters &counters)
{
    for (std::size_t outcome = 0; outcome < m_ends.size(); ++outcome) {
        m_violation->require(m_ends[outcome] <= counters.*totalsOfEnds[outcome],
                             "an end was told in another way than it is counted");
    }
    m_violation->require(m_toldRejected <= counters.rejected && m_toldLate <= counters.late &&
                             m_toldDuplicate <= counters.duplicate && m_toldForeign <= counters.foreign,
                         "a reply was told as another than it is counted");
    const quint64 told = m_toldSent + m_toldRejected + m_toldLate + m_toldDuplicate + m_toldForeign +
                         std::accumulate(m_ends.begin(), m_ends.end(), quint64{0});
    const quint64 counted = counters.sent + counters.resent + counters.rejected + counters.late + counters.duplicate +
                            counters.foreign + endsOf(counters);
    m_violation->require(told <= counted, "more is told than is counted");
    if (told >= m_due) {
        m_due = counted;
        m_dueAt = now();
    }
    m_violation->require(now() - std::max(m_dueAt, busyTimes.last()) <= tellLag, "what is counted has not been told");
    if (told == counted && counters.answered > 0) {
        constexpr double exactly = 0.01;
        m_violation->require(std::abs(counters.roundTripMinMs - m_shortestMs) < exactly &&
                                 std::abs(counters.roundTripMaxMs - m_longestMs) < exactly,
                             "the round trips are not those that were told");
    }
}

} // namespace biz::kit_seeds
