#ifndef BIZ_CONSOLE_EVENT_SINK_H
#define BIZ_CONSOLE_EVENT_SINK_H

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <biz_console/run/exit_codes.h>
#include <biz_console/run/osd_device_totals.h>
#include <biz_console/run/run_summary.h>
#include <biz_console/session/expectation.h>
#include <host/command_result.h>
#include <host/link_status.h>

namespace biz::console {

/** What a run is, told before its first event. */
struct RunStart
{
    bool isOfDevice = true;   ///< else of the OSD channel
    QString target;           ///< "tcp://127.0.0.1:15700"; of the OSD channel "127.0.0.1, UDP port 15701"
    int deviceType = -1;      ///< of the device channel
    bool isPipelined = false; ///< of the device channel
    QDateTime utc;            ///< the report fills it in
};

/**
 * One thing that happens in a run. What a kind does not have is empty or negative.
 */
struct RunEvent
{
    enum class Kind {
        Opened,           ///< the host is connected
        LinkStateChanged, ///< the link got into another state, of which `link` tells
        Given,            ///< a command was handed to the host
        Happened,         ///< `event` tells what happened to a command
        Ended,            ///< `outcome` tells how a command ended
        Refused,          ///< received bytes were no reply
        Failed,           ///< sending or receiving failed, and the run goes on
        Problem,          ///< the run ends early
    };

    Kind kind = Kind::Opened;
    Event event = Event::Sent;
    host::Outcome outcome = host::Outcome::Stopped;

    /** When, by the wall clock and since the start of the run; the report fills both in. */
    QDateTime utc;
    double atMs = 0.0;

    /** The command that it concerns; a foreign reply counts for the command sent last. 0: none. */
    host::Ticket ticket = 0;
    QString name;   ///< of the command, as the session gives it
    QString which;  ///< what tells it from others of the name: "3 of 5", "127.1.0.7"
    QString device; ///< an OSD device's address
    Expectation expected;

    /** The record that went or came: the command, or the reply of an answer and of stray replies. */
    QByteArray head;
    QByteArray data;
    QString text;  ///< of an OSD record
    int flag = -1; ///< of an OSD record
    int waitMs = -1;

    int sequence = -1; ///< the sequence byte of a device command that was sent, or of a reply
    QString codes;     ///< "F1/08"
    int attempts = -1; ///< how often the command had been sent by then
    double roundTripMs = -1.0;
    double afterEndMs = -1.0; ///< of a late reply: since its command ended
    int bytes = -1;           ///< of bytes that were refused

    host::LinkStatus link; ///< of a change of the link's state

    QString reason; ///< why, in words
    QString rule;   ///< of a rejected reply: the rule whose clause `reason` names
    QVector<host::CommandEvent> history;

    /** "sent", "answered", "refused"... */
    QString kindName() const;

    /** Makes it the end of a command, of either channel. */
    template<typename Result>
    void setEnd(host::Ticket endedTicket, const Result &result)
    {
        kind = Kind::Ended;
        ticket = endedTicket;
        outcome = result.outcome;
        attempts = result.attempts;
        roundTripMs = result.roundTripMs;
        reason = result.reason;
        history = result.history;
    }
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
    bool allAsExpected = false;
    ExitCode exitCode = AsExpected;

    /** As of events; the report fills both in. */
    QDateTime utc;
    double atMs = 0.0;
};

/**
 * Hears of everything in a run, in its order: started(), then events and progress, then ended().
 * All of it comes on the thread of the run, from its event loop. A sink keeps no reference to what
 * it is given, and does not call back into the run.
 */
class EventSink
{
public:
    EventSink() = default;
    virtual ~EventSink() = default;
    EventSink(const EventSink &) = delete;
    EventSink &operator=(const EventSink &) = delete;

    virtual void started(const RunStart & /*run*/) {}
    virtual void happened(const RunEvent &event) = 0;

    /** A few times a second while commands are under way. */
    virtual void progressed(const RunProgress & /*progress*/) {}
    virtual void ended(const RunEnd & /*end*/) {}

    /** Whether something could not be written. */
    virtual bool hasFailed() const { return false; }
};

} // namespace biz::console

#endif
