#include <host/event_log.h>

#include <csignal>

#include <QtCore/QDeadlineTimer>
#include <QtCore/QPointer>
#include <QtCore/QThread>

#include <event_log/file_sink_p.h>
#include <event_log/log_writer_p.h>
#include <host/device_host.h>
#include <host/osd_host.h>
#include <timing_p.h>

namespace biz::host {

namespace {

/** A pipe whose reader has gone is a place that fails, and no reason to end the application. */
void blockPipeSignal()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

} // namespace

/** The near end of a log, on the host's thread; the far end is a LogWriter on a thread of its own. */
class EventLog::Private
{
public:
    Private(EventLog *log, std::unique_ptr<EventSource> source);
    ~Private();
    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;

    /** It begins with the next event, or turn of the event loop: by then the host's link has been set. */
    void begin(std::shared_ptr<LineSink> place);

    bool flush(std::chrono::milliseconds deadline);

    LogWriter *writer() { return m_writer; }

private:
    void onHappened(const Event &event);
    void takeNotes();
    void tellHead(EventQueue::Batch batch);
    void beginWaiting();
    void wake();

    EventLog *const m_log;
    const std::unique_ptr<EventSource> m_source;
    std::vector<std::shared_ptr<LineSink>> m_waiting;
    const std::shared_ptr<EventQueue> m_queue = std::make_shared<EventQueue>();
    const std::shared_ptr<Inbox<WriterNote>> m_notes = std::make_shared<Inbox<WriterNote>>();
    InboxReceiver m_receiver;
    QThread *const m_thread;
    LogWriter *const m_writer;
};

EventLog::Private::Private(EventLog *log, std::unique_ptr<EventSource> source)
    : m_log(log)
    , m_source(std::move(source))
    , m_receiver([this] { takeNotes(); }, log)
    , m_thread(new QThread)
    , m_writer(new LogWriter(m_queue, m_notes))
{
    m_notes->attach(&m_receiver);
    m_source->setParent(log); // it follows the host to another thread
    QObject::connect(m_source.get(), &EventSource::happened, log, [this](const Event &event) { onHappened(event); });
    QObject::connect(m_thread, &QThread::finished, m_writer, &QObject::deleteLater);
    m_thread->setObjectName(QStringLiteral("biz-event-log"));
    m_writer->moveToThread(m_thread);
    m_writer->call(blockPipeSignal);
    m_thread->start(QThread::LowPriority);
}

/** A writer that is stuck in a write, as on a dead network disk, is left to itself. */
EventLog::Private::~Private()
{
    const QDeadlineTimer deadline(timing::eventLogFarewell);
    const bool isIdle = flush(timing::eventLogFarewell);
    m_writer->call([writer = m_writer, deadline] {
        writer->finish(deadline);
        QThread::currentThread()->quit();
    });
    if (isIdle && m_thread->wait(static_cast<unsigned long>(timing::eventLogFarewell.count()))) {
        delete m_thread;
    } else {
        QObject::connect(m_thread, &QThread::finished, m_thread, &QObject::deleteLater);
    }
    m_notes->detach();
}

void EventLog::Private::begin(std::shared_ptr<LineSink> place)
{
    m_waiting.push_back(std::move(place));
    m_notes->wake();
}

void EventLog::Private::beginWaiting()
{
    if (m_waiting.empty()) {
        return;
    }
    for (std::shared_ptr<LineSink> &place : std::exchange(m_waiting, {})) {
        tellHead({everybody, {}, {}, std::move(place)});
    }
}

void EventLog::Private::takeNotes()
{
    beginWaiting();
    const QPointer<EventLog> log(m_log); // whoever hears of a failure may delete it
    for (const WriterNote &note : m_notes->takeAll()) {
        if (!note.failure.isEmpty()) {
            Q_EMIT log->failed(note.failure);
        } else {
            tellHead({note.headWantedBy, {}, {}, nullptr});
        }
        if (log.isNull()) {
            return;
        }
    }
}

void EventLog::Private::tellHead(EventQueue::Batch batch)
{
    batch.head = m_source->headLines();
    if (m_queue->append(std::move(batch))) {
        wake();
    }
}

void EventLog::Private::onHappened(const Event &event)
{
    beginWaiting();
    if (m_queue->append(event)) {
        wake();
    }
}

void EventLog::Private::wake()
{
    m_writer->call([writer = m_writer] { writer->wake(); });
}

bool EventLog::Private::flush(std::chrono::milliseconds deadline)
{
    beginWaiting();
    m_writer->call([writer = m_writer] { writer->drain(); });
    return m_queue->waitUntilWritten(deadline);
}

EventLog::EventLog(DeviceHost *host)
    : EventLog(eventsOf(host), host)
{
}

EventLog::EventLog(DeviceHost *host, const EventFile &file)
    : EventLog(host)
{
    writeTo(file);
}

EventLog::EventLog(OsdHost *host)
    : EventLog(eventsOf(host), host)
{
}

EventLog::EventLog(OsdHost *host, const EventFile &file)
    : EventLog(host)
{
    writeTo(file);
}

EventLog::EventLog(std::unique_ptr<EventSource> source, QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>(this, std::move(source)))
{
}

EventLog::~EventLog() = default;

void EventLog::writeTo(const EventFile &file)
{
    d->begin(std::make_shared<FileSink>(file));
}

void EventLog::writeTo(std::unique_ptr<QIODevice> device)
{
    device->moveToThread(d->writer()->thread());
    d->begin(std::make_shared<DeviceSink>(std::move(device)));
}

void EventLog::serveOn(const QString &socket)
{
    d->writer()->call([writer = d->writer(), socket] { writer->listen(socket); });
}

bool EventLog::flush(int deadlineMs)
{
    return d->flush(std::chrono::milliseconds(deadlineMs));
}

} // namespace biz::host
