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

namespace biz::host {

/** Writes the lines of a log to all its places, on a thread of its own. */
class LogWriter : public QObject
{
    Q_OBJECT

public:
    explicit LogWriter(std::shared_ptr<EventQueue> queue);

    /** Soon, together with what comes until then. */
    void wake();

    /** Now; and soon again while there was something, so that a busy host need not wake it. */
    void drain();

    /** Tells places that could not be written how many lines they miss; later again while they cannot be. */
    void tellLost();

    void listen(const QString &socket);

    /** Hands over what readers and devices still hold: nothing is written after it. */
    void finish(const QDeadlineTimer &deadline);

Q_SIGNALS:
    /** A reader has come, or a file has begun, that wants to be told how things stand. */
    void headWanted(quint64 sink);

    void failed(const QString &why);

private:
    struct Place
    {
        std::shared_ptr<LineSink> sink;
        bool hasBegun = false;
        bool isReader = false; ///< on the socket
        bool hasFailed = false;
    };

    void acceptReaders();
    void dropOverfull();
    void write(const EventQueue::Batch &batch);
    bool settle(SinkId id, Place &place, LineSink::Result result);
    void tellFailure(const QString &why);

    const std::shared_ptr<EventQueue> m_queue;
    QTimer m_soon;
    QTimer m_later; ///< tells of lost lines where no event comes to do so
    std::map<SinkId, Place> m_places;
    SinkId m_lastId = everybody;
    QLocalServer m_server;
};

} // namespace biz::host

#endif
