#ifndef BIZ_CONSOLE_EXIT_CODES_H
#define BIZ_CONSOLE_EXIT_CODES_H

namespace biz::console {

/** What the console tells the shell. */
enum ExitCode : int {
    AsExpected = 0,    ///< every command ended as its session expects
    NotAsExpected = 1, ///< at least one did not, or the run was interrupted
    BadInput = 2,      ///< bad usage, or a session or file that cannot be read
    LinkFailed = 3,    ///< the device could not be reached, or the link was closed
};

/** That of a command whose output could not be written, which would have ended with this one. */
constexpr int unwritten(int exitCode)
{
    return exitCode == AsExpected ? int{NotAsExpected} : exitCode;
}

} // namespace biz::console

#endif
