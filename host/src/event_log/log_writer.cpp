#include <event_log/log_writer_p.h>

#include <algorithm>

#include <sys/stat.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtNetwork/QLocalSocket>

#include <events/event_lines_p.h>
#include <logging_p.h>
#include <timing_p.h>

namespace biz::host {

namespace {

QByteArray linesOf(const EventQueue::Batch &batch)
{
    if (batch.events.empty()) {
        return batch.head;
    }
    JsonLines lines;
    for (const Event &event : batch.events) {
        biz::host::write(lines, event);
    }
    return batch.head + lines.take();
}

/** More would be a mistake, and each may hold megabytes. */
constexpr int mostReaders = 16;

/** What a reader sends is nobody's business: the system holds it back from here on. */
constexpr qint64 mostUnread = 1024;

/** Long enough to tell a server that is there from the socket of one that is gone. */
constexpr int probeMs = 100;

/**
 * Removes the socket that a killed process left behind; any other file there, and a socket that is served, would be
 * lost to their owners. Returns what is in the way, or nothing.
 */
QString makeRoomFor(const QString &socket)
{
    const QString path = QDir::temp().filePath(socket); // where QLocalServer has it
    struct stat there = {};
    if (lstat(QFile::encodeName(path).constData(), &there) != 0) {
        return {};
    }
    if (!S_ISSOCK(there.st_mode)) {
        return QStringLiteral("a file is there that is no socket");
    }
    QLocalSocket probe;
    probe.connectToServer(socket);
    if (probe.waitForConnected(probeMs) || probe.error() != QLocalSocket::ConnectionRefusedError) {
        return QStringLiteral("another log or program serves there");
    }
    QLocalServer::removeServer(socket);
    return {};
}

} // namespace

LogWriter::LogWriter(std::shared_ptr<EventQueue> queue, std::shared_ptr<Inbox<WriterNote>> notes)
    : m_queue(std::move(queue))
    , m_notes(std::move(notes))
    , m_soon(this)
    , m_later(this)
    , m_server(this)
{
    m_calls.attach(this);
    m_soon.setSingleShot(true);
    m_soon.setInterval(timing::eventLogDelay);
    connect(&m_soon, &QTimer::timeout, this, &LogWriter::drain);
    m_later.setSingleShot(true);
    m_later.setInterval(timing::eventLogRetryPeriod);
    connect(&m_later, &QTimer::timeout, this, &LogWriter::tellLost);
    connect(&m_server, &QLocalServer::newConnection, this, &LogWriter::acceptReaders);
}

void LogWriter::call(std::function<void()> function)
{
    (void)m_calls.push(std::move(function)); // attached for good
}

void LogWriter::customEvent(QEvent * /*event*/)
{
    for (const std::function<void()> &call : m_calls.takeAll()) {
        call();
    }
}

/** Nobody is there any more once the log has been destroyed while this thread was stuck. */
void LogWriter::tell(WriterNote note)
{
    (void)m_notes->push(std::move(note));
}

void LogWriter::wake()
{
    if (!m_soon.isActive()) {
        m_soon.start();
    }
}

void LogWriter::drain()
{
    EventQueue::Taken taken = m_queue->takeAll();
    const bool isQuiet = taken.batches.empty();
    if (!isQuiet) {
        dropOverfull();
    }
    for (const EventQueue::Batch &batch : taken.batches) {
        write(batch);
    }
    if (taken.lost > 0) {
        write({everybody, lostLine(taken.lost), {}, nullptr});
    }
    m_queue->noteWritten(std::move(taken));
    if (isQuiet) {
        m_soon.stop();
    } else {
        wake();
    }
}

void LogWriter::tellLost()
{
    for (auto &[id, place] : m_places) {
        if (place.hasFailed && settle(id, place, place.sink->writeLost()) && place.hasFailed) {
            m_later.start();
        }
    }
}

// --- Places ---------------------------------------------------------------------------------------

void LogWriter::listen(const QString &socket)
{
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    m_server.close();
    QString problem = makeRoomFor(socket);
    if (problem.isEmpty() && !m_server.listen(socket)) {
        problem = m_server.errorString();
    }
    if (!problem.isEmpty()) {
        tellFailure(QStringLiteral("cannot serve readers on %1: %2").arg(socket, problem));
    }
}

void LogWriter::finish(const QDeadlineTimer &deadline)
{
    for (const auto &entry : m_places) {
        entry.second.sink->finish(deadline);
    }
}

void LogWriter::acceptReaders()
{
    while (QLocalSocket *const socket = m_server.nextPendingConnection()) {
        const auto readers =
            std::count_if(m_places.begin(), m_places.end(), [](const auto &entry) { return entry.second.isReader; });
        if (readers >= mostReaders) {
            delete socket;
            continue;
        }
        socket->setParent(nullptr);
        socket->setReadBufferSize(mostUnread);
        Place place;
        place.sink = std::make_shared<DeviceSink>(std::unique_ptr<QIODevice>(socket));
        place.isReader = true;
        const SinkId id = ++m_lastId;
        m_places.emplace(id, std::move(place));
        tell({{}, id});
        // Queued: it may be told inside of a write to this very socket.
        connect(
            socket, &QLocalSocket::disconnected, this, [this, id] { m_places.erase(id); }, Qt::QueuedConnection);
    }
}

// --- Lines ----------------------------------------------------------------------------------------

/** Once for all that is written together: a burst must not throw out a reader that reads. */
void LogWriter::dropOverfull()
{
    for (auto entry = m_places.begin(); entry != m_places.end();) {
        Place &place = entry->second;
        const bool stays = !place.sink->isOverfull() || settle(entry->first, place, LineSink::Result::IsGone);
        entry = stays ? std::next(entry) : m_places.erase(entry);
    }
}

void LogWriter::write(const EventQueue::Batch &batch)
{
    SinkId meant = batch.sink;
    const QByteArray lines = linesOf(batch);
    if (batch.begins) {
        meant = ++m_lastId;
        m_places[meant].sink = batch.begins;
    }
    for (auto entry = m_places.begin(); entry != m_places.end();) {
        Place &place = entry->second;
        const bool isHead = meant == entry->first;
        const bool isMeant = isHead || (meant == everybody && place.hasBegun);
        bool stays = true;
        if (isMeant) {
            place.hasBegun = true;
            stays = settle(entry->first, place, isHead ? place.sink->begin(lines) : place.sink->write(lines));
        }
        entry = stays ? std::next(entry) : m_places.erase(entry);
    }
}

/** Whether the place stays. */
bool LogWriter::settle(SinkId id, Place &place, LineSink::Result result)
{
    switch (result) {
    case LineSink::Result::Begun:
        tell({{}, id});
        place.hasFailed = false;
        return true;
    case LineSink::Result::Written:
        place.hasFailed = false;
        return true;
    case LineSink::Result::Failed:
        if (!std::exchange(place.hasFailed, true)) {
            m_later.start();
            tellFailure(place.sink->problem());
        }
        return true;
    case LineSink::Result::IsGone:
        if (!place.isReader) {
            tellFailure(place.sink->problem());
        }
        return false;
    }
    Q_UNREACHABLE();
}

void LogWriter::tellFailure(const QString &why)
{
    qCWarning(hostLog).noquote() << "the event log cannot be written:" << why;
    tell({why, everybody});
}

} // namespace biz::host
