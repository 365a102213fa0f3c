#ifndef BIZ_SCENARIO_WORLD_H
#define BIZ_SCENARIO_WORLD_H

#include <array>
#include <cstdint>
#include <string>

namespace biz::scenario {

/** The places in a pass that takes a command, and one for all behind them. */
constexpr std::size_t pointsOfTake = 11;

/** What the runs of one program have covered. */
struct Coverage
{
    std::uint64_t runs = 0;
    std::uint64_t commands = 0;
    std::uint64_t replies = 0;
    std::uint64_t points = 0;
    std::uint64_t virtualMs = 0;
    std::uint64_t resends = 0;
    std::uint64_t giveUps = 0;
    std::uint64_t clears = 0;

    /** Discards and gate openings of clears, by the place of a send loop in a pass that takes a command. */
    std::array<std::uint64_t, pointsOfTake> discardsAtPoint{};
    std::array<std::uint64_t, pointsOfTake> openingsAtPoint{};

    /** Gates that nothing would have opened after a clear had met a take; the host did. */
    std::uint64_t wedgedGates = 0;

    /** All choices and signals of the latest run, in one number. */
    std::uint64_t fingerprint = 0;
};

/** One class of scenarios: which of the host's liberties it takes. */
struct ScenarioClass
{
    const char *name;
    void (*run)(std::uint64_t seed, const ScenarioClass &options, Coverage &coverage);
    int workers = 1;
    bool clears = false;
    bool skips = false;
    bool watchdogs = false;
    bool openings = false; ///< of the gate, at any moment
    bool planChanges = false;
    bool typeChanges = false;
    bool clockJumps = false;
};

void runDeviceScenario(std::uint64_t seed, const ScenarioClass &options, Coverage &coverage);
void runOsdScenario(std::uint64_t seed, const ScenarioClass &options, Coverage &coverage);

} // namespace biz::scenario

#endif
