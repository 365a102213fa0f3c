#ifndef BIZ_CONSOLE_EVENT_SINK_H
#define BIZ_CONSOLE_EVENT_SINK_H

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <biz_console/session/expectation.h>
#include <biz_console/verdict/exit_codes.h>
#include <biz_console/verdict/osd_device_totals.h>
#include <biz_console/verdict/run_problem.h>
#include <biz_console/verdict/run_summary.h>
#include <host/event.h>

namespace biz::console {

/** What a run is, told before its first event. */
struct RunStart
{
    bool isOfDevice = true;   ///< else of the OSD channel
    QString target;           ///< "tcp://127.0.0.1:15700"; of the OSD channel "127.0.0.1, UDP port 15701"
    int deviceType = -1;      ///< of the device channel
    bool isPipelined = false; ///< of the device channel
    bool reconnects = false;  ///< a lost link does not end it
    QDateTime utc;            ///< the report fills it in
};

/** How far a run is. */
struct RunProgress
{
    bool isEndless = false; ///< `total` grows then
    int round = 1;
    qint64 total = 0;
    qint64 ended = 0;
    qint64 waiting = 0;
    qint64 inFlight = 0;
    host::Counters counters;
};

/** What a run came to. */
struct RunEnd
{
    RunSummary summary;
    QVector<OsdDeviceTotals> devices; ///< of the OSD channel
    QStringList mismatches;           ///< a sentence for each command that did not end as expected
    QStringList stopped;              ///< the commands that were stopped
    qint64 mismatchCount = 0;
    qint64 total = 0;
    bool endedEarly = false;
    bool endedOnRequest = false; ///< of a run without end: the commands that it stopped are nobody's fault
    bool allAsExpected = false;
    ExitCode exitCode = AsExpected;

    /** As of events; the report fills both in. */
    qint64 utcMs = 0;
    double atMs = 0.0;
};

/**
 * Hears of everything in a run, in its order: started(), then events and progress, then ended(). Each event
 * comes once, by the function that tells most of it. A foreign reply of the device channel counts for the
 * command sent last.
 *
 * All of it comes on the thread of the run. A sink keeps no reference to what it is given, and does not call
 * back into the run.
 */
class EventSink
{
public:
    EventSink() = default;
    virtual ~EventSink() = default;
    EventSink(const EventSink &) = delete;
    EventSink &operator=(const EventSink &) = delete;

    virtual void started(const RunStart & /*run*/) {}
    virtual void happened(const host::Event &event) = 0;

    /** A command was handed to the host, and this is what its session expects of it. */
    virtual void given(const host::Event &event, const Expectation & /*expected*/) { happened(event); }

    /** The run ends early; the event says why in words. */
    virtual void brokeOff(const host::Event &event, RunProblem /*problem*/) { happened(event); }

    /** A few times a second while commands are under way. */
    virtual void progressed(const RunProgress & /*progress*/) {}
    virtual void ended(const RunEnd & /*end*/) {}

    /** Whether something could not be written. */
    virtual bool hasFailed() const { return false; }
};

} // namespace biz::console

#endif
