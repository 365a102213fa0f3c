#include <biz_gateway/journal/journal.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <QtCore/QFile>
#include <QtCore/QUuid>
#include <QtCore/QVariant>
#include <QtSql/QSqlDatabase>
#include <QtSql/QSqlError>
#include <QtSql/QSqlQuery>

namespace biz::gateway {

namespace {

constexpr qint64 bytesPerMebibyte = 1024LL * 1024;
constexpr qint64 pageBytes = 4096;
constexpr qint64 secondsPerHour = 3600;
constexpr qint64 millisecondsPerSecond = 1000;

/** Ids that one step forgets: so many take a few milliseconds. */
constexpr int forgottenAtOnce = 1000;

/** SQLite's code of a database or a disk that is full. */
constexpr auto fullCode = "13";

constexpr auto columns = "number, client, id, digest, device, state, topic, correlation, outcome";

[[noreturn]] void fail(const QString &what, const QSqlError &error)
{
    throw JournalError(QStringLiteral("the journal cannot be %1: %2").arg(what, error.databaseText()));
}

/** SQLite takes what is null for no value at all. */
QByteArray notNull(const QByteArray &bytes)
{
    return bytes.isNull() ? QByteArray("") : bytes;
}

QString notNull(const QString &text)
{
    return text.isNull() ? QString(QLatin1String("")) : text;
}

JournalEntry entryOf(const QSqlQuery &query)
{
    JournalEntry entry;
    int column = 0;
    entry.number = query.value(column++).toLongLong();
    entry.client = query.value(column++).toString();
    entry.id = query.value(column++).toString();
    entry.digest = query.value(column++).toByteArray();
    entry.device = query.value(column++).toString();
    entry.state = static_cast<JournalEntry::State>(query.value(column++).toInt());
    entry.reply.topic = query.value(column++).toString();
    entry.reply.correlation = query.value(column++).toByteArray();
    entry.outcome = query.value(column++).toByteArray();
    return entry;
}

int numberOf(JournalEntry::State state)
{
    return static_cast<int>(state);
}

} // namespace

/** The connection to the file, and the statements that are used for each command. */
class Journal::Queries
{
public:
    explicit Queries(const QString &path)
        : m_name(QUuid::createUuid().toString())
        , m_database(QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_name))
    {
        if (!m_database.isValid()) {
            throw JournalError(QStringLiteral("the journal needs Qt's driver for SQLite, which is not installed"));
        }
        m_database.setDatabaseName(path);
        if (!m_database.open()) {
            fail(QStringLiteral("opened"), m_database.lastError());
        }
    }

    ~Queries()
    {
        for (QSqlQuery *query : {&find, &add, &setReplyPath, &setEnded, &setDelivered}) {
            *query = QSqlQuery();
        }
        m_database.close();
        m_database = QSqlDatabase();
        QSqlDatabase::removeDatabase(m_name);
    }
    Queries(const Queries &) = delete;
    Queries &operator=(const Queries &) = delete;

    QSqlQuery prepared(const QString &text)
    {
        QSqlQuery query(m_database);
        query.setForwardOnly(true);
        if (!query.prepare(text)) {
            fail(QStringLiteral("used"), query.lastError());
        }
        return query;
    }

    static void run(QSqlQuery *query, std::initializer_list<QVariant> values = {})
    {
        int at = 0;
        for (const QVariant &value : values) {
            query->bindValue(at++, value);
        }
        if (!query->exec()) {
            const QSqlError error = query->lastError();
            query->finish();
            if (error.nativeErrorCode() == QLatin1String(fullCode)) {
                throw Full(QStringLiteral("the journal is full, or its disk"));
            }
            fail(QStringLiteral("used"), error);
        }
    }

    QSqlQuery ran(const QString &text, std::initializer_list<QVariant> values = {})
    {
        QSqlQuery query = prepared(text);
        run(&query, values);
        return query;
    }

