#ifndef BIZ_KIT_SEEDS_DICE_H
#define BIZ_KIT_SEEDS_DICE_H

#include <cstddef>
#include <cstdint>
#include <random>

namespace biz::kit_seeds {

/** What decides where nothing else does: random numbers, the same on every platform for the same seed, or given bytes.
 */
class Dice
{
public:
    explicit Dice(std::uint64_t seed)
        : m_engine(seed)
    {
    }

    /** Each byte decides once. When they have ended, nothing that has a chance happens. */
    Dice(const std::uint8_t *bytes, std::size_t size)
        : m_bytes(bytes)
        , m_bytesEnd(bytes + size)
    {
    }

    /** Whether there were bytes, and all have been used. */
    bool haveEnded() const { return m_bytesEnd != nullptr && m_bytes == m_bytesEnd; }

    /** 0 to limit - 1. */
    int below(int limit)
    {
        if (haveEnded()) {
            return limit - 1;
        }
        return static_cast<int>(next(limit) % static_cast<std::uint64_t>(limit));
    }
    int between(int low, int high) { return low + below(high - low + 1); }
    bool chance(int percent) { return below(100) < percent; }

private:
    std::uint64_t next(int limit)
    {
        if (m_bytesEnd == nullptr) {
            return m_engine();
        }
        constexpr int byteValues = 256;
        const std::uint64_t byte = *m_bytes++;
        // One byte is enough for the whole of a larger range.
        return limit <= byteValues ? byte : byte * static_cast<std::uint64_t>(limit) / byteValues;
    }

    std::mt19937_64 m_engine;
    const std::uint8_t *m_bytes = nullptr;
    const std::uint8_t *m_bytesEnd = nullptr;
};

} // namespace biz::kit_seeds

#endif
