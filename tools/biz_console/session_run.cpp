#include <biz_console/session_run.h>

#include <QtCore/QCoreApplication>

#include <common/stop_signals.h>

namespace biz::console {

namespace {

constexpr int openLimitMs = 5000;

/** As often as people can follow. */
constexpr int progressPeriodMs = 200;

/** How long a late or duplicate reply may take that the session still expects. */
constexpr int graceLimitMs = 2000;

/** Together less than the two seconds within which a run ends when it is broken off. */
constexpr int stopLimitMs = 1000;
constexpr int lastSignalsLimitMs = 700;
static_assert(stopLimitMs + lastSignalsLimitMs < 2000, "a run that is broken off ends within two seconds");

} // namespace

SessionRun::SessionRun(QTextStream &err)
    : m_report(err)
{
    m_limit.setSingleShot(true);
    connect(&m_limit, &QTimer::timeout, this, &SessionRun::onLimit);
    m_progress.setInterval(progressPeriodMs);
    connect(&m_progress, &QTimer::timeout, this, [this] {
        if (m_report.ledger().pending() > 0) {
            m_report.tellProgress(progress());
        }
    });
}

void SessionRun::start()
{
    QString error;
    m_report.start(description());
    m_limit.start(openLimitMs);
    if (!startHost(&error)) {
        breakOff(error, LinkFailed);
    }
}

void SessionRun::opened()
{
    if (m_phase == Phase::Opening) {
        m_phase = Phase::Running;
        m_limit.stop();
        m_progress.start();
        m_report.tell(RunEvent());
    }
}

void SessionRun::onLimit()
{
    if (m_phase == Phase::Opening) {
        breakOff(QStringLiteral("%1 cannot be reached: no answer within %2 s")
                     .arg(whatIsOpened(), QString::number(openLimitMs / 1000)),
                 LinkFailed);
    } else {
        // Its ends are known, even if not all of their signals have arrived.
        if (m_phase == Phase::Stopping) {
            m_report.ledger().stopRest(QStringLiteral("the host was stopped"));
        }
        finish();
    }
}

void SessionRun::interrupt()
{
    breakOff(QString::fromLatin1(interruptedText), NotAsExpected);
}

void SessionRun::breakOff(const QString &problem, ExitCode code)
{
    if (m_phase == Phase::Stopping || m_phase == Phase::Finished) {
        return;
    }
    m_phase = Phase::Stopping;
    m_report.tellProblem(problem, code);
    beforeStop();
    stop(code);
    countNeverGiven();
    // The ends of what was pending arrive as signals.
    m_limit.start(m_report.ledger().pending() > 0 ? lastSignalsLimitMs : 0);
}

void SessionRun::stop(ExitCode codeIfSlow)
{
    const host::StopReport stopped = stopHost(stopLimitMs);
    if (!stopped.clean()) {
        m_report.tellProblem(QStringLiteral("did not stop in time: ") + stopped.slowSteps.join(QStringLiteral(", ")),
                             codeIfSlow);
    }
}

void SessionRun::finishIfDone()
{
    if (m_report.ledger().pending() > 0 || m_phase == Phase::Finished) {
        return;
    }
    if (m_phase == Phase::Stopping || !m_report.ledger().awaitsEvents()) {
        finish();
    } else if (m_phase == Phase::Running) {
        m_phase = Phase::Grace;
        m_limit.start(graceLimitMs);
    }
}

void SessionRun::finish()
{
    const bool isStopped = m_phase == Phase::Stopping;
    m_phase = Phase::Finished;
    m_progress.stop();
    m_limit.stop();
    if (!isStopped) {
        beforeStop();
        stop(NotAsExpected);
    }
    Q_EMIT finished(m_report.close(counters(), deviceRows()));
}

QString repetition(int number, int count)
{
    return count == 1 ? QString() : QStringLiteral("%1 of %2").arg(number).arg(count);
}

int execute(SessionRun &run)
{
    const tools::StopSignals signals;
    QObject::connect(&signals, &tools::StopSignals::stopRequested, &run, &SessionRun::interrupt);
    // Queued: a run can be over before the event loop runs.
    QObject::connect(&run, &SessionRun::finished, QCoreApplication::instance(), &QCoreApplication::exit,
                     Qt::QueuedConnection);
    run.start();
    return QCoreApplication::exec();
}

} // namespace biz::console