    void prepare()
    {
        const auto all = QLatin1String(columns);
        find = prepared(QStringLiteral("SELECT %1 FROM command WHERE client = ? AND id = ?").arg(all));
        add = prepared(QStringLiteral("INSERT INTO command (client, id, digest, device, state, topic, correlation, at) "
                                      "VALUES (?, ?, ?, ?, ?, ?, ?, ?)"));
        setReplyPath = prepared(QStringLiteral("UPDATE command SET topic = ?, correlation = ? WHERE number = ?"));
        setEnded = prepared(QStringLiteral("UPDATE command SET state = ?, outcome = ? WHERE number = ?"));
        setDelivered = prepared(QStringLiteral("UPDATE command SET state = ? WHERE number = ?"));
    }

    /** Whoever gets it may make room and try again. */
    class Full : public JournalError
    {
    public:
        using JournalError::JournalError;
    };

private:
    const QString m_name;
    QSqlDatabase m_database;

public:
    QSqlQuery find;
    QSqlQuery add;
    QSqlQuery setReplyPath;
    QSqlQuery setEnded;
    QSqlQuery setDelivered;
};

Journal::Journal(const QString &path, const JournalSettings &settings)
    : m_settings(settings)
{
    m_sinceStart.start();
    lock(path + QStringLiteral(".lock"));
    m_queries = std::make_unique<Queries>(path);
    makeTables();
    m_queries->prepare();
    QSqlQuery newest = m_queries->ran(QStringLiteral("SELECT at FROM command ORDER BY number DESC LIMIT 1"));
    m_startS = newest.next() ? newest.value(0).toLongLong() : 0;
}

Journal::~Journal()
{
    if (m_lock >= 0) {
        close(m_lock);
    }
}

/** The system gives the lock back when the process ends, however it does. */
void Journal::lock(const QString &path)
{
    m_lock = open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (m_lock < 0) {
        throw JournalError(QStringLiteral("the journal cannot be opened: %1: %2")
                               .arg(path, QString::fromLocal8Bit(std::strerror(errno))));
    }
    if (flock(m_lock, LOCK_EX | LOCK_NB) != 0) {
        close(m_lock);
        throw JournalError(QStringLiteral("the journal cannot be opened: another gateway works with %1").arg(path));
    }
}

void Journal::makeTables()
{
    const qint64 pages = m_settings.mostMebibytes * bytesPerMebibyte / pageBytes;
    const QStringList statements{
        QStringLiteral("PRAGMA page_size = %1").arg(pageBytes),
        QStringLiteral("PRAGMA journal_mode = WAL"),
        QStringLiteral("PRAGMA synchronous = %1")
            .arg(m_settings.outlastsPower ? QStringLiteral("FULL") : QStringLiteral("NORMAL")),
        QStringLiteral("PRAGMA max_page_count = %1").arg(pages),
        QStringLiteral("CREATE TABLE IF NOT EXISTS command (number INTEGER PRIMARY KEY AUTOINCREMENT, "
                       "client TEXT NOT NULL, id TEXT NOT NULL, digest BLOB NOT NULL, device TEXT NOT NULL, "
                       "state INTEGER NOT NULL, topic TEXT NOT NULL, correlation BLOB NOT NULL, outcome BLOB, "
                       "at INTEGER NOT NULL, UNIQUE (client, id))"),
        QStringLiteral("CREATE INDEX IF NOT EXISTS unfinished ON command (state, number) WHERE state < %1")
            .arg(numberOf(JournalEntry::State::Delivered)),
    };
    for (const QString &statement : statements) {
        m_queries->ran(statement);
    }
}

qint64 Journal::nowS() const
{
    return m_startS + m_sinceStart.elapsed() / millisecondsPerSecond;
}

// --- Writing ----------------------------------------------------------------------------------

void Journal::commit(const std::function<void()> &call)
{
    const auto attempt = [this, &call] {
        m_queries->ran(QStringLiteral("BEGIN IMMEDIATE"));
        try {
            call();
            m_queries->ran(QStringLiteral("COMMIT"));
        } catch (const JournalError &) {
            // SQLite may have done so itself.
            m_queries->prepared(QStringLiteral("ROLLBACK")).exec();
            throw;
        }
        m_hasRoom = true;
    };
    try {
        attempt();
    } catch (const Queries::Full &) {
        m_hasRoom = false;
        if (!forgetOldest()) {
            throw;
        }
        attempt();
    }
}

