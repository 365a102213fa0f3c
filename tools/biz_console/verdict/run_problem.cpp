#include <biz_console/verdict/run_problem.h>

namespace biz::console {

QString problemName(RunProblem problem)
{
    switch (problem) {
    case RunProblem::Interrupted:
        return QStringLiteral("interrupted");
    case RunProblem::LinkFailed:
        return QStringLiteral("linkFailed");
    case RunProblem::CommandRefused:
        return QStringLiteral("commandRefused");
    case RunProblem::OutputFailed:
        return QStringLiteral("outputFailed");
    case RunProblem::SlowStop:
        return QStringLiteral("slowStop");
    }
    Q_UNREACHABLE();
}

ExitCode exitCodeOf(RunProblem problem)
{
    switch (problem) {
    case RunProblem::LinkFailed:
        return LinkFailed;
    case RunProblem::CommandRefused:
        return BadInput;
    case RunProblem::Interrupted:
    case RunProblem::OutputFailed:
    case RunProblem::SlowStop:
        return NotAsExpected;
    }
    Q_UNREACHABLE();
}

} // namespace biz::console
