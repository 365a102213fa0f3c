#ifndef BIZ_CONSOLE_SESSION_RUN_H
#define BIZ_CONSOLE_SESSION_RUN_H

#include <functional>
#include <memory>
#include <variant>

#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <biz_console/run/device_side.h>
#include <biz_console/run/osd_side.h>
#include <biz_console/run/run_plan.h>
#include <biz_console/session/pace.h>
#include <biz_console/session/session_walk.h>
#include <biz_console/verdict/run_report.h>

namespace biz::console {

/** The channel on which a session is played. */
using RunSide = std::variant<std::unique_ptr<DeviceSide>, std::unique_ptr<OsdSide>>;

/**
 * The course of a run on either channel: opening, running, the time in which replies may still come, then the
 * verdict: once nothing is under way any more, so that the same input comes to the same exit code.
 */
class SessionRun : public QObject
{
    Q_OBJECT

public:
    SessionRun(RunSide channel, const RunPlan &plan, QTextStream &err);

    /** Who hears of the run; before start(). */
    void addSink(std::unique_ptr<EventSink> sink) { m_report.addSink(std::move(sink)); }

    /** `isMoreToCome` tells of replies that are known to come: the verdict waits for them, within limits. */
    void setIsMoreToCome(std::function<bool()> isMoreToCome) { m_isMoreToCome = std::move(isMoreToCome); }

    /** Starts; finished() follows. */
    void start();

    /**
     * Stops before the session is over; finished() follows within two seconds. It is the
     * proper end of a session that is played without end.
     */
    void interrupt();

    /** The same of a replay, once all has been given that had been given then. */
    void interruptWhenGiven();

    /** The figures of the host, at any time of the run. */
    host::HostMetrics metrics() const;

Q_SIGNALS:
    void finished(int exitCode);

private:
    /** What `call` says of the side, whichever it is. */
    template<typename Call>
    auto ask(Call call) const
    {
        return std::visit([&call](const auto &side) { return call(*side); }, m_side);
    }

    RunProgress progress() const;
    void hear(host::Event event);
    void hearOfGiven(host::Event event);
    void goOnBy(const host::Event &event);
    void goOnByLink(const host::LinkStatus &link);

    /** The host is connected, and commands are under way. */
    void opened();

    /** There may be no link for long: the run waits for it without a limit. */
    void waitForLink();

    /** Gives the host what it may have now. */
    void giveSome();

    /** "3 of 5, round 2"; empty for a command that is given once. */
    QString whichOf(const WalkStep &step) const;

    /** To be called after each event of a command. */
    void finishIfDone();

    /** The link has told that nothing comes any more. */
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
    void finishJudging();
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

    // In this order: the events end before the host does.
    RunSide m_side;
    std::unique_ptr<host::EventSource> m_events;

    RunFacts m_facts;
    RunReport m_report;
    bool m_reconnects;
    SessionWalk m_walk;
    Pace m_pace;
    Turns m_turns;
    bool m_isInterruptedWhenGiven = false;
    QElapsedTimer m_clock; ///< of the pace
    QTimer m_nextTurn;
    Phase m_phase = Phase::Opening;
    QTimer m_progress;
    QTimer m_limit; ///< of the phase
    QTimer m_outputFails;
    QTimer m_look; ///< at what the host has not told of
    std::function<bool()> m_isMoreToCome = [] {
        return false;
    };
    QVector<OsdDeviceTotals> m_devices; ///< as they stood when the host was stopped
};

/** Runs an event loop until the run has finished or been interrupted; returns its exit code. */
int execute(SessionRun &run);

} // namespace biz::console

#endif
