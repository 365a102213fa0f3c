#ifndef BIZ_HOST_EVENT_LOG_H
#define BIZ_HOST_EVENT_LOG_H

#include <memory>

#include <QtCore/QIODevice>
#include <QtCore/QObject>
#include <QtCore/QString>

#include <host/event_source.h>
#include <host/host_export.h>

namespace biz::host {

/** A file of an event log, and how much of it is kept: "events.jsonl", before it "events.jsonl.1"... */
struct EventFile
{
    static constexpr qint64 defaultMaxBytes = qint64{16} * 1024 * 1024;
    static constexpr int defaultMaxFiles = 4;

    EventFile(QString filePath, qint64 bytesOfOne = defaultMaxBytes, int files = defaultMaxFiles)
        : path(std::move(filePath))
        , maxBytes(bytesOfOne)
        , maxFiles(files)
    {
    }

    QString path;
    qint64 maxBytes; ///< of one file, without a bound if 0 or less; a single longer line still goes in whole
    int maxFiles;    ///< the current one included; at least one is kept
};

/**
 * Writes what happens in a host as lines of JSON to files, devices and readers on a local socket:
 *
 *     new biz::host::EventLog(&host, QStringLiteral("events.jsonl"));
 *
 * ## What is written
 * The vocabulary of Event, one object a line. Each file begins, and each reader is given first, a `start`
 * line with the number of the format, and a `state` line with the link, the queue and the counters as they
 * stand. Where lines could not be written, a `lost` line says how many.
 *
 * ## Promises
 *  - The host is never held up: a thread of the log's own writes, about a tenth of a second later.
 *  - Memory is bounded. A disk that is stuck costs lines, a reader that does not read is disconnected.
 *  - A destination that fails is told once, by failed() and in the category "biz.host"; files are tried again.
 *
 * ## Asks for
 *  - Calls on the host's thread. It may outlive the host, and is its child unless told otherwise.
 */
class BIZ_HOST_EXPORT EventLog : public QObject
{
    Q_OBJECT

public:
    explicit EventLog(DeviceHost *host);
    EventLog(DeviceHost *host, const EventFile &file);
    explicit EventLog(OsdHost *host);
    EventLog(OsdHost *host, const EventFile &file);

    /** Of any other source. */
    explicit EventLog(std::unique_ptr<EventSource> source, QObject *parent = nullptr);

    /** Writes what is still to be written, for a second at most. */
    ~EventLog() override;

    /** Appends to a file, and begins the next when it is full. */
    void writeTo(const EventFile &file);

    /** Takes over an open device without a parent; it is used on the log's own thread. */
    void writeTo(std::unique_ptr<QIODevice> device);

    /** Serves readers on a local socket of this name or path, which only the same user may open; in place of an earlier
     * one. */
    void serveOn(const QString &socket);

    /**
     * Waits until everything told so far has been handed to its destinations; false when that took longer. One that
     * fails has lost it, which failed() tells.
     */
    bool flush(int deadlineMs = 1000);

Q_SIGNALS:
    /** A destination cannot be written to, or the socket not be opened. */
    void failed(const QString &why);

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace biz::host

#endif
