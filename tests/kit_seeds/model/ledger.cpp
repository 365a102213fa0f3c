#include <kit_seeds/model/ledger.h>

#include <algorithm>
#include <cmath>

#include <kit_seeds/model/journal.h>

namespace biz::kit_seeds {

using host::Outcome;
using host::Ticket;
using namespace std::chrono_literals;

namespace {

constexpr int bytesOfMark = 8;

/** From the hand-over to the write, when the thread has time: a pass of the send loop, or one in the midst of a resend.
 */
constexpr nanoseconds takeLag = 40ms;

/** A good reply that comes so shortly before the end of a wait may be too late for it. */
constexpr nanoseconds acceptLag = 100ms;

/** A command's bytes must not reach the device later than this after its end. */
constexpr nanoseconds staleAfter = 300ms;

/** Beside the longest that a command may be under way. */
constexpr nanoseconds endLag = 300ms;

unsigned bitOf(Outcome outcome)
{
    return 1U << static_cast<unsigned>(outcome);
}

} // namespace

Ledger::Ledger(const ChannelHabits &habits, Violation *violation)
    : m_habits(habits)
    , m_violation(violation)
{
}

QByteArray Ledger::nextMark()
{
    return QByteArray::number(++m_marks, 16).rightJustified(bytesOfMark, '0');
}

void Ledger::look(quint64 endsCounted, bool isLost, bool isFailingFast)
{
    m_counted = endsCounted;
    m_violation->require(hidden() >= 0, "more commands are over than are counted");
    if (isLost) {
        m_lostAt = now();
    }
    if (isLost && isFailingFast) {
        m_failingFastAt = now();
    }
}

Ledger::Entry *Ledger::find(const QByteArray &payload, Ticket *ticket)
{
    const auto known = m_ticketOf.find(payload.left(bytesOfMark));
    if (known == m_ticketOf.end()) {
        return nullptr;
    }
    *ticket = known->second;
    return &m_entries.at(*ticket);
}

// --- What the application did -----------------------------------------------------------------

void Ledger::given(Ticket ticket, const Given &given, int superseded, bool isOver, Outcome outcome)
{
    require(ticket != 0, ticket, "was refused");
    require(m_entries.count(ticket) == 0, ticket, "has the ticket of another");
    journal.tell("%llu given, wait %lld ms, valid for %lld ms, key \"%s\"%s, superseded %d%s", ticket,
                 static_cast<long long>(given.wait.count()), static_cast<long long>(given.options.validFor.count()),
                 qPrintable(given.options.replaceKey), given.options.urgent ? ", urgent" : "", superseded,
                 isOver ? ", ended at once" : "");
    Entry &entry = m_entries[ticket];
    entry.given = given;
    entry.at = now();
    entry.isNothingAhead = isNothingAhead(given.lane);
    m_ticketOf[given.mark] = ticket;
    m_live.insert(ticket);
    ++m_untold;
    if (isOver) {
        require(superseded == 0, ticket, "has taken a place, and did not wait itself");
        m_orders[given.lane].add(ticket, given.options);
        close(ticket, entry, outcome);
    } else {
        enterOrder(ticket, entry, superseded);
    }
}

/** Nothing is given to the channel while a command is in flight; but for those that leave without a gate. */
bool Ledger::isNothingAhead(const QString &lane) const
{
    const auto mayBeAhead = [&](Ticket ticket) {
        const Entry &entry = m_entries.at(ticket);
        return entry.given.lane == lane && mayBePipelined(entry.at);
    };
    return hidden() == 0 && inFlight(&lane) > 0 && std::none_of(m_live.begin(), m_live.end(), mayBeAhead);
}

/** Of those that wait with its key, the newest has been replaced, unless the channel has it already. */
void Ledger::enterOrder(Ticket ticket, Entry &entry, int superseded)
{
    Order &order = m_orders[entry.given.lane];
    const auto candidates = order.withKey(entry.given.options.replaceKey);
    require(superseded <= 1, ticket, "took the place of several");
    require(superseded == 0 || !candidates.empty(), ticket, "took the place of one that did not wait with its key");
    // Of several, all but the newest are with the channel, unless one has come back from it.
    const bool isSure = candidates.size() == 1 || (!candidates.empty() && !wasHinderedSince(candidates.front()));
    if (superseded == 1 && isSure) {
        const Ticket older = candidates.back();
        entry.hasSurePlace = m_entries.at(older).hasSurePlace;
        order.replace(older, ticket, entry.given.options);
        m_entries.at(older).supersededBy = ticket;
        close(older, m_entries.at(older), Outcome::Superseded);
        return;
    }
    entry.hasSurePlace = superseded == 0;
    if (superseded == 0 && !candidates.empty() && m_entries.at(candidates.back()).hasSurePlace) {
        const int most = mayBePipelined(m_entries.at(candidates.back()).at) ? m_habits.mostAhead : 1;
        const bool mayBeAhead = !entry.isNothingAhead || wasHinderedSince(candidates.front());
        require(mayBeAhead && order.olderAheadOf(candidates.back()) < most + hidden(), ticket,
                "did not take the place of the one with its key");
    }
    order.add(ticket, entry.given.options);
}

bool Ledger::wasHinderedSince(Ticket ticket) const
{
    return std::max(m_hinderedAt, m_lostAt) >= m_entries.at(ticket).at;
}

void Ledger::cancelled(Ticket ticket, bool isTaken)
{
    journal.tell("%llu cancelled: %s", ticket, isTaken ? "yes" : "no");
    if (!isTaken) {
        require(!isOpen(ticket) || hidden() > 0, ticket, "could not be cancelled, and has not ended");
        return;
    }
    require(isOpen(ticket), ticket, "was cancelled after its end");
    close(ticket, m_entries[ticket], Outcome::Cancelled);
}

void Ledger::endAll(Outcome outcome, const QString *lane)
{
    journal.tell("all end: %s", qPrintable(host::outcomeName(outcome)));
    for (const Ticket ticket : open()) {
        Entry &entry = m_entries.at(ticket);
        if (lane == nullptr || entry.given.lane == *lane) {
            close(ticket, entry, outcome);
        }
    }
}

void Ledger::endUnwritten(Outcome outcome)
{
    for (const Ticket ticket : open()) {
        Entry &entry = m_entries.at(ticket);
        if (entry.writes == 0) {
            close(ticket, entry, outcome);
        }
    }
}

void Ledger::close(Ticket ticket, Entry &entry, Outcome outcome)
{
    entry.possible |= bitOf(outcome);
    leave(ticket, entry);
}

void Ledger::leave(Ticket ticket, Entry &entry)
{
    if (entry.isOver()) {
        return;
    }
    entry.over = now();
    m_orders[entry.given.lane].remove(ticket);
    m_live.erase(ticket);
    m_lastOver = ticket;
    ++m_over;
}

void Ledger::setPipelined(bool on)
{
    if (m_isPipelined && !on) {
        m_pipelinedUntil = now();
    }
    if (!m_isPipelined && on) {
        m_pipelinedSince = now();
    }
    m_isPipelined = on;
}

/** The channel has closed no gate for it. */
bool Ledger::isSurelyPipelined(const Entry &entry) const
{
    const nanoseconds from = m_pipelinedSince + takeLag;
    return m_isPipelined && entry.firstWrite > from && !busyTimes.overlap(m_pipelinedSince, from);
}

/** A command that was given, or written, then may have left beside others. */
bool Ledger::mayBePipelined(nanoseconds at) const
{
    return m_isPipelined || at <= m_pipelinedUntil + takeLag ||
           busyTimes.overlap(m_pipelinedUntil, m_pipelinedUntil + takeLag);
}

// --- Writes -----------------------------------------------------------------------------------

void Ledger::written(const QByteArray &payload, const QString &lane, quint8 sequence)
{
    ++m_writes;
    Ticket ticket = 0;
    Entry *const entry = find(payload, &ticket);
    if (entry == nullptr) {
        m_violation->note("something was written that nobody gave");
        return;
    }
    journal.tell("%llu written, sequence byte %d", ticket, int{sequence});
    require(entry->given.lane == lane, ticket, "was written to another device");
    require(!entry->isOver(), ticket, "was written after its end");
    require(entry->writes < m_habits.copies, ticket, "was written once too often");
    if (entry->writes == 0) {
        checkFirstWrite(ticket, *entry);
        entry->firstWrite = now();
        entry->sequence = sequence;
        m_orders[lane].remove(ticket);
    } else {
        checkSecondWrite(ticket, *entry);
        require(entry->sequence == sequence, ticket, "was written anew with another sequence byte");
    }
    ++entry->writes;
    entry->lastWrite = now();
}

void Ledger::checkFirstWrite(Ticket ticket, Entry &entry)
{
    const auto &options = entry.given.options;
    require(options.validFor.count() == 0 || now() - entry.at < options.validFor + 1ms, ticket,
            "was written when it was not valid any more");
    const auto inItsWay = std::count_if(m_live.begin(), m_live.end(), [&](Ticket other) {
        const Entry &before = m_entries.at(other);
        return before.writes > 0 && before.given.lane == entry.given.lane && !mayBePipelined(before.firstWrite);
    });
    require(inItsWay <= hidden() || mayBePipelined(now()), ticket, "was written beside another in flight");
    if (!entry.isOver()) {
        checkTurn(ticket, entry);
    }
}

/** What was given to the channel before an urgent command came is written before it, and nothing else. */
void Ledger::checkTurn(Ticket ticket, const Entry &entry)
{
    const Order &order = m_orders[entry.given.lane];
    const auto ahead = order.aheadOf(ticket);
    const auto sure =
        std::count_if(ahead.begin(), ahead.end(), [this](Ticket other) { return m_entries.at(other).hasSurePlace; });
    require(sure <= hidden() || !entry.hasSurePlace, ticket, "was written before one whose turn it was");
    for (const Ticket urgent : order.urgentBefore(ticket)) {
        Entry &overtaken = m_entries.at(urgent);
        const bool isUnsure = !entry.hasSurePlace || !overtaken.hasSurePlace || hidden() > 0;
        const bool wasAhead = urgent > ticket;
        const int mostUsually = overtaken.isNothingAhead ? 0 : 1;
        const int most = mayBePipelined(entry.at) ? m_habits.mostAhead : mostUsually;
        ++overtaken.overtaken;
        require((wasAhead && overtaken.overtaken <= most) || isUnsure || wasHinderedSince(urgent), ticket,
                "was written before one that is urgent");
    }
}

void Ledger::checkSecondWrite(Ticket ticket, const Entry &entry)
{
    // One that comes in the same moment is looked at after what the channel has announced.
    require(entry.goodReply == never || entry.goodReply == now(), ticket, "was written anew though its reply had come");
    require(!isSurelyPipelined(entry), ticket, "was written anew though no gate is closed");
    require(now() > entry.firstWrite, ticket, "was written twice at once");
    const nanoseconds least = m_habits.soonestGiveUp(entry.given.wait) / m_habits.copies;
    require(now() - entry.firstWrite + takeLag >= least || busyTimes.overlap(entry.firstWrite - takeLag, now()), ticket,
            "was written anew before its time");
}

void Ledger::noteRefused(const QByteArray &payload)
{
    Ticket ticket = 0;
    if (Entry *const entry = find(payload, &ticket)) {
        entry->isRefused = true;
    }
}

void Ledger::delivered(const QByteArray &payload)
{
    Ticket ticket = 0;
    const Entry *const entry = find(payload, &ticket);
    if (entry == nullptr) {
        return; // of a former host, or of bytes that were damaged
    }
    require(!entry->isOver() || now() - entry->over <= staleAfter || busyTimes.since(entry->over), ticket,
            "reached its device long after its end");
}

bool Ledger::replied(const QByteArray &payload, quint8 sequence)
{
    Ticket ticket = 0;
    Entry *const entry = find(payload, &ticket);
    const bool isFirst = entry != nullptr && !entry->isOver() && entry->writes > 0 && entry->sequence == sequence &&
                         entry->goodReply == never;
    if (isFirst) {
        journal.tell("%llu has its reply", ticket);
        entry->goodReply = now();
    }
    return isFirst;
}

// --- What is told -----------------------------------------------------------------------------

void Ledger::toldSent(Ticket ticket, int attempt)
{
    Entry &entry = m_entries[ticket];
    ++entry.sentTold;
    require(entry.sentTold == attempt && attempt <= entry.writes, ticket, "was said to be sent, and was not");
    require(entry.callbacks == 0 && entry.ends == 0, ticket, "was said to be sent after its end");
}

void Ledger::toldCallback(const ToldEnd &end)
{
    journal.tell("%llu ended: %s: %s", end.ticket, qPrintable(host::outcomeName(end.outcome)), qPrintable(end.reason));
    Entry &entry = m_entries[end.ticket];
    ++entry.callbacks;
    require(entry.callbacks == 1, end.ticket, "ended twice for its callback");
    const bool wasGood = m_violation->isEmpty();
    checkOutcome(entry, end);
    if (wasGood && !m_violation->isEmpty()) {
        m_violation->append(" - " + end.reason.toStdString());
    }
    leave(end.ticket, entry);
}

void Ledger::toldEnd(const ToldEnd &end)
{
    Entry &entry = m_entries[end.ticket];
    ++entry.ends;
    require(entry.ends == 1, end.ticket, "ended twice");
    require(entry.callbacks == 1, end.ticket, "was told to all before its own callback");
    m_untold -= entry.ends == 1 ? 1 : 0;
    leave(end.ticket, entry);
}

void Ledger::checkOutcome(const Entry &entry, const ToldEnd &end)
{
    const Ticket ticket = end.ticket;
    require(end.attempts >= entry.writes, ticket, "was written more often than its end tells");
    const bool isBroughtAbout = (entry.possible & bitOf(end.outcome)) != 0;
    switch (end.outcome) {
    case Outcome::Answered:
        checkAnswer(entry, end);
        break;
    case Outcome::GaveUp:
        checkGiveUp(entry, end);
        break;
    case Outcome::Cleared:
    case Outcome::Skipped:
    case Outcome::Stopped:
    case Outcome::Cancelled:
        require(isBroughtAbout, ticket, "ended by what nobody did");
        break;
    case Outcome::Released:
        require(entry.writes == 1 && mayBePipelined(entry.firstWrite), ticket, "was released from no gate");
        require(now() - entry.firstWrite + takeLag >= entry.given.wait ||
                    busyTimes.overlap(entry.firstWrite - takeLag, now()),
                ticket, "was released before its time");
        require(entry.goodReply == never || now() - entry.goodReply < acceptLag || busyTimes.since(entry.goodReply),
                ticket, "was released though its reply had come");
        break;
    case Outcome::Expired:
        require(entry.writes == 0, ticket, "expired after it had been written");
        require(entry.given.options.validFor.count() > 0 && now() - entry.at >= entry.given.options.validFor, ticket,
                "expired before its time");
        break;
    case Outcome::Superseded:
        checkSupersession(entry, end);
        break;
    case Outcome::Unreachable:
        require(entry.writes > 0 ? m_lostAt >= entry.firstWrite : m_failingFastAt >= entry.at, ticket,
                "was unreachable without a loss");
        break;
    case Outcome::Interrupted:
        require(false, ticket, "was interrupted by no process");
        break;
    }
    const unsigned cancelled = bitOf(Outcome::Cancelled);
    require((entry.possible & cancelled) == 0 || end.outcome == Outcome::Cancelled, ticket,
            "was cancelled and ended otherwise");
}

void Ledger::checkAnswer(const Entry &entry, const ToldEnd &end)
{
    constexpr double exactly = 0.01;
    require(entry.writes > 0, end.ticket, "was answered and never written");
    require(end.reply.startsWith(entry.given.mark), end.ticket, "was answered by the reply to another");
    require(entry.goodReply != never, end.ticket, "was answered by no good reply");
    const double roundTripMs = std::chrono::duration<double, std::milli>(entry.goodReply - entry.lastWrite).count();
    require(std::abs(roundTripMs - end.roundTripMs) < exactly, end.ticket, "has another round trip");
}

void Ledger::checkGiveUp(const Entry &entry, const ToldEnd &end)
{
    const bool wasBusy = busyTimes.overlap(entry.at, now());
    // The channel gives a command up as soon as it looks when its wait counts as none.
    const bool hasWait = m_habits.soonestGiveUp(entry.given.wait) > nanoseconds::zero();
    const bool wasHindered = wasBusy || m_hinderedAt >= entry.at || !hasWait;
    require(entry.writes > 0 || wasHindered, end.ticket, "was given up and never written");
    require(entry.writes == m_habits.copies || wasHindered, end.ticket, "was given up without another copy");
    require(entry.writes == 0 || wasBusy ||
                now() - entry.firstWrite + takeLag >= m_habits.soonestGiveUp(entry.given.wait),
            end.ticket, "was given up before its time");
    require(entry.goodReply == never || wasHindered || now() - entry.goodReply < acceptLag, end.ticket,
            "was given up though its reply had come");
}

void Ledger::checkSupersession(const Entry &entry, const ToldEnd &end)
{
    require(entry.writes == 0, end.ticket, "was superseded after it had been written");
    require(entry.supersededBy == 0 || entry.supersededBy == end.supersededBy, end.ticket,
            "was superseded by another than the one that took its place");
    const auto newer = m_entries.find(end.supersededBy);
    require(newer != m_entries.end() && end.supersededBy > end.ticket &&
                newer->second.given.options.replaceKey == entry.given.options.replaceKey &&
                newer->second.given.lane == entry.given.lane,
            end.ticket, "was superseded by one without its key");
}

// --- What must hold at any time ---------------------------------------------------------------

void Ledger::check()
{
    int overdue = 0;
    Ticket which = 0;
    for (const Ticket ticket : m_live) {
        const Entry &entry = m_entries.at(ticket);
        const nanoseconds since = std::max(entry.lastWrite, busyTimes.last());
        if (entry.writes > 0 && now() - since > m_habits.latestEnd(entry.given.wait) + endLag) {
            ++overdue;
            which = ticket;
        }
    }
    require(overdue <= hidden(), which, "is under way for too long");
}

void Ledger::closeBook()
{
    for (const auto &[ticket, entry] : m_entries) {
        require(entry.callbacks == 1, ticket, "has no end");
    }
    m_entries.clear();
    m_ticketOf.clear();
    m_orders.clear();
    m_live.clear();
    m_lastOver = 0;
    m_over = 0;
    m_untold = 0;
    m_counted = 0;
    setPipelined(false);
}

QVector<Ticket> Ledger::open() const
{
    QVector<Ticket> tickets;
    for (const Ticket ticket : m_live) {
        tickets.append(ticket);
    }
    return tickets;
}

bool Ledger::mayBePipelined(const QByteArray &payload) const
{
    const auto known = m_ticketOf.find(payload.left(bytesOfMark));
    return known == m_ticketOf.end() || mayBePipelined(m_entries.at(known->second).at);
}

bool Ledger::isUnwritten(const QByteArray &payload) const
{
    const auto known = m_ticketOf.find(payload.left(bytesOfMark));
    return known != m_ticketOf.end() && m_entries.at(known->second).writes == 0;
}

int Ledger::refused() const
{
    return static_cast<int>(
        std::count_if(m_live.begin(), m_live.end(), [this](Ticket ticket) { return m_entries.at(ticket).isRefused; }));
}

int Ledger::inFlight(const QString *lane) const
{
    return static_cast<int>(std::count_if(m_live.begin(), m_live.end(), [this, lane](Ticket ticket) {
        const Entry &entry = m_entries.at(ticket);
        return entry.writes > 0 && (lane == nullptr || entry.given.lane == *lane);
    }));
}

} // namespace biz::kit_seeds
