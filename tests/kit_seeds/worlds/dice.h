#ifndef BIZ_KIT_SEEDS_DICE_H
#define BIZ_KIT_SEEDS_DICE_H

#include <cstdint>
#include <random>

namespace biz::kit_seeds {

/** Random numbers that are the same on every platform for the same seed. */
class Dice
{
public:
    explicit Dice(std::uint64_t seed)
        : m_engine(seed)
    {
    }

    /** 0 to limit - 1. */
    int below(int limit) { return static_cast<int>(m_engine() % static_cast<std::uint64_t>(limit)); }
    int between(int low, int high) { return low + below(high - low + 1); }
    bool chance(int percent) { return below(100) < percent; }

private:
    std::mt19937_64 m_engine;
};

} // namespace biz::kit_seeds

#endif
