#ifndef BIZ_CONSOLE_RUN_REPORT_H
#define BIZ_CONSOLE_RUN_REPORT_H

#include <QtCore/QElapsedTimer>
#include <QtCore/QTextStream>

#include <biz_console/command_ledger.h>
#include <biz_console/event_printer.h>
#include <biz_console/exit_codes.h>
#include <biz_console/summary.h>

namespace biz::console {

/** Where a command writes. */
struct Output
{
    QTextStream &out;
    QTextStream &err;
    bool outIsTerminal;
};

/** What a run shows and checks, on either channel: event lines, the ledger, the closing. */
class RunReport
{
public:
    RunReport(const Output &output, bool isOfDevice);

    EventPrinter &printer() { return m_printer; }
    CommandLedger &ledger() { return m_ledger; }
    const CommandLedger &ledger() const { return m_ledger; }

    /** The clock of "commands a second" starts with the first command sent. */
    void noteSent();
    void noteEnded(double roundTripMs);
    double secondsSinceFirstSent() const;

    /** Says on the error stream why the run ends early; the exit code follows from it. */
    void noteProblem(const QString &problem, ExitCode code);

    /** How often the progress line is worth renewing, in milliseconds. */
    int progressPeriodMs() const;

    /** Mismatches, what was stopped, the summary; returns the exit code. */
    ExitCode close(const host::Counters &counters);

private:
    void printList(const QString &title, const QStringList &lines);

    Output m_output;
    bool m_isOfDevice;
    EventPrinter m_printer;
    CommandLedger m_ledger;
    RoundTrips m_roundTrips;
    QElapsedTimer m_sinceFirstSent;
    double m_secondsToLastEnd = 0.0;
    ExitCode m_problem = AsExpected;
};

} // namespace biz::console

#endif