std::optional<JournalEntry> Journal::find(const QString &client, const QString &id) const
{
    QSqlQuery &query = m_queries->find;
    Queries::run(&query, {notNull(client), id});
    std::optional<JournalEntry> entry;
    if (query.next()) {
        entry = entryOf(query);
    }
    query.finish();
    return entry;
}

qint64 Journal::add(const JournalEntry &entry)
{
    QSqlQuery &query = m_queries->add;
    Queries::run(&query,
                 {notNull(entry.client), entry.id, entry.digest, entry.device, numberOf(JournalEntry::State::Given),
                  entry.reply.topic, notNull(entry.reply.correlation), nowS()});
    return query.lastInsertId().toLongLong();
}

void Journal::setReplyPath(qint64 number, const ReplyPath &reply)
{
    Queries::run(&m_queries->setReplyPath, {reply.topic, notNull(reply.correlation), number});
}

void Journal::setEnded(qint64 number, const QByteArray &outcome)
{
    Queries::run(&m_queries->setEnded, {numberOf(JournalEntry::State::Ended), outcome, number});
}

void Journal::setDelivered(qint64 number)
{
    Queries::run(&m_queries->setDelivered, {numberOf(JournalEntry::State::Delivered), number});
}

ReplyPath Journal::remove(qint64 number)
{
    ReplyPath reply;
    QSqlQuery query =
        m_queries->ran(QStringLiteral("SELECT topic, correlation FROM command WHERE number = ?"), {number});
    if (query.next()) {
        reply = {query.value(0).toString(), query.value(1).toByteArray()};
    }
    query.finish();
    m_queries->ran(QStringLiteral("DELETE FROM command WHERE number = ?"), {number});
    return reply;
}

bool Journal::forgetOldest()
{
    const QSqlQuery query =
        m_queries->ran(QStringLiteral("DELETE FROM command WHERE number IN "
                                      "(SELECT number FROM command WHERE state = ? ORDER BY number LIMIT ?)"),
                       {numberOf(JournalEntry::State::Delivered), forgottenAtOnce});
    return query.numRowsAffected() > 0;
}

// The oldest come first: when there is none to forget among them, there is none.
void Journal::forgetOld()
{
    m_queries->ran(
        QStringLiteral("DELETE FROM command WHERE number IN (SELECT number FROM (SELECT number, state, at "
                       "FROM command ORDER BY number LIMIT ?) WHERE state = ? AND at < ?)"),
        {forgottenAtOnce, numberOf(JournalEntry::State::Delivered), nowS() - m_settings.keepHours * secondsPerHour});
}

// --- Reading ----------------------------------------------------------------------------------

QVector<JournalEntry> Journal::given() const
{
    QSqlQuery query =
        m_queries->ran(QStringLiteral("SELECT %1 FROM command WHERE state < %2 AND state = %3 ORDER BY number")
                           .arg(QLatin1String(columns))
                           .arg(numberOf(JournalEntry::State::Delivered))
                           .arg(numberOf(JournalEntry::State::Given)));
    QVector<JournalEntry> entries;
    while (query.next()) {
        entries.append(entryOf(query));
    }
    return entries;
}

QVector<JournalEntry> Journal::undelivered(int most) const
{
    QSqlQuery query =
        m_queries->ran(QStringLiteral("SELECT %1 FROM command WHERE state < %2 AND state = %3 ORDER BY number LIMIT %4")
                           .arg(QLatin1String(columns))
                           .arg(numberOf(JournalEntry::State::Delivered))
                           .arg(numberOf(JournalEntry::State::Ended))
                           .arg(most));
    QVector<JournalEntry> entries;
    while (query.next()) {
        entries.append(entryOf(query));
    }
    return entries;
}

qint64 Journal::reachS() const
{
    QSqlQuery oldest = m_queries->ran(QStringLiteral("SELECT at FROM command ORDER BY number LIMIT 1"));
    return oldest.next() ? nowS() - oldest.value(0).toLongLong() : 0;
}

} // namespace biz::gateway
