#include <kit_seeds/worlds/play.h>

#include <algorithm>

#include <kit_seeds/worlds/device_world.h>
#include <kit_seeds/worlds/osd_world.h>

namespace biz::kit_seeds {

using namespace std::chrono_literals;

namespace {

/** However much went wrong, this is enough for every command to end. */
constexpr milliseconds calmTime = 10min;

bool areQuiet(const Worlds &worlds)
{
    return std::all_of(worlds.begin(), worlds.end(), [](const auto &world) { return world->isQuiet(); });
}

void checkAll(const Worlds &worlds)
{
    for (const auto &world : worlds) {
        world->check();
    }
}

std::string violationOf(const Worlds &worlds)
{
    for (const auto &world : worlds) {
        if (!world->violation().isEmpty()) {
            return world->violation().text();
        }
    }
    return {};
}

void runSteps(const Worlds &worlds, Dice &dice, testkit::TestClock &clock, int steps)
{
    for (int step = 0; step < steps && !dice.haveEnded() && violationOf(worlds).empty(); ++step) {
        worlds[static_cast<std::size_t>(dice.below(static_cast<int>(worlds.size())))]->step();
        checkAll(worlds);
        if (dice.chance(60)) {
            clock.advance(milliseconds(dice.chance(5) ? dice.between(100, 4000) : dice.between(0, 100)));
            checkAll(worlds);
        }
    }
}

} // namespace

Worlds makeWorlds(quint64 number, Dice &dice, testkit::TestClock &clock)
{
    constexpr quint64 mixes = 5;
    constexpr quint64 onlyOsd = 1;
    constexpr quint64 both = 3;
    const quint64 mix = number % mixes;
    Worlds worlds;
    if (mix != onlyOsd) {
        worlds.push_back(std::make_unique<DeviceWorld>(dice, clock));
    }
    if (mix == onlyOsd || mix == both) {
        worlds.push_back(std::make_unique<OsdWorld>(dice, clock));
    }
    return worlds;
}

std::string play(const Worlds &worlds, Dice &dice, testkit::TestClock &clock, int steps)
{
    runSteps(worlds, dice, clock, steps);
    for (const auto &world : worlds) {
        world->calmDown();
    }
    const bool isQuiet = !violationOf(worlds).empty() || clock.runUntil([&] { return areQuiet(worlds); }, calmTime);
    for (const auto &world : worlds) {
        world->end();
    }
    return isQuiet ? violationOf(worlds) : "a command does not end though all is well";
}

} // namespace biz::kit_seeds
