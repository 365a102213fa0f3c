#ifndef BIZ_KIT_SEEDS_PLAY_H
#define BIZ_KIT_SEEDS_PLAY_H

#include <memory>
#include <string>
#include <vector>

#include <kit_seeds/worlds/world.h>

namespace biz::kit_seeds {

using Worlds = std::vector<std::unique_ptr<World>>;

/** One channel or both: the remainder of the number decides. */
Worlds makeWorlds(quint64 number, Dice &dice, testkit::TestClock &clock);

/**
 * Calls and misfortunes, at most so many; then all is well, every command has time to end, and the hosts are destroyed.
 * Returns the first thing that did not hold; empty: everything did.
 */
std::string play(const Worlds &worlds, Dice &dice, testkit::TestClock &clock, int steps);

} // namespace biz::kit_seeds

#endif
