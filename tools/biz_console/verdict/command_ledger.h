#ifndef BIZ_CONSOLE_COMMAND_LEDGER_H
#define BIZ_CONSOLE_COMMAND_LEDGER_H

#include <deque>
#include <map>
#include <utility>
#include <vector>

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <biz_console/verdict/event_sink.h>

namespace biz::console {

/** One command given to the host, and what became of it. */
struct LedgerEntry
{
    QString name;  ///< as the session gives it
    QString which; ///< what tells it from others of the name: "3 of 5", "127.1.0.7"; may be empty
    Expectation expected;

    bool hasEnded = false;
    host::Outcome outcome = host::Outcome::Stopped;
    Events events;
    QString reason;  ///< why it ended as it did
    QString details; ///< why a reply was rejected, when one was
};

/** Every command of a run, checked against what its session expects. */
class CommandLedger : public EventSink
{
public:
    void given(const host::Event &event, const Expectation &expected) override;
    void happened(const host::Event &event) override;

    void add(host::Ticket ticket, const QString &name, const QString &which, const Expectation &expected);
    void note(host::Ticket ticket, host::EventKind event, const QString &detail = {});
    void end(host::Ticket ticket, host::Outcome outcome, const QString &reason);

    /** Null for a ticket that is not in the ledger. */
    const LedgerEntry *find(host::Ticket ticket) const;

    /** How many commands the run has in all, those that are still to be given to the host included. */
    void setTotal(qint64 commands) { m_total = commands; }
    qint64 total() const { return m_total; }
    qint64 given() const { return m_given; }
    bool allGivenEnded() const { return m_ended == m_given; }

    /** Those that have not ended. */
    qint64 pending() const { return m_total - m_ended; }

    /** After a stop: what has not ended was stopped, given or not. */
    void stopRest(const QString &reason);

    /** A command that was stopped before it was given to the host, `times` times. */
    void addNeverGiven(const QString &name, qint64 times);
    qint64 neverGiven() const { return m_neverGiven; }

    /**
     * Of the commands that ended, the last `commands` are remembered for events that come
     * later; those before them only if they are mismatches, and not too many.
     */
    void remember(int commands) { m_remembered = commands; }

    /** True while an event is expected that can still come after its command's end. */
    bool awaitsEvents() const { return m_awaiting > 0; }

    bool allAsExpected() const;

    /**
     * A sentence for each command that did not end as expected. Commands that were stopped
     * are left out: stoppedCommands() accounts for them.
     */
    QStringList mismatches() const;
    qint64 mismatchCount() const;

    /** The commands that were stopped: "get volume (12 times)", each name once. */
    QStringList stoppedCommands() const;

private:
    static bool awaits(const LedgerEntry &entry);

    template<typename Change>
    void change(host::Ticket ticket, Change apply);

    void forgetOld();

    std::map<host::Ticket, LedgerEntry> m_entries;
    std::deque<host::Ticket> m_ends; ///< in their order, as far as they may be forgotten
    int m_remembered = 1024;         ///< on the device channel no reply finds an older command
    std::vector<std::pair<QString, qint64>> m_neverGivenNames;
    qint64 m_neverGiven = 0;
    qint64 m_total = 0;
    qint64 m_given = 0;
    qint64 m_ended = 0;
    qint64 m_awaiting = 0;
    qint64 m_oldMismatches = 0;       ///< that are remembered for good
    qint64 m_forgottenMismatches = 0; ///< that would have been too many
};

} // namespace biz::console

#endif
