#ifndef BIZ_CONSOLE_RUN_PROBLEM_H
#define BIZ_CONSOLE_RUN_PROBLEM_H

#include <QtCore/QString>

#include <biz_console/verdict/exit_codes.h>

namespace biz::console {

/** Why a run ends early. */
enum class RunProblem {
    Interrupted,    ///< whoever watched it ended it
    LinkFailed,     ///< the device could not be reached, or the link was closed
    CommandRefused, ///< the host does not take a command of the session
    OutputFailed,   ///< nobody can hear of the run any more
    SlowStop,       ///< the host did not stop in time
};

/** The name in JSON: "interrupted", "linkFailed"... */
QString problemName(RunProblem problem);

ExitCode exitCodeOf(RunProblem problem);

} // namespace biz::console

#endif
