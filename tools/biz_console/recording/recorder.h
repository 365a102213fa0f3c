#ifndef BIZ_CONSOLE_RECORDER_H
#define BIZ_CONSOLE_RECORDER_H

#include <memory>

#include <QtCore/QElapsedTimer>
#include <QtCore/QIODevice>
#include <QtCore/QJsonObject>
#include <QtCore/QTextStream>

#include <biz_console/verdict/event_sink.h>
#include <host/device_link.h>

namespace biz::console {

/**
 * Writes what crosses the library's boundary in a run, as JSON lines: a head, then commands,
 * bytes, link states and outcomes in their order, then the summary. docs/tools.md describes
 * the lines.
 *
 * The recorder has to outlive the sink and the link that it makes.
 */
class Recorder
{
public:
    /** Writes to a device that is open. */
    explicit Recorder(QIODevice &device);

    /** What records the events of a run. */
    std::unique_ptr<EventSink> sink();

    /** Puts a link between the host and `link` that records what passes. */
    std::unique_ptr<host::DeviceLink> wrap(std::unique_ptr<host::DeviceLink> link);

    /** Flushes; false when something could not be written. */
    [[nodiscard]] bool finish();

private:
    class Sink;
    class Link;

    void start(const RunStart &run);
    void noteLink(const char *event, const QByteArray &bytes, const QString &reason = {});
    void line(const QJsonObject &object);

    QTextStream m_out;
    QElapsedTimer m_sinceStart;
};

} // namespace biz::console

#endif
