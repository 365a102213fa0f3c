#ifndef BIZ_SCENARIO_CHOOSER_H
#define BIZ_SCENARIO_CHOOSER_H

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace biz::scenario {

/** Random numbers that are the same on every platform for the same seed. */
class Random
{
public:
    explicit Random(std::uint64_t seed)
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

/** The tasks that could go on at a point, one at least, in the order of their numbers. */
struct Choice
{
    std::vector<int> tasks;
    int running = 0; ///< the task that got to the point, if it is one of them; else 0
};

/** Decides at each point of a run who goes on. */
class Chooser
{
public:
    Chooser() = default;
    virtual ~Chooser() = default;
    Chooser(const Chooser &) = delete;
    Chooser &operator=(const Chooser &) = delete;

    /** The place in `choice.tasks` of the task that goes on. */
    virtual std::size_t choose(const Choice &choice) = 0;

    /** The program's option that repeats the run as far as it has come, without its dashes. */
    virtual std::string option() const = 0;
};

/** Each task that could go on has the same chance. */
class RandomChooser final : public Chooser
{
public:
    explicit RandomChooser(std::uint64_t seed)
        : m_seed(seed)
        , m_random(seed)
    {
    }

    std::size_t choose(const Choice &choice) override
    {
        return static_cast<std::size_t>(m_random.below(static_cast<int>(choice.tasks.size())));
    }
    std::string option() const override { return "seed " + std::to_string(m_seed); }

private:
    std::uint64_t m_seed;
    Random m_random;
};

} // namespace biz::scenario

#endif
