#ifndef BIZ_HOST_FLEET_WORKER_P_H
#define BIZ_HOST_FLEET_WORKER_P_H

#include <chrono>
#include <memory>
#include <optional>

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include <fleet/worker_process_p.h>
#include <host/vocabulary.h>
#include <host_clock_p.h>
#include <lines/line_splitter_p.h>

namespace biz::host {

/** How a worker is started and watched. */
struct WorkerPlan
{
    QString folder;
    QString program;
    QStringList arguments;
    std::chrono::milliseconds heartbeat{0};
    int mostUnanswered = 0;
};

/**
 * Keeps one worker process running: started, watched, killed when it does not answer, started again when it has
 * ended. Lines to it are lost with it.
 */
class Worker : public QObject
{
    Q_OBJECT

public:
    Worker(const WorkerPlan &plan, QObject *parent);
    ~Worker() override;

    void start();

    /** Ends it for good: asks, and kills it when it has not ended in time. gone() follows, if it is not yet. */
    void stop();

    /** The same at once, and waits for that. */
    void stopNow(TimePoint deadline);

    bool isGone() const { return m_isStopping && !m_process; }
    bool isServing() const { return m_isServing; }

    /** Whether it serves, and reads what it is given. */
    bool canTake() const;

    void write(const QByteArray &line);

    qint64 processId() const { return m_process ? m_process->processId() : 0; }

Q_SIGNALS:
    /** It has said its first line, which follows. */
    void serving();
    void line(const QByteArray &line);

    /** canTake() may have become true again. */
    void writable();

    /** It has ended unasked, and will be started again. */
    void ended();

    /** The same, or it could not be started, with the reason; once, until it serves again or another reason comes. */
    void away(biz::host::Error error, const QString &reason);

    /** It has ended, as it was to. */
    void gone();

private:
    void attempt();
    bool mayUseFolder();
    void connectProcess();
    void attemptLater();
    void beat();
    void onOutput();
    void onErrors();
    void onLine(const InputLine &read);
    void onEnd(Error error, const QString &how);
    void tellAway(Error error, const QString &reason);
    void kill(const QString &why);
    QString lastWords() const;

    const WorkerPlan m_plan;
    std::unique_ptr<WorkerProcess> m_process;
    LineSplitter m_splitter;
    QByteArray m_errors; ///< the end of what it has written to its error stream
    bool m_isServing = false;
    bool m_isStopping = false;
    int m_unanswered = 0;
    QString m_killedFor; ///< empty: it was not killed by the fleet

    QTimer m_starting;
    QTimer m_beating;
    QTimer m_killing; ///< when it has been asked to end, and does not
    std::chrono::milliseconds m_pause;
    TimePoint m_startedAt;
    std::optional<TimePoint> m_servingSince;
    Error m_toldError = Error::None; ///< since it last served
};

} // namespace biz::host

#endif
