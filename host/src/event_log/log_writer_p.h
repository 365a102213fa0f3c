#ifndef BIZ_HOST_LOG_WRITER_P_H
#define BIZ_HOST_LOG_WRITER_P_H

#include <functional>
#include <map>
#include <memory>

#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtNetwork/QLocalServer>

#include <event_log/event_queue_p.h>
#include <event_log/line_sink_p.h>
#include <loops/inbox_p.h>

namespace biz::host {

/** What the writer tells the host's thread: a failure, or whose first lines it needs. */
struct WriterNote
{
    QString failure;                 ///< empty where first lines are wanted
    SinkId headWantedBy = everybody; ///< a reader has come, or a file has begun
};

/**
 * Writes the lines of a log to all its places, on a thread of its own. Calls and notes cross between the threads in
 * inboxes: a thread sanitizer sees the order that their locks make, and not that of Qt's queued calls.
 */
class LogWriter : public QObject
{
public:
    LogWriter(std::shared_ptr<EventQueue> queue, std::shared_ptr<Inbox<WriterNote>> notes);

    /** On any thread: calls a function on the writer's. The others are for such calls. */
    void call(std::function<void()> function);

    /** Soon, together with what comes until then. */
    void wake();

    /** Now; and soon again while there was something, so that a busy host need not wake it. */
    void drain();

    /** Tells places that could not be written how many lines they miss; later again while they cannot be. */
    void tellLost();

    void listen(const QString &socket);

    /** Hands over what readers and devices still hold: nothing is written after it. */
    void finish(const QDeadlineTimer &deadline);

protected:
    void customEvent(QEvent *event) override;

private:
    struct Place
    {
        std::shared_ptr<LineSink> sink;
        bool hasBegun = false;
        bool isReader = false; ///< on the socket
        bool hasFailed = false;
    };

    void tell(WriterNote note);
    void acceptReaders();
    void dropOverfull();
    void write(const EventQueue::Batch &batch);
    bool settle(SinkId id, Place &place, LineSink::Result result);
    void tellFailure(const QString &why);

    const std::shared_ptr<EventQueue> m_queue;
    const std::shared_ptr<Inbox<WriterNote>> m_notes;
    Inbox<std::function<void()>> m_calls;
    QTimer m_soon;
    QTimer m_later; ///< tells of lost lines where no event comes to do so
    std::map<SinkId, Place> m_places;
    SinkId m_lastId = everybody;
    QLocalServer m_server;
};

} // namespace biz::host

#endif
