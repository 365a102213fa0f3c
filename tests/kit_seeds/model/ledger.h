#ifndef BIZ_KIT_SEEDS_LEDGER_H
#define BIZ_KIT_SEEDS_LEDGER_H

#include <map>
#include <set>

#include <QtCore/QByteArray>
#include <QtCore/QVector>

#include <kit_seeds/model/clock.h>
#include <kit_seeds/model/order.h>
#include <kit_seeds/model/violation.h>

namespace biz::kit_seeds {

/** What an application has given to a host. */
struct Given
{
    QByteArray mark; ///< the bytes with which its payload begins: so it is known on the wire
    QString lane;    ///< the OSD device; empty on the device channel
    host::CommandOptions options;
    milliseconds wait{0};
};

/** A command's end, as its host tells it. */
struct ToldEnd
{
    host::Ticket ticket = 0;
    host::Outcome outcome = host::Outcome::Stopped;
    host::Ticket supersededBy = 0;
    QByteArray reply; ///< payload
    double roundTripMs = -1.0;
    int attempts = 0;
    QString reason;
};

/** What one channel does with every command. */
struct ChannelHabits
{
    int copies = 1;                                ///< that are written at most
    int mostAhead = 1;                             ///< commands that the host gives to the channel before their turn
    milliseconds (*soonestGiveUp)(milliseconds){}; ///< from the first write, by the wait
    milliseconds (*latestEnd)(milliseconds){};     ///< from the last write
};

/**
 * Every command of one host, and what must hold of it: which ends are possible by what has happened, who has to be
 * written before whom, and what may not be written any more. It knows nothing of the host's own reasoning. An end
 * that the host has counted and not told yet belongs to a command that is not known here: so many exceptions are
 * possible.
 */
class Ledger
{
public:
    Ledger(const ChannelHabits &habits, Violation *violation);

    /** The bytes with which the next command's payload is to begin. */
    QByteArray nextMark();

    /** How many ends the host has counted, and whether the way to its devices is lost now. */
    void look(quint64 endsCounted, bool isLost, bool isFailingFast);

    // --- What the application did -------------------------------------------------------------

    /** `superseded` commands have ended so within the call; `isOver` when the command itself has. */
    void given(host::Ticket ticket, const Given &given, int superseded, bool isOver, host::Outcome outcome);

    /** The host has answered to a cancel. */
    void cancelled(host::Ticket ticket, bool isTaken);

    /** Everything that is given and not over ends so now; of one lane, or of all where it is null. */
    void endAll(host::Outcome outcome, const QString *lane = nullptr);

    /** The same for what has not been written. */
    void endUnwritten(host::Outcome outcome);

    void setPipelined(bool on);

    /** The link was full, or held bytes back, or the application said no: a copy may be left out. */
    void noteHindered() { m_hinderedAt = now(); }

    /** It was not taken on its way, and stays in flight until it is given up. */
    void noteRefused(const QByteArray &payload);

    // --- What was seen -------------------------------------------------------------------------

    void written(const QByteArray &payload, const QString &lane, quint8 sequence);

    /** A device has got it. */
    void delivered(const QByteArray &payload);

    /** A reply that keeps the rules has come; whether it is the first to a command that is under way. */
    bool replied(const QByteArray &payload, quint8 sequence);

    void toldSent(host::Ticket ticket, int attempt);
    void toldCallback(const ToldEnd &end);
    void toldEnd(const ToldEnd &end);

    // --- What must hold at any time ------------------------------------------------------------

    void check();

    /** The host that had all of them is gone: its callbacks have told every end. */
    void closeBook();

    /** Commands that are not over as far as is known here; their number less hidden() is the host's pending(). */
    QVector<host::Ticket> open() const;

    /** One that is over, or 0. */
    host::Ticket anyOver() const { return m_lastOver; }

    /** Whether commands that are given now may leave beside others. */
    bool mayBePipelined() const { return mayBePipelined(now()); }

