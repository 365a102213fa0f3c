#include <biz_console/verdict/run_report.h>

#include <biz_console/replies/error_log_file.h>
#include <common/files/standard_streams.h>
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

void RunReport::setTimes(host::Event &event) const
{
    event.utcMs = QDateTime::currentMSecsSinceEpoch();
    event.atMs = tools::elapsedMs(m_sinceStart);
}

void RunReport::tell(host::Event event)
{
    setTimes(event);
    // A foreign reply is no command's own, whichever it counts for.
    const LedgerEntry *entry = event.kind == host::EventKind::Foreign ? nullptr : m_ledger.find(event.ticket);
    if (entry != nullptr) {
        event.name = entry->name;
        event.which = entry->which;
    }
    tellAll([&event](EventSink &sink) { sink.happened(event); });
}

void RunReport::tellGiven(host::Event event, const Expectation &expected)
{
    setTimes(event);
    tellAll([&](EventSink &sink) { sink.given(event, expected); });
}

void RunReport::tellProgress(const RunProgress &progress)
{
    tellAll([&progress](EventSink &sink) { sink.progressed(progress); });
}

void RunReport::tellProblem(RunProblem problem, const QString &text)
{
    host::Event event;
    event.kind = host::EventKind::Problem;
    event.reason = text;
    setTimes(event);
    tellAll([&](EventSink &sink) { sink.brokeOff(event, problem); });
    sayProblem(text);
    m_problem = m_problem.value_or(problem);
}

void RunReport::sayProblem(const QString &text)
{
    m_err << "biz_console: " << tools::shownText(text) << '\n';
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
    for (OsdDeviceTotals &device : end.devices) {
        device.lastAnswerSeconds = m_times.secondsToLastAnswer(device.device);
    }
    end.mismatches = m_ledger.mismatches();
    end.stopped = m_ledger.stoppedCommands();
    end.mismatchCount = m_ledger.mismatchCount();
    end.total = m_ledger.total();
    end.endedEarly = m_problem.has_value();
    end.allAsExpected = m_ledger.allAsExpected();
    end.endedOnRequest = m_endOnRequest;
    if (m_endOnRequest) {
        end.stopped.clear();
        end.total -= static_cast<qint64>(counters.stopped);
        end.allAsExpected = end.mismatchCount == 0;
    }
    end.exitCode = m_problem ? exitCodeOf(*m_problem) : (end.allAsExpected ? AsExpected : NotAsExpected);
    end.utcMs = QDateTime::currentMSecsSinceEpoch();
    end.atMs = tools::elapsedMs(m_sinceStart);
    tellAll([&end](EventSink &sink) { sink.ended(end); });
    m_isClosed = true;
    if (m_hasOutputFailed && end.exitCode == AsExpected) {
        sayProblem(tools::outputFailedText());
        return NotAsExpected;
    }
    return end.exitCode;
}

} // namespace biz::console
