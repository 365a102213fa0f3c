#ifndef BIZ_CONSOLE_SESSION_RUN_H
#define BIZ_CONSOLE_SESSION_RUN_H

#include <memory>

#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <biz_console/run/run_report.h>
#include <biz_console/session/pace.h>
#include <biz_console/session/session_walk.h>
#include <host/event_source.h>

namespace biz::console {

/** How a session is played. */
struct RunPlan
{
    int rounds = 1;          ///< how often; 0: until it is interrupted
    double perSecond = 0.0;  ///< commands given per second at most; 0: no limit
    bool reconnects = false; ///< a lost link is waited for, where it would end the run otherwise
    bool failsFast = false;  ///< what waits when the link is lost is unreachable, not stopped with the run
};

/**
 * The course of a run on either channel: opening, running, the time in which replies may still come, then the
 * verdict: once nothing is under way any more, so that the same input comes to the same exit code.
 */
class SessionRun : public QObject
{
    Q_OBJECT

public:
    SessionRun(SessionWalk walk, const RunPlan &plan, QTextStream &err);

    /** Who hears of the run; before start(). */
    void addSink(std::unique_ptr<EventSink> sink) { m_report.addSink(std::move(sink)); }

    /** Starts; finished() follows. */
    void start();

    /**
     * Stops before the session is over; finished() follows within two seconds. It is the
     * proper end of a session that is played without end.
     */
    void interrupt();

Q_SIGNALS:
    void finished(int exitCode);

protected:
    RunReport &report() { return m_report; }
    const RunReport &report() const { return m_report; }

    /** Starts the host; false with a reason when it cannot be started. */
    virtual bool startHost(QString *error) = 0;
    virtual host::StopReport stopHost(int deadlineMs) = 0;
    virtual host::Counters counters() const = 0;
    virtual QString whatIsOpened() const = 0;
    virtual RunStart description() const = 0;

    /** Gives the host a command of the session; false with a reason when it takes none. */
    virtual bool give(const WalkStep &step, QString *error) = 0;

    /** Adds what the run knows beyond the host; false for an event that is not told. */
    virtual bool complete(host::Event *event) = 0;
    virtual QString nameOf(int command) const = 0;
    virtual int waitingInHost() const = 0;
    virtual int pendingInHost() const = 0;

    /** The longest that a command of the session waits for its reply. */
    virtual int longestWaitMs() const = 0;

    /**
     * Tells the devices that no command follows. True when endOfReplies() tells that nothing comes any more; else
     * nothing tells.
     */
    virtual bool endWriting() { return false; }

    /** Replies that the host holds and has not told of. */
    virtual int repliesUnderWay() const { return 0; }

    /** How many commands the host may have at a time. */
    virtual int commandsGivenAhead() const = 0;

    /** Just before the host is stopped at the end of the run, however it ended. */
    virtual void beforeStop() {}

    /** What the devices of an OSD run came to, after its last event. */
    virtual QVector<OsdDeviceTotals> deviceRows() const { return {}; }

    /** Tells what happens in the host from now on, and goes on with the run by it. */
    void follow(std::unique_ptr<host::EventSource> events);

    /** What the session says of the command that is about to be given. */
    void announce(const QString &name, const QString &which, const Expectation &expected);

    /** Gives the host what it may have now. */
    void giveSome();

    /** "3 of 5, round 2"; empty for a command that is given once. */
    QString whichOf(const WalkStep &step, int repeat) const;

private:
    RunProgress progress() const;
    void hear(host::Event event);
    void goOnBy(const host::Event &event);
    void goOnByLink(const host::LinkStatus &link);

    /** The host is connected, and commands are under way. */
    void opened();

    /** There may be no link for long: the run waits for it without a limit. */
    void waitForLink();

    /** To be called after each event of a command. */
    void finishIfDone();

    /** Nothing comes any more after endWriting(). */
    void endOfReplies();

    void breakOff(RunProblem problem, const QString &text);
    bool takeTurn();
    void countNeverGiven();
    void endInOrder();
    void stopAndClose();
    void onLimit();
    void awaitLastReplies();
    void judge();
    void stop();
    void finish();

    enum class Phase {
        Opening,
        Running,
        Grace,    ///< all has ended, and the session expects further replies
        Ending,   ///< replies may come that nobody expects
        Judging,  ///< none comes any more; the host tells of the last ones
        Stopping, ///< broken off
        Finished,
    };

    /** What the session says of a command. */
    struct Announced
    {
        QString name;
        QString which;
        Expectation expected;
    };

    RunReport m_report;
    bool m_reconnects;
    std::unique_ptr<host::EventSource> m_events;
    Announced m_given; ///< of the command that is being given
    SessionWalk m_walk;
    Pace m_pace;
    QElapsedTimer m_clock; ///< of the pace
    QTimer m_nextTurn;
    Phase m_phase = Phase::Opening;
    QTimer m_progress;
    QTimer m_limit; ///< of the phase
    QTimer m_outputFails;
    QTimer m_look; ///< at what the host has not told of
};

/** Runs an event loop until the run has finished or been interrupted; returns its exit code. */
int execute(SessionRun &run);

} // namespace biz::console

#endif
