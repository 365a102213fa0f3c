#include <biz_monitor/watch/watched_log.h>

#include <QtCore/QDateTime>
#include <QtCore/QElapsedTimer>

namespace biz::monitor {

namespace {

/** Of each device; twice as many are held at times. */
constexpr std::size_t keptCommands = 2000;

/** As soon as anybody would notice. */
constexpr int pollPeriodMs = 100;

/** Keys and pointer wait for so long at most while a long log is read. */
constexpr qint64 sliceMs = 25;

/** Logs whose last line is not older belong to a program that runs. */
constexpr double recentMs = 10000.0;

} // namespace

WatchedLog::WatchedLog(std::unique_ptr<LineSource> source)
    : m_source(std::move(source))
    , m_builder(keptCommands)
{
    m_builder.beginFile(m_source->name());
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { m_timer.start(readOn() ? 0 : pollPeriodMs); });
    m_timer.start(0);
}

bool WatchedLog::readOn()
{
    QElapsedTimer since;
    since.start();
    bool hasRead = false;
    for (QByteArray line; since.elapsed() < sliceMs && m_source->next(&line); hasRead = true) {
        m_hasGrown = m_hasGrown || m_hasCaughtUp;
        m_builder.readEventLine(line);
    }
    m_hasCaughtUp = m_hasCaughtUp || (!hasRead && history().events > 0);
    return hasRead;
}

QString WatchedLog::problem() const
{
    const QString problem = m_source->problem();
    if (!problem.isEmpty()) {
        return problem;
    }
    const history::Source &read = history().sources.front();
    if (read.lines == 0 && read.notUnderstood > 0) {
        return QStringLiteral("%1: an event log or a recording expected, with one JSON object a line").arg(name());
    }
    return {};
}

/** By the clock of the log, which stays as it is when somebody sets the clock, or the machine sleeps. */
double WatchedLog::presentMs() const
{
    return static_cast<double>(QDateTime::currentMSecsSinceEpoch()) - m_builder.clockAheadMs();
}

bool WatchedLog::isLive() const
{
    if (history().runs.empty() || history().runs.back().isComplete) {
        return false;
    }
    return m_hasGrown || (m_hasCaughtUp && presentMs() - history().toMs < recentMs);
}

double WatchedLog::nowMs() const
{
    return isLive() ? presentMs() : history().toMs;
}

} // namespace biz::monitor
