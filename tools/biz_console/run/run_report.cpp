#include <biz_console/run/run_report.h>

#include <biz_console/replies/error_log_file.h>
#include <common/units.h>

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
    tell(m_ledger);
    tell(m_times);
    for (const std::unique_ptr<EventSink> &sink : m_sinks) {
        tell(*sink);
    }
}

void RunReport::start(RunStart run)
{
    run.utc = QDateTime::currentDateTimeUtc();
    m_sinceStart.start();
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
    m_err << "biz_console: " << problem << '\n';
    m_err.flush();
    if (m_problem == AsExpected) {
        m_problem = code;
    }
}

ExitCode RunReport::close(const host::Counters &counters, const QVector<OsdDeviceTotals> &devices)
{
    RunEnd end;
    end.summary.counters = counters;
    end.summary.counters.stopped += static_cast<quint64>(m_ledger.neverGiven());
    end.summary.isOfDevice = m_isOfDevice;
    end.summary.seconds = m_times.secondsToLastEnd();
    const QString log = errorLogOfToday(QDir::currentPath());
    end.summary.errorLog = counters.rejected > 0 && QFileInfo::exists(log) ? log : QString();
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
    return end.exitCode;
}

} // namespace biz::console
