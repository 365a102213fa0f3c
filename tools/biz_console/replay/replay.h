#ifndef BIZ_CONSOLE_REPLAY_H
#define BIZ_CONSOLE_REPLAY_H

#include <functional>

#include <biz_console/recording/recording.h>
#include <biz_console/run/session_run.h>

namespace biz::console {

/** Gives a run the sinks that show it. */
using ShowRun = std::function<void(SessionRun &run)>;

/**
 * The same without the time that the devices took: every reply comes as soon as what it followed has
 * happened. What the library waits for, it waits for all the same.
 */
Recording withoutWaiting(Recording recording);

/**
 * Plays a recording through the library, in place of the devices, and returns what that looked
 * like. It takes as long as the recorded run. Throws InputError when it cannot be played.
 * `problems` is what the run said on its error stream.
 */
Recording replay(const Recording &recording, const ShowRun &show, QString *problems);

} // namespace biz::console

#endif
