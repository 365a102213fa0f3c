#ifndef BIZ_KIT_SEEDS_LEDGER_H
#define BIZ_KIT_SEEDS_LEDGER_H

#include <chrono>
#include <map>
#include <set>
#include <string>

#include <QtCore/QByteArray>
#include <QtCore/QVector>

#include <host/command_options.h>
#include <host/counters.h>
#include <host/vocabulary.h>

namespace biz::kit_seeds {

using std::chrono::nanoseconds;

/** What has happened so far that explains an end. */
struct Happenings
{
    int clears = 0;
    int skips = 0;
    int stops = 0;
    int outages = 0;
    bool wasPipelined = false;
};

/** The thread of the hosts had no time for its events, whichever of them kept it. Each seed has a process of its own.
 */
inline bool threadWasBusy = false;

/** A command's end, as its host tells it. */
struct ToldEnd
{
    host::Ticket ticket = 0;
    host::Outcome outcome = host::Outcome::Stopped;
    host::Ticket supersededBy = 0;
    QByteArray reply; ///< payload
    QString reason;
};

/**
 * Every command of one channel, and what must hold of it after every step. Commands are known on the wire by the
 * bytes with which their payload begins. The first thing that does not hold is kept.
 */
class Ledger
{
public:
    /** The bytes with which the next command's payload is to begin. */
    QByteArray nextMark();

    void given(host::Ticket ticket, const QByteArray &mark, const QString &device, const host::CommandOptions &options);

    // --- What the test did ------------------------------------------------------------------

    Happenings happenings;

    /** The host has said that it is cancelled: it must not be written any more. */
    void cancelled(host::Ticket ticket);

    /** Nothing that has been given so far to the device, or to any, may be written from now on. */
    void endedAll(const QString &device = {});

    // --- What was seen -----------------------------------------------------------------------

    void written(const QByteArray &payload, int inFlight, int mostInFlight);
    void toldEnd(const ToldEnd &end);
    void toldCallback(const ToldEnd &end);

    /** The totals of a host, and how many of its commands have not ended. */
    void check(const host::Counters &counters, int pending, int waiting);

    /** The host that had all of them is gone: its callbacks have told every end. */
    void closeBook();

    /** Nothing is under way any more: every command has exactly one end. */
    void checkAllEnded(bool isTold);

    /** Tickets that have not been told to have ended. */
    QVector<host::Ticket> open() const;

    quint64 commands() const { return m_marks; }
    quint64 writes() const { return m_writes; }

    const std::string &violation() const { return m_violation; }
    void violate(const std::string &what);

private:
    struct Entry
    {
        QByteArray mark;
        QString device;
        host::CommandOptions options;
        nanoseconds givenAt{0};
        Happenings before; ///< when it was given
        int writes = 0;
        int ends = 0;
        int callbacks = 0;
        bool isOver = false;
        bool isCancelled = false;
    };

    void require(bool holds, host::Ticket ticket, const char *what);
    void checkOutcome(host::Ticket ticket, const Entry &entry, const ToldEnd &end);
    void checkOrder(host::Ticket ticket, const Entry &entry);

    std::map<host::Ticket, Entry> m_entries;
    std::map<QByteArray, host::Ticket> m_ticketOf;
    std::map<std::pair<QString, bool>, host::Ticket> m_lastWritten; ///< by device and urgency
    quint64 m_marks = 0;
    quint64 m_writes = 0;
    std::string m_violation;
};

nanoseconds now();

} // namespace biz::kit_seeds

#endif
