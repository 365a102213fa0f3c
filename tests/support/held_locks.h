#ifndef BIZ_TEST_HELD_LOCKS_H
#define BIZ_TEST_HELD_LOCKS_H

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace biz::test {

using NamedLock = std::pair<std::string, std::mutex *>;
using NamedLocks = std::vector<NamedLock>;

/** The locks of the device channel, under the names of its header. */
NamedLocks deviceChannelLocks();

/** The locks of the OSD channel. */
NamedLocks osdChannelLocks();

/**
 * The names of those locks that somebody holds at this moment, the calling thread
 * included; found by trying them from a thread of its own.
 */
std::vector<std::string> heldOf(const NamedLocks &locks);

} // namespace biz::test

#endif
