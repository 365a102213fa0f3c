#ifndef BIZ_INTERLEAVINGS_CHOOSERS_H
#define BIZ_INTERLEAVINGS_CHOOSERS_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <scenario/chooser.h>

namespace biz::interleavings {

/**
 * The choices of one run. Choices are counted from 0 at the points where more than one task could go
 * on. There the candidates stand in this order: the running task, then the others by their numbers.
 * A run without deviations takes the first one each time.
 */
struct Schedule
{
    std::map<std::size_t, std::size_t> deviations; ///< by choice: which candidate went on; never the first

    /** "17=1,25=2"; "-" for none. */
    std::string toString() const;
    static std::optional<Schedule> fromString(const std::string &text);

    friend bool operator==(const Schedule &a, const Schedule &b) { return a.deviations == b.deviations; }
};

/** Remembers the choices that it makes. Outside of the race, the first candidate goes on. */
class RecordingChooser : public scenario::Chooser
{
public:
    /** The situation's name, for the option that repeats a run. */
    void setSituation(const std::string &name) { m_situation = name; }

    void openRace() { m_isRacing = true; }
    void closeRace() { m_isRacing = false; }

    std::size_t choose(const scenario::Choice &choice) final;
    std::string option() const final { return "schedule " + m_situation + ":" + m_schedule.toString(); }

    const Schedule &schedule() const { return m_schedule; }
    std::size_t choices() const { return m_choices; }

    /** How often a task had to stop although it could have gone on. */
    int preemptions() const { return m_preemptions; }

    /** The highest number of a task that could have gone on. */
    int tasks() const { return m_tasks; }

protected:
    /** The place of the one that goes on. `isPreemption`: any but the first stops a task that could go on. */
    virtual std::size_t pick(const std::vector<int> &candidates, bool isPreemption) = 0;

    void forget();

private:
    std::string m_situation;
    bool m_isRacing = false;
    Schedule m_schedule;
    std::size_t m_choices = 0;
    int m_preemptions = 0;
    int m_tasks = 0;
};

/** Makes the choices of a schedule again. */
class Replay final : public RecordingChooser
{
public:
    explicit Replay(Schedule wanted)
        : m_wanted(std::move(wanted))
    {
    }

protected:
    std::size_t pick(const std::vector<int> &candidates, bool isPreemption) override;

private:
    Schedule m_wanted;
};

/**
 * All runs with at most `bound` preemptions, depth first: each run makes the choices of the one before
 * up to the last that has another candidate left, takes that one, and goes on without deviations.
 */
class DepthFirst final : public RecordingChooser
{
public:
    explicit DepthFirst(int bound)
        : m_bound(bound)
    {
    }

    /** Makes ready for the next run; false when there is none. */
    bool next();

    /** False: a run that should have begun like the one before met other choices. */
    bool hasRepeated() const { return m_hasRepeated; }

protected:
    std::size_t pick(const std::vector<int> &candidates, bool isPreemption) override;

private:
    struct Branch
    {
        std::size_t chosen = 0;
        std::size_t candidates = 0;
        bool isPreemption = false;
        int preemptionsBefore = 0;
    };

    bool hasAnother(const Branch &branch) const;

    int m_bound;
    std::vector<Branch> m_path;
    std::size_t m_at = 0;
    bool m_hasRepeated = true;
};

/**
 * One run of probabilistic concurrency testing: each task has a random priority, the highest goes on,
 * and at depth - 1 random choices the one that would go on falls below all others.
 *
 * An error of depth d is one that shows whenever d steps come in a certain order. With at most n tasks
 * and at most k choices, a run shows it with a chance of at least 1 / (n * k^(d - 1)), whatever the
 * other steps do. Only points with more than one candidate count: elsewhere priorities decide nothing.
 */
class RandomPriorities final : public RecordingChooser
{
public:
    RandomPriorities(std::uint64_t seed, int depth, int mostTasks, std::size_t mostChoices);

    static double chance(int depth, int mostTasks, std::size_t mostChoices);

protected:
    std::size_t pick(const std::vector<int> &candidates, bool isPreemption) override;

private:
    int priorityOf(int task) const;
    std::size_t highest(const std::vector<int> &candidates) const;

    std::map<int, int> m_priorities;            ///< by task
    std::multimap<std::size_t, int> m_descents; ///< by choice: the priority that is left
};

} // namespace biz::interleavings

#endif