    /** Whether the command of these bytes may have been given to the channel beside others. */
    bool mayBePipelined(const QByteArray &payload) const;

    /** Whether these bytes are those of a command that has not been written. */
    bool isUnwritten(const QByteArray &payload) const;

    /** When the reply came that has answered a command. */
    nanoseconds answerOf(host::Ticket ticket) const { return m_entries.at(ticket).goodReply; }

    bool isOpen(host::Ticket ticket) const { return m_live.count(ticket) != 0; }

    /** Whether every command's end has been told to all. */
    bool areAllTold() const { return m_untold == 0; }

    /** Commands that have been written and are not over; of one lane, or of all where it is null. */
    int inFlight(const QString *lane = nullptr) const;

    /** Commands that are not over and were refused on their way. */
    int refused() const;

    /** Ends that the host has counted and that are not known here. */
    int hidden() const { return static_cast<int>(m_counted) - m_over; }

    quint64 commands() const { return m_marks; }
    quint64 writes() const { return m_writes; }
    int given() const { return static_cast<int>(m_entries.size()); }

private:
    struct Entry
    {
        Given given;
        nanoseconds at{0};
        nanoseconds firstWrite = never;
        nanoseconds lastWrite = never;
        nanoseconds goodReply = never;
        nanoseconds over = never;
        quint8 sequence = 0;
        int writes = 0;
        int sentTold = 0;
        int callbacks = 0;
        int ends = 0;
        int overtaken = 0;             ///< by less urgent ones
        bool isNothingAhead = false;   ///< when it was given, another was in flight, and so none was with the channel
        unsigned possible = 0;         ///< outcomes that the application has brought about, one bit each
        host::Ticket supersededBy = 0; ///< 0: not known
        bool hasSurePlace = true;
        bool isRefused = false;
        bool isOver() const { return over != never; }
    };

    bool isNothingAhead(const QString &lane) const;
    void enterOrder(host::Ticket ticket, Entry &entry, int superseded);
    void close(host::Ticket ticket, Entry &entry, host::Outcome outcome);
    void leave(host::Ticket ticket, Entry &entry);
    void checkFirstWrite(host::Ticket ticket, Entry &entry);
    void checkTurn(host::Ticket ticket, const Entry &entry);
    void checkSecondWrite(host::Ticket ticket, const Entry &entry);
    void checkOutcome(const Entry &entry, const ToldEnd &end);
    void checkAnswer(const Entry &entry, const ToldEnd &end);
    void checkGiveUp(const Entry &entry, const ToldEnd &end);
    void checkSupersession(const Entry &entry, const ToldEnd &end);
    bool mayBePipelined(nanoseconds at) const;
    bool isSurelyPipelined(const Entry &entry) const;
    bool wasHinderedSince(host::Ticket ticket) const;
    void require(bool holds, host::Ticket ticket, const char *what) { m_violation->require(holds, ticket, what); }
    Entry *find(const QByteArray &payload, host::Ticket *ticket);

    const ChannelHabits m_habits;
    Violation *const m_violation;
    std::map<host::Ticket, Entry> m_entries;
    std::map<QByteArray, host::Ticket> m_ticketOf;
    std::map<QString, Order> m_orders;
    std::set<host::Ticket> m_live;
    host::Ticket m_lastOver = 0;
    int m_over = 0;
    int m_untold = 0; ///< entries whose end has not been told to all
    quint64 m_counted = 0;
    bool m_isPipelined = false;
    nanoseconds m_pipelinedSince = never;
    nanoseconds m_pipelinedUntil = never;
    nanoseconds m_lostAt = never;        ///< last seen to be lost
    nanoseconds m_failingFastAt = never; ///< and with a policy by which nothing waits
    nanoseconds m_hinderedAt = never;
    quint64 m_marks = 0;
    quint64 m_writes = 0;
};

} // namespace biz::kit_seeds

#endif
