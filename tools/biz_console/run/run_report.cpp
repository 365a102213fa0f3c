#include <biz_console/run/run_report.h>

#include <biz_console/replies/error_log_file.h>
#include <common/shown_text.h>
#include <common/units.h>

#include <algorithm>
#include <utility>

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

namespace biz::console {

RunReport::RunReport(QTextStream &err)
    : m_err(err)
{
}

template<typename Tell>
void RunReport::tellAll(Tell tell)
{
    if (m_isClosed) {
        return; // the summary is the last that is told
    }
    tell(m_ledger);
    tell(m_times);
    for (const std::unique_ptr<EventSink> &sink : m_sinks) {
        tell(*sink);
    }
    lookAtSinks();
}

void RunReport::lookAtSinks()
{
    const bool hasFailed =
        std::any_of(m_sinks.begin(), m_sinks.end(), [](const auto &sink) { return sink->hasFailed(); });
    if (hasFailed && !std::exchange(m_hasOutputFailed, true) && m_whenOutputFails) {
        m_whenOutputFails();
    }
}

void RunReport::start(RunStart run)
{
    run.utc = QDateTime::currentDateTimeUtc();
    m_sinceStart.start();
    m_startedAt = run.utc;
    m_isOfDevice = run.isOfDevice;
    tellAll([&run](EventSink &sink) { sink.started(run); });
}

void RunReport::tell(RunEvent event)
{
    event.utc = QDateTime::currentDateTimeUtc();
    event.atMs = tools::elapsedMs(m_sinceStart);
    const bool isForeign = event.kind == RunEvent::Kind::Happened && event.event == Event::Foreign;
    const LedgerEntry *entry = isForeign ? nullptr : m_ledger.find(event.ticket);
    if (entry != nullptr) {
        event.name = entry->name;
        event.which = entry->which;
    }
    tellAll([&event](EventSink &sink) { sink.happened(event); });
}

void RunReport::tellProgress(const RunProgress &progress)
{
    tellAll([&progress](EventSink &sink) { sink.progressed(progress); });
}

void RunReport::tellProblem(const QString &problem, ExitCode code)
{
    RunEvent event;
    event.kind = RunEvent::Kind::Problem;
    event.reason = problem;
    tell(event);
    sayProblem(problem);
    if (m_problem == AsExpected) {
        m_problem = code;
    }
}

void RunReport::sayProblem(const QString &problem)
{
    m_err << "biz_console: " << tools::shownText(problem) << '\n';
    m_err.flush();
}

/**
 * The newest log that this run has written to. The library says nothing when it cannot write, and a log that was
 * there before says nothing either.
 */
QString RunReport::errorLog(const host::Counters &counters) const
{
    const QDate today = QDate::currentDate();
    const QDate firstDay = m_startedAt.toLocalTime().date();
    for (QDate day = today; counters.rejected > 0 && day >= firstDay; day = day.addDays(-1)) {
        const QFileInfo log(errorLogOf(QDir::currentPath(), day));
        if (log.exists() && log.lastModified() >= m_startedAt) {
            return log.filePath();
        }
    }
    return {};
}

ExitCode RunReport::close(const host::Counters &counters, const QVector<OsdDeviceTotals> &devices)
{
    RunEnd end;
    end.summary.counters = counters;
    end.summary.counters.stopped += static_cast<quint64>(m_ledger.neverGiven());
    end.summary.isOfDevice = m_isOfDevice;
    end.summary.seconds = m_times.secondsToLastEnd();
    end.summary.errorLog = errorLog(counters);
    end.devices = devices;
    end.mismatches = m_ledger.mismatches();
    end.stopped = m_ledger.stoppedCommands();
    end.mismatchCount = m_ledger.mismatchCount();
    end.total = m_ledger.total();
    end.endedEarly = m_problem != AsExpected;
    end.allAsExpected = m_ledger.allAsExpected();
    if (m_endOnRequest) {
        end.stopped.clear();
        end.total -= static_cast<qint64>(counters.stopped);
        end.allAsExpected = end.mismatchCount == 0;
    }
    end.exitCode = end.endedEarly ? m_problem : (end.allAsExpected ? AsExpected : NotAsExpected);
    end.utc = QDateTime::currentDateTimeUtc();
    end.atMs = tools::elapsedMs(m_sinceStart);
    tellAll([&end](EventSink &sink) { sink.ended(end); });
    m_isClosed = true;
    if (m_hasOutputFailed && end.exitCode == AsExpected) {
        sayProblem(QString::fromLatin1(outputFailedText));
        return NotAsExpected;
    }
    return end.exitCode;
}

} // namespace biz::console
