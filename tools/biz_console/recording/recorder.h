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
    /** The version of the format, in the head of every recording. */
    static constexpr int formatVersion = 2;

    /** Writes to a device that is open. */
    explicit Recorder(QIODevice &device);

    /** What records the events of a run. */
    std::unique_ptr<EventSink> sink();

    /** Puts a link between the host and `link` that records what passes. */
    std::unique_ptr<host::DeviceLink> wrap(std::unique_ptr<host::DeviceLink> link);

    /** Flushes. Throws InputError when something could not be written. */
    void finish();

private:
    class Sink;
    class Link;

    void start(const RunStart &run);
    void noteLink(const char *event, const QByteArray &bytes, const QString &reason = {});
    void line(const QJsonObject &object);

    QTextStream m_out;
    QElapsedTimer m_sinceStart;
};

/** The keys that a recording has beyond those of the events of `--json`. */
namespace recorded {
constexpr char head[] = "recording";
constexpr char linkOpening[] = "linkOpening"; ///< once more; that of the start goes without saying
constexpr char linkOpened[] = "linkOpened";
constexpr char linkClosed[] = "linkClosed";
constexpr char bytesOut[] = "bytesOut";
constexpr char bytesIn[] = "bytesIn";

/** Of the head. */
constexpr char reconnects[] = "reconnects";

/** Of the head, where the recording is the last part of a longer run. */
constexpr char part[] = "part";
constexpr char amidCommands[] = "amidCommands"; ///< it begins while replies were awaited
} // namespace recorded

} // namespace biz::console

#endif
