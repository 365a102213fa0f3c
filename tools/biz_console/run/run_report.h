#ifndef BIZ_CONSOLE_RUN_REPORT_H
#define BIZ_CONSOLE_RUN_REPORT_H

#include <functional>
#include <memory>
#include <vector>

#include <QtCore/QElapsedTimer>
#include <QtCore/QTextStream>

#include <biz_console/run/command_ledger.h>
#include <biz_console/run/event_sink.h>
#include <biz_console/run/exit_codes.h>
#include <biz_console/run/run_times.h>

namespace biz::console {

/**
 * Tells the sinks of a run what happens in it. The ledger and the times are the first two,
 * so that the others find them up to date.
 */
class RunReport
{
public:
    explicit RunReport(QTextStream &err);

    void addSink(std::unique_ptr<EventSink> sink) { m_sinks.push_back(std::move(sink)); }

    CommandLedger &ledger() { return m_ledger; }
    const CommandLedger &ledger() const { return m_ledger; }
    const RunTimes &times() const { return m_times; }

    void start(RunStart run);

    /** Fills in the times, and the name of the command that an event is about. */
    void tell(RunEvent event);

    void tellProgress(const RunProgress &progress);

    /** Says on the error stream why the run ends early; the exit code follows from it. */
    void tellProblem(const QString &problem, ExitCode code);

    /** `call` is called once, when a sink has failed. */
    void setWhenOutputFails(std::function<void()> call) { m_whenOutputFails = std::move(call); }

    /** From now on the end of the run is wished for, and stopped commands are nobody's fault. */
    void endOnRequest() { m_endOnRequest = true; }

    /** Sums up and tells the end; returns the exit code. */
    ExitCode close(const host::Counters &counters, const QVector<OsdDeviceTotals> &devices);

private:
    template<typename Tell>
    void tellAll(Tell tell);
    void lookAtSinks();
    QString errorLog(const host::Counters &counters) const;
    void sayProblem(const QString &problem);

    QTextStream &m_err;
    QElapsedTimer m_sinceStart;
    CommandLedger m_ledger;
    RunTimes m_times;
    std::vector<std::unique_ptr<EventSink>> m_sinks;
    std::function<void()> m_whenOutputFails;
    bool m_hasOutputFailed = false;
    QDateTime m_startedAt;
    bool m_isOfDevice = true;
    bool m_endOnRequest = false;
    bool m_isClosed = false;
    ExitCode m_problem = AsExpected;
};

/** The problem of a run that nobody can hear of any more. */
constexpr char outputFailedText[] = "the output cannot be written";

} // namespace biz::console

#endif
