#ifndef BIZ_CONSOLE_SESSION_RUN_H
#define BIZ_CONSOLE_SESSION_RUN_H

#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <biz_console/run_report.h>

namespace biz::console {

/**
 * The course of a run on either channel: opening, running, a grace time for replies that
 * are still expected, stopping, and the closing with its exit code.
 */
class SessionRun : public QObject
{
    Q_OBJECT

public:
    explicit SessionRun(QTextStream &err);

    /** Who hears of the run; before start(). */
    void addSink(std::unique_ptr<EventSink> sink) { m_report.addSink(std::move(sink)); }

    /** Starts; finished() follows. */
    void start();

    /** Stops before the session is over; finished() follows within two seconds. */
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
    virtual RunProgress progress() const = 0;

    /** Just before the host is stopped at the end of the run, however it ended. */
    virtual void beforeStop() {}

    /** What the devices of an OSD run came to, after its last event. */
    virtual QVector<OsdTableRow> deviceRows() const { return {}; }

    /** After a stop: tells the ledger of the commands that the host was never given. */
    virtual void countNeverGiven() {}

    /** The host is connected, and commands are under way. */
    void opened();

    /** To be called after each event of a command. */
    void finishIfDone();

    void breakOff(const QString &problem, ExitCode code);

private:
    void onLimit();
    void stop(ExitCode codeIfSlow);
    void finish();

    enum class Phase { Opening, Running, Grace, Stopping, Finished };

    RunReport m_report;
    Phase m_phase = Phase::Opening;
    QTimer m_progress;
    QTimer m_limit; ///< of the phase
};

/** "3 of 5"; empty for a command that is given once. */
QString repetition(int number, int count);

/** The problem of a run that was interrupted. */
constexpr char interruptedText[] = "interrupted";

/** Runs an event loop until the run has finished or been interrupted; returns its exit code. */
int execute(SessionRun &run);

} // namespace biz::console

#endif
