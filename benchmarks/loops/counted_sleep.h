#ifndef BIZ_BENCH_COUNTED_SLEEP_H
#define BIZ_BENCH_COUNTED_SLEEP_H

#include <string>
#include <vector>

/**
 * Counts the passes of each loop and the CPU time of its thread: this program brings its
 * own nanosleep, which counts and then really sleeps. The loops of the library and of the
 * twin go through it alike.
 */
namespace counted {

/** From now on each pass is timed as well, which costs two looks at the clock. Before any loop runs. */
void timeWork();

/** Names the calling thread's loop; a thread that has no name is the detached one. */
void nameThisLoop(const std::string &name);

struct Reading
{
    std::string loop;
    long long passes = 0;
    long long cpuNs = 0;
    long long medianWorkNs = 0; ///< of the last passes, from one sleep to the next, if timed
};

/** Where every loop stands now, in the order of their first sleep. */
std::vector<Reading> readAll();

} // namespace counted

#endif
