#ifndef BIZ_GATEWAY_JOURNAL_H
#define BIZ_GATEWAY_JOURNAL_H

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

#include <QtCore/QByteArray>
#include <QtCore/QElapsedTimer>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <biz_gateway/config/gateway_config.h>

namespace biz::gateway {

/** The journal cannot be read or written: the disk is full, or fails. */
class JournalError : public std::runtime_error
{
public:
    explicit JournalError(const QString &problem)
        : std::runtime_error(problem.toStdString())
    {
    }
    QString text() const { return QString::fromUtf8(what()); }
};

/** From one try to write to a journal that cannot be written to the next: until then, what is to be noted waits. */
constexpr int journalRetryPeriodMs = 1000;

/** Where the outcome of a command is sent. */
struct ReplyPath
{
    QString topic;
    QByteArray correlation;
};

/** What the journal knows of an id. */
struct JournalEntry
{
    /** In this order, and never back. Before the first the id is unknown, and after the last it is forgotten. */
    enum class State {
        Given = 0,     ///< to its device, or about to be: it is never given again
        Ended = 1,     ///< its outcome is known, and the broker does not have it yet
        Delivered = 2, ///< the broker has its outcome
    };

    qint64 number = 0; ///< the journal's own, in the order of their coming
    QString client;    ///< whose id it is
    QString id;
    QByteArray digest; ///< tells the command from another one
    QString device;    ///< its name
    State state = State::Given;
    ReplyPath reply;
    QByteArray outcome; ///< once it has ended
};

/**
 * The memory of commands, in a file: what has been given to a device is never given again, whatever is killed or
 * restarted in between, and each id has one outcome.
 *
 * Its hours are those in which a gateway runs: they are counted by the monotonic clock, and go on from where the
 * file has them. A wall clock that is set back or forward makes no id older.
 */
class Journal
{
public:
    /** Opens the file or makes it. Throws JournalError, also when another gateway has it. */
    Journal(const QString &path, const JournalSettings &settings);
    ~Journal();
    Journal(const Journal &) = delete;
    Journal &operator=(const Journal &) = delete;

    /** Runs the writes in `call` as one: all are in the file when this returns, or none. Throws JournalError. */
    void commit(const std::function<void()> &call);

    std::optional<JournalEntry> find(const QString &client, const QString &id) const;

    // --- Within commit() ----------------------------------------------------------------

    /** As `Given`. Returns its number. */
    qint64 add(const JournalEntry &entry);
    void setReplyPath(qint64 number, const ReplyPath &reply);
    void setEnded(qint64 number, const QByteArray &outcome);
    void setDelivered(qint64 number);

    /** As if it had never come. Returns where it was to be answered. */
    ReplyPath remove(qint64 number);

    /** Makes room: a share of the ids whose outcome was delivered, the oldest first. False when there are none. */
    bool forgetOldest();

    /** Ids that are older than they are kept, a bounded number of them. */
    void forgetOld();

    // --- Reading ------------------------------------------------------------------------

    /** What was given and has not ended: after a start, what a killed gateway has left behind. */
    QVector<JournalEntry> given() const;

    /** What has ended and was not delivered, the first ones. */
    QVector<JournalEntry> undelivered(int most) const;

    /** How far back the ids reach, in seconds. */
    qint64 reachS() const;

    bool hasRoom() const { return m_hasRoom; }

private:
    class Queries;

    void lock(const QString &path);
    void makeTables();
    qint64 nowS() const;

    const JournalSettings m_settings;
    int m_lock = -1;
    bool m_hasRoom = true;
    qint64 m_startS = 0; ///< what the file had when it was opened
    QElapsedTimer m_sinceStart;
    std::unique_ptr<Queries> m_queries;
};

} // namespace biz::gateway

#endif
