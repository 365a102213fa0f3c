#include <biz_console/run_report.h>

#include <QtCore/QDir>
#include <QtCore/QFileInfo>

namespace biz::console {

namespace {

constexpr int terminalPeriodMs = 200;
constexpr int plainPeriodMs = 1000;
constexpr double millisecondsPerSecond = 1000.0;

} // namespace

RunReport::RunReport(const Output &output, bool isOfDevice)
    : m_output(output)
    , m_isOfDevice(isOfDevice)
    , m_printer(output.out, output.outIsTerminal)
{
}

void RunReport::noteSent()
{
    if (!m_sinceFirstSent.isValid()) {
        m_sinceFirstSent.start();
    }
}

double RunReport::secondsSinceFirstSent() const
{
    return m_sinceFirstSent.isValid() ? static_cast<double>(m_sinceFirstSent.elapsed()) / millisecondsPerSecond : 0.0;
}

void RunReport::noteEnded(double roundTripMs)
{
    m_secondsToLastEnd = secondsSinceFirstSent();
    if (roundTripMs >= 0) {
        m_roundTrips.add(roundTripMs);
    }
}

void RunReport::noteProblem(const QString &problem, ExitCode code)
{
    m_printer.line({});
    m_output.err << "biz_console: " << problem << '\n';
    m_output.err.flush();
    if (m_problem == AsExpected) {
        m_problem = code;
    }
}

int RunReport::progressPeriodMs() const
{
    return m_output.outIsTerminal ? terminalPeriodMs : plainPeriodMs;
}

void RunReport::printList(const QString &title, const QStringList &lines)
{
    if (lines.isEmpty()) {
        return;
    }
    m_printer.line({});
    m_printer.line(title);
    for (const QString &line : lines) {
        m_printer.line(QStringLiteral("  ") + line);
    }
}

ExitCode RunReport::close(const host::Counters &counters)
{
    const QStringList mismatches = m_ledger.mismatches();
    printList(QStringLiteral("not as expected"), mismatches);
    printList(QStringLiteral("stopped before they ended"), m_ledger.stoppedCommands());

    Summary summary;
    summary.counters = counters;
    summary.counters.stopped += static_cast<quint64>(m_ledger.neverGiven());
    summary.isOfDevice = m_isOfDevice;
    summary.roundTrips = m_roundTrips;
    summary.seconds = m_secondsToLastEnd;
    const QString log = errorLogOfToday(QDir::currentPath());
    summary.errorLog = counters.rejected > 0 && QFileInfo::exists(log) ? log : QString();
    m_printer.line({});
    for (const QString &line : summary.lines()) {
        m_printer.line(line);
    }
    if (m_problem != AsExpected) {
        return m_problem;
    }
    const bool good = m_ledger.allAsExpected();
    m_printer.line(good ? QStringLiteral("  all %1 commands ended as expected").arg(m_ledger.total())
                        : QStringLiteral("  %1 of %2 commands did not end as expected")
                              .arg(mismatches.size())
                              .arg(m_ledger.total()));
    return good ? AsExpected : NotAsExpected;
}

} // namespace biz::console
