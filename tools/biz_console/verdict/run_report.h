#ifndef BIZ_CONSOLE_RUN_REPORT_H
#define BIZ_CONSOLE_RUN_REPORT_H

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <QtCore/QElapsedTimer>
#include <QtCore/QTextStream>

#include <biz_console/verdict/command_ledger.h>
#include <biz_console/verdict/event_sink.h>
#include <biz_console/verdict/run_times.h>

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
    void tell(host::Event event);

    /** The same of a command that is handed to the host, and has its name. */
    void tellGiven(host::Event event, const Expectation &expected);

    void tellProgress(const RunProgress &progress);

    /** Says on the error stream why the run ends early; the exit code follows from the first problem. */
    void tellProblem(RunProblem problem, const QString &text);

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
    void sayProblem(const QString &text);
    void setTimes(host::Event &event) const;

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
    std::optional<RunProblem> m_problem; ///< the first one
};

} // namespace biz::console

#endif
