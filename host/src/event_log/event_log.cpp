#include <host/event_log.h>

#include <csignal>

#include <QtCore/QDeadlineTimer>
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

    /** Calls a function of the writer on its thread. */
    template<typename Function>
    void callWriter(Function function)
    {
        QMetaObject::invokeMethod(m_writer, std::move(function), Qt::QueuedConnection);
    }

    LogWriter *writer() { return m_writer; }

private:
    void onHappened(const Event &event);
    void tellHead(EventQueue::Batch batch);
    void beginWaiting();
    void wake();

    EventLog *const m_log;
    const std::unique_ptr<EventSource> m_source;
    std::vector<std::shared_ptr<LineSink>> m_waiting;
    const std::shared_ptr<EventQueue> m_queue = std::make_shared<EventQueue>();
    QThread *const m_thread;
    LogWriter *const m_writer;
};

EventLog::Private::Private(EventLog *log, std::unique_ptr<EventSource> source)
    : m_log(log)
    , m_source(std::move(source))
    , m_thread(new QThread)
    , m_writer(new LogWriter(m_queue))
{
    m_source->setParent(log); // it follows the host to another thread
    QObject::connect(m_source.get(), &EventSource::happened, log, [this](const Event &event) { onHappened(event); });
    QObject::connect(m_writer, &LogWriter::headWanted, log, [this](SinkId sink) { tellHead({sink, {}, {}, nullptr}); });
    QObject::connect(m_writer, &LogWriter::failed, log, &EventLog::failed);
    QObject::connect(m_thread, &QThread::finished, m_writer, &QObject::deleteLater);
    m_thread->setObjectName(QStringLiteral("biz-event-log"));
    m_writer->moveToThread(m_thread);
    callWriter(blockPipeSignal);
    m_thread->start(QThread::LowPriority);
}

/** A writer that is stuck in a write, as on a dead network disk, is left to itself. */
EventLog::Private::~Private()
{
    const QDeadlineTimer deadline(timing::eventLogFarewell);
    const bool isIdle = flush(timing::eventLogFarewell);
    callWriter([writer = m_writer, deadline] {
        writer->finish(deadline);
        QThread::currentThread()->quit();
    });
    if (isIdle && m_thread->wait(static_cast<unsigned long>(timing::eventLogFarewell.count()))) {
        delete m_thread;
    } else {
        QObject::connect(m_thread, &QThread::finished, m_thread, &QObject::deleteLater);
    }
}

void EventLog::Private::begin(std::shared_ptr<LineSink> place)
{
    m_waiting.push_back(std::move(place));
    QMetaObject::invokeMethod(
        m_log, [this] { beginWaiting(); }, Qt::QueuedConnection);
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
    callWriter([writer = m_writer] { writer->wake(); });
}

bool EventLog::Private::flush(std::chrono::milliseconds deadline)
{
    beginWaiting();
    callWriter([writer = m_writer] { writer->drain(); });
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
    d->callWriter([writer = d->writer(), socket] { writer->listen(socket); });
}

bool EventLog::flush(int deadlineMs)
{
    return d->flush(std::chrono::milliseconds(deadlineMs));
}

} // namespace biz::host
