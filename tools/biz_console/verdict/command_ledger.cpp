#include <biz_console/verdict/command_ledger.h>

#include <algorithm>

#include <QtCore/QHash>

namespace biz::console {

namespace {

/** More than anybody reads. */
constexpr int maxMismatches = 1000;

/** Stopped without that being expected: the run was broken off, the command is not to blame. */
bool wasBrokenOff(const LedgerEntry &entry)
{
    return entry.hasEnded && entry.outcome == host::Outcome::Stopped &&
           entry.expected.outcome != host::Outcome::Stopped;
}

bool isAsExpected(const LedgerEntry &entry)
{
    return entry.hasEnded && entry.expected.isMetBy(entry.outcome, entry.events);
}

QString fullName(const LedgerEntry &entry)
{
    return entry.which.isEmpty() ? entry.name : QStringLiteral("%1 (%2)").arg(entry.name, entry.which);
}

QString mismatchText(const LedgerEntry &entry)
{
    const QString expected = endingText(entry.expected.outcome, entry.expected.events);
    if (!entry.hasEnded) {
        return QStringLiteral("%1: expected %2, did not end").arg(fullName(entry), expected);
    }
    QString text = QStringLiteral("%1: expected %2, was %3")
                       .arg(fullName(entry), expected, endingText(entry.outcome, entry.events));
    if (!entry.reason.isEmpty() && entry.outcome != host::Outcome::Answered) {
        text += QStringLiteral(" (%1)").arg(entry.reason);
    } else if (!entry.details.isEmpty()) {
        text += QStringLiteral(" (%1)").arg(entry.details);
    }
    return text;
}

} // namespace

void CommandLedger::given(const host::Event &event, const Expectation &expected)
{
    add(event.ticket, event.name, event.which, expected);
}

void CommandLedger::happened(const host::Event &event)
{
    if (const auto outcome = host::outcomeOf(event.kind)) {
        end(event.ticket, *outcome, event.reason);
    } else if (isExpectable(event.kind)) {
        note(event.ticket, event.kind, event.kind == host::EventKind::Rejected ? event.reason : QString());
    }
}

void CommandLedger::add(host::Ticket ticket, const QString &name, const QString &which, const Expectation &expected)
{
    LedgerEntry entry;
    entry.name = name;
    entry.which = which;
    entry.expected = expected;
    m_entries.emplace(ticket, entry);
    ++m_given;
}

bool CommandLedger::awaits(const LedgerEntry &entry)
{
    return entry.hasEnded && !entry.expected.events.commonWith(eventsAfterTheEnd).without(entry.events).isEmpty();
}

template<typename Change>
void CommandLedger::change(host::Ticket ticket, Change apply)
{
    const auto found = m_entries.find(ticket);
    if (found == m_entries.end()) {
        return;
    }
    m_awaiting -= awaits(found->second) ? 1 : 0;
    apply(found->second);
    m_awaiting += awaits(found->second) ? 1 : 0;
}

void CommandLedger::note(host::Ticket ticket, host::EventKind event, const QString &detail)
{
    change(ticket, [&](LedgerEntry &entry) {
        entry.events.add(event);
        if (!detail.isEmpty()) {
            entry.details = detail;
        }
    });
}

void CommandLedger::end(host::Ticket ticket, host::Outcome outcome, const QString &reason)
{
    change(ticket, [&](LedgerEntry &entry) {
        m_ended += entry.hasEnded ? 0 : 1;
        entry.hasEnded = true;
        entry.outcome = outcome;
        entry.reason = reason;
    });
    m_ends.push_back(ticket);
    forgetOld();
}

/** A run without end must not fill the memory. */
void CommandLedger::forgetOld()
{
    while (m_ends.size() > static_cast<std::size_t>(m_remembered)) {
        const auto found = m_entries.find(m_ends.front());
        m_ends.pop_front();
        if (found == m_entries.end() || wasBrokenOff(found->second)) {
            continue;
        }
        if (!isAsExpected(found->second) && ++m_oldMismatches <= maxMismatches) {
            continue;
        }
        m_forgottenMismatches += isAsExpected(found->second) ? 0 : 1;
        m_awaiting -= awaits(found->second) ? 1 : 0;
        m_entries.erase(found);
    }
}

void CommandLedger::stopRest(const QString &reason)
{
    for (auto &item : m_entries) {
        if (!item.second.hasEnded) {
            end(item.first, host::Outcome::Stopped, reason);
        }
    }
}

void CommandLedger::addNeverGiven(const QString &name, qint64 times)
{
    m_neverGivenNames.emplace_back(name, times);
    m_neverGiven += times;
    m_ended += times;
}

const LedgerEntry *CommandLedger::find(host::Ticket ticket) const
{
    const auto found = m_entries.find(ticket);
    return found == m_entries.end() ? nullptr : &found->second;
}

bool CommandLedger::allAsExpected() const
{
    return m_neverGiven == 0 && m_forgottenMismatches == 0 &&
           std::all_of(m_entries.begin(), m_entries.end(), [](const auto &item) { return isAsExpected(item.second); });
}

QStringList CommandLedger::mismatches() const
{
    QStringList lines;
    for (const auto &item : m_entries) {
        if (!isAsExpected(item.second) && !wasBrokenOff(item.second)) {
            lines.append(mismatchText(item.second));
        }
    }
    if (m_forgottenMismatches > 0) {
        lines.append(QStringLiteral("and %1 commands more").arg(m_forgottenMismatches));
    }
    return lines;
}

qint64 CommandLedger::mismatchCount() const
{
    const auto listed = std::count_if(m_entries.begin(), m_entries.end(), [](const auto &item) {
        return !isAsExpected(item.second) && !wasBrokenOff(item.second);
    });
    return m_forgottenMismatches + listed;
}

QStringList CommandLedger::stoppedCommands() const
{
    QStringList names;
    QHash<QString, qint64> times;
    for (const auto &item : m_entries) {
        const LedgerEntry &entry = item.second;
        if (entry.hasEnded && entry.outcome == host::Outcome::Stopped && ++times[entry.name] == 1) {
            names.append(entry.name);
        }
    }
    for (const auto &command : m_neverGivenNames) {
        if (!times.contains(command.first)) {
            names.append(command.first);
        }
        times[command.first] += command.second;
    }
    QStringList lines;
    for (const QString &name : qAsConst(names)) {
        const qint64 count = times.value(name);
        lines.append(count == 1 ? name : QStringLiteral("%1 (%2 times)").arg(name, QString::number(count)));
    }
    return lines;
}

} // namespace biz::console
