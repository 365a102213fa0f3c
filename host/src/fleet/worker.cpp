#include <fleet/worker_p.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <QtCore/QDir>

#include <timing_p.h>

namespace biz::host {

namespace {

/** Bytes on their way to a worker from which on it counts as one that does not read. */
constexpr qint64 mostOnTheirWay = qint64{64} * 1024;

/** As much of its errors as a reason repeats. */
constexpr int keptErrors = 400;

} // namespace

Worker::Worker(const WorkerPlan &plan, QObject *parent)
    : QObject(parent)
    , m_plan(plan)
    , m_starting(this)
    , m_beating(this)
    , m_killing(this)
    , m_pause(timing::firstWorkerPause)
{
    m_starting.setSingleShot(true);
    connect(&m_starting, &QTimer::timeout, this, &Worker::attempt);
    m_beating.setInterval(plan.heartbeat);
    connect(&m_beating, &QTimer::timeout, this, &Worker::beat);
    m_killing.setSingleShot(true);
    connect(&m_killing, &QTimer::timeout, this, [this] { kill(QStringLiteral("it did not end in time")); });
}

Worker::~Worker()
{
    if (m_process) {
        m_process->disconnect(this);
    }
}

void Worker::start()
{
    m_starting.start(std::chrono::milliseconds(0));
}

// --- Starting ---------------------------------------------------------------------------------

void Worker::attempt()
{
    if (!mayUseFolder()) {
        m_starting.start(timing::workerLockLookPeriod);
        return;
    }
    m_process = std::make_unique<WorkerProcess>(m_plan.folder, this);
    m_splitter = LineSplitter();
    m_errors.clear();
    m_unanswered = 0;
    m_killedFor.clear();
    m_startedAt = Clock::now();
    m_servingSince.reset();
    connectProcess();
    m_beating.start();
    m_process->start(m_plan.program, m_plan.arguments);
}

/** One that was deleted is made again. */
bool Worker::mayUseFolder()
{
    QDir().mkpath(m_plan.folder); // why that fails, the lock tells
    const int error = WorkerProcess::lockError(m_plan.folder);
    if (error == EWOULDBLOCK) {
        tellAway(Error::FolderTaken, QStringLiteral("another process works in ") + m_plan.folder);
    } else if (error != 0) {
        tellAway(Error::CannotMakeFolder,
                 QStringLiteral("the folder %1 cannot be used: %2").arg(m_plan.folder, qt_error_string(error)));
    }
    return error == 0;
}

void Worker::connectProcess()
{
    connect(m_process.get(), &QProcess::readyReadStandardOutput, this, &Worker::onOutput);
    connect(m_process.get(), &QProcess::readyReadStandardError, this, &Worker::onErrors);
    connect(m_process.get(), &QProcess::bytesWritten, this, &Worker::writable);
    connect(m_process.get(), &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart) {
            onEnd(Error::WorkerCannotStart,
                  m_plan.program + QStringLiteral(" cannot be run: ") + m_process->errorString());
        }
    });
    connect(m_process.get(), QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            [this](int code, QProcess::ExitStatus status) {
                onOutput();
                onErrors();
                onEnd(Error::WorkerEnded, status == QProcess::NormalExit
                                              ? QStringLiteral("the worker ended with exit status %1").arg(code)
                                              : QStringLiteral("the worker was killed by signal %1").arg(code));
            });
}

/** One that had served for a while starts again soon; one that keeps ending does so ever more rarely. */
void Worker::attemptLater()
{
    if (m_servingSince && Clock::now() - *m_servingSince >= timing::workerCountsAsSteady) {
        m_pause = timing::firstWorkerPause;
    }
    m_starting.start(m_pause);
    m_pause = std::min(2 * m_pause, std::chrono::milliseconds(timing::longestWorkerPause));
}

// --- Watching ---------------------------------------------------------------------------------

/** One that is being started cannot answer yet, and has longer. */
void Worker::beat()
{
    if (!m_isServing) {
        if (Clock::now() - m_startedAt >= timing::workerStartLimit) {
            kill(QStringLiteral("it did not begin to serve in time"));
        }
        return;
    }
    if (m_unanswered >= m_plan.mostUnanswered) {
        kill(QStringLiteral("it did not answer any more"));
        return;
    }
    ++m_unanswered;
    m_process->write("{\"do\":\"counters\"}\n");
}

void Worker::onOutput()
{
    if (m_process) {
        m_splitter.add(m_process->readAllStandardOutput(), [this](const InputLine &read) { onLine(read); });
    }
}

void Worker::onErrors()
{
    if (m_process) {
        m_errors = (m_errors + m_process->readAllStandardError()).right(keptErrors);
    }
}

void Worker::onLine(const InputLine &read)
{
    m_unanswered = 0;
    if (read.isTooLong) {
        kill(QStringLiteral("it said a line of more than %1 bytes").arg(LineSplitter::longestLine));
        return;
    }
    if (!m_isServing) {
        m_isServing = true;
        m_servingSince = Clock::now();
        m_toldError = Error::None;
        Q_EMIT serving();
    }
    Q_EMIT line(read.text);
}

// --- To the worker ----------------------------------------------------------------------------

bool Worker::canTake() const
{
    return m_isServing && !m_isStopping && m_process->bytesToWrite() < mostOnTheirWay;
}

void Worker::write(const QByteArray &line)
{
    m_process->write(line);
}

// --- Ending -----------------------------------------------------------------------------------

void Worker::kill(const QString &why)
{
    if (m_process) {
        m_killedFor = why;
        m_process->kill();
    }
}

void Worker::stop()
{
    m_isStopping = true;
    m_starting.stop();
    m_beating.stop();
    if (m_process) {
        m_process->closeWriteChannel(); // which asks it to end
        m_killing.start(timing::workerEndLimit);
    }
}

void Worker::stopNow(TimePoint deadline)
{
    if (!m_process) {
        return;
    }
    m_process->disconnect(this);
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    if (!m_process->waitForFinished(static_cast<int>(std::max<qint64>(left.count(), 0)))) {
        m_process->kill();
        m_process->waitForFinished(static_cast<int>(timing::killedWorkerGrace.count()));
    }
    m_process.reset();
}

void Worker::onEnd(Error error, const QString &how)
{
    m_beating.stop();
    m_killing.stop();
    m_isServing = false;
    // It is inside of one of its own signals.
    m_process->disconnect(this);
    m_process.release()->deleteLater();
    if (m_isStopping) {
        Q_EMIT gone();
        return;
    }
    attemptLater();
    if (m_killedFor.isEmpty()) {
        tellAway(error, how + lastWords());
    } else {
        tellAway(Error::WorkerSilent, QStringLiteral("the worker was killed: ") + m_killedFor);
    }
    Q_EMIT ended();
}

/** The same trouble is told once, until it has served again. */
void Worker::tellAway(Error error, const QString &reason)
{
    if (std::exchange(m_toldError, error) != error) {
        Q_EMIT away(error, reason);
    }
}

QString Worker::lastWords() const
{
    const QString text = QString::fromUtf8(m_errors).trimmed();
    return text.isEmpty() ? QString() : QStringLiteral(": ") + text;
}

} // namespace biz::host
