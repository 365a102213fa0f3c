#include <kit_seeds/ledger.h>

namespace biz::kit_seeds {

namespace {

constexpr int bytesOfMark = 8;

quint64 sumOfEnds(const host::Counters &counters)
{
    return counters.answered + counters.gaveUp + counters.cleared + counters.skipped + counters.stopped +
           counters.released + counters.expired + counters.superseded + counters.cancelled + counters.unreachable +
           counters.interrupted;
}

} // namespace

nanoseconds now()
{
    return std::chrono::steady_clock::now().time_since_epoch();
}

QByteArray Ledger::nextMark()
{
    return QByteArray::number(++m_marks, 16).rightJustified(bytesOfMark, '0');
}

void Ledger::violate(const std::string &what)
{
    if (m_violation.empty()) {
        m_violation = what;
    }
}

void Ledger::require(bool holds, host::Ticket ticket, const char *what)
{
    if (!holds) {
        violate("command " + std::to_string(ticket) + ": " + what);
    }
}

void Ledger::given(host::Ticket ticket, const QByteArray &mark, const QString &device,
                   const host::CommandOptions &options)
{
    require(ticket != 0, ticket, "was refused");
    require(m_entries.count(ticket) == 0, ticket, "has the ticket of another");
    Entry entry;
    entry.mark = mark;
    entry.device = device;
    entry.options = options;
    entry.givenAt = now();
    entry.before = happenings;
    m_entries[ticket] = entry;
    m_ticketOf[mark] = ticket;
}

void Ledger::cancelled(host::Ticket ticket)
{
    Entry &entry = m_entries[ticket];
    require(entry.ends == 0, ticket, "was cancelled after its end");
    require(!entry.isOver, ticket, "was cancelled though it had ended");
    entry.isOver = true;
    entry.isCancelled = true;
}

void Ledger::endedAll(const QString &device)
{
    for (auto &[ticket, entry] : m_entries) {
        entry.isOver = entry.isOver || device.isEmpty() || entry.device == device;
    }
}

void Ledger::written(const QByteArray &payload, int inFlight, int mostInFlight)
{
    ++m_writes;
    const auto known = m_ticketOf.find(payload.left(bytesOfMark));
    if (known == m_ticketOf.end()) {
        violate("something was written that nobody gave");
        return;
    }
    const host::Ticket ticket = known->second;
    Entry &entry = m_entries[ticket];
    ++entry.writes;
    require(!entry.isOver, ticket, "was written after its end");
    require(entry.writes <= 2, ticket, "was written a third time");
    require(inFlight <= mostInFlight, ticket, "was written beside others in flight");
    if (entry.writes == 1) {
        const bool isValid = entry.options.validFor.count() == 0 || now() - entry.givenAt <= entry.options.validFor;
        require(isValid, ticket, "was written when it was not valid any more");
        checkOrder(ticket, entry);
    }
}

/** A command with a key takes the place of the one before it: its own number says nothing. */
void Ledger::checkOrder(host::Ticket ticket, const Entry &entry)
{
    if (entry.options.replaceKey.isEmpty()) {
        host::Ticket &last = m_lastWritten[{entry.device, entry.options.urgent}];
        require(last < ticket, ticket, "was written behind one that was given later");
        last = ticket;
    }
}

void Ledger::toldEnd(const ToldEnd &end)
{
    Entry &entry = m_entries[end.ticket];
    ++entry.ends;
    require(entry.ends == 1, end.ticket, "ended twice");
    require(entry.callbacks == 1, end.ticket, "was told to all before its own callback");
    entry.isOver = true;
}

void Ledger::toldCallback(const ToldEnd &end)
{
    Entry &entry = m_entries[end.ticket];
    ++entry.callbacks;
    require(entry.callbacks == 1, end.ticket, "ended twice for its callback");
    const bool wasGood = m_violation.empty();
    checkOutcome(end.ticket, entry, end);
    if (wasGood && !m_violation.empty()) {
        m_violation += " - " + end.reason.toStdString();
    }
    entry.isOver = true;
}

void Ledger::checkOutcome(host::Ticket ticket, const Entry &entry, const ToldEnd &end)
{
    using host::Outcome;
    const Happenings &before = entry.before;
    switch (end.outcome) {
    case Outcome::Answered:
        require(entry.writes > 0, ticket, "was answered and never written");
        require(end.reply.startsWith(entry.mark), ticket, "was answered by the reply to another");
        break;
    case Outcome::GaveUp:
        require(entry.writes > 0 || threadWasBusy, ticket, "was given up and never written");
        break;
    case Outcome::Cleared:
        require(happenings.clears > before.clears, ticket, "was cleared by nobody");
        break;
    case Outcome::Skipped:
        require(happenings.skips > 0, ticket, "was skipped by nobody");
        break;
    case Outcome::Stopped:
        require(happenings.stops > before.stops, ticket, "was stopped by nobody");
        break;
    case Outcome::Released:
        require(happenings.wasPipelined, ticket, "was released without having been pipelined");
        break;
    case Outcome::Expired:
        require(entry.writes == 0, ticket, "expired after it had been written");
        require(entry.options.validFor.count() > 0 && now() - entry.givenAt >= entry.options.validFor, ticket,
                "expired before its time");
        break;
    case Outcome::Superseded:
        require(entry.writes == 0, ticket, "was superseded after it had been written");
        require(end.supersededBy > ticket && m_entries.count(end.supersededBy) != 0 &&
                    m_entries[end.supersededBy].options.replaceKey == entry.options.replaceKey,
                ticket, "was superseded by one without its key");
        break;
    case Outcome::Cancelled:
        require(entry.isCancelled, ticket, "was cancelled by nobody");
        break;
    case Outcome::Unreachable:
        require(happenings.outages > 0, ticket, "was unreachable without an outage");
        break;
    case Outcome::Interrupted:
        require(false, ticket, "was interrupted by no process");
        break;
    }
    require(!entry.isCancelled || end.outcome == Outcome::Cancelled, ticket, "was cancelled and ended otherwise");
}

void Ledger::check(const host::Counters &counters, int pending, int waiting)
{
    if (counters.enqueued != sumOfEnds(counters) + static_cast<quint64>(pending)) {
        violate("the counters do not add up");
    }
    if (waiting > pending || waiting != counters.queueLength) {
        violate("more wait than are pending, or than are counted");
    }
}

void Ledger::closeBook()
{
    checkAllEnded(false);
    m_entries.clear();
    m_ticketOf.clear();
    m_lastWritten.clear();
}

void Ledger::checkAllEnded(bool isTold)
{
    for (const auto &[ticket, entry] : m_entries) {
        require(entry.callbacks == 1, ticket, "has no end");
        require(!isTold || entry.ends == 1, ticket, "has no end that was told");
    }
}

QVector<host::Ticket> Ledger::open() const
{
    QVector<host::Ticket> tickets;
    for (const auto &[ticket, entry] : m_entries) {
        if (entry.ends == 0) {
            tickets.append(ticket);
        }
    }
    return tickets;
}

} // namespace biz::kit_seeds
