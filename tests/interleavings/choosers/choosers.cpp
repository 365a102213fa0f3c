#include <interleavings/choosers/choosers.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <sstream>

namespace biz::interleavings {

std::string Schedule::toString() const
{
    std::string text;
    for (const auto &[choice, candidate] : deviations) {
        text += (text.empty() ? "" : ",") + std::to_string(choice) + "=" + std::to_string(candidate);
    }
    return text.empty() ? "-" : text;
}

std::optional<Schedule> Schedule::fromString(const std::string &text)
{
    Schedule schedule;
    if (text == "-") {
        return schedule;
    }
    std::istringstream stream(text);
    do {
        std::size_t choice = 0;
        std::size_t candidate = 0;
        char equals = '\0';
        if (!(stream >> choice >> equals >> candidate) || equals != '=') {
            return std::nullopt;
        }
        schedule.deviations[choice] = candidate;
    } while (stream.peek() == ',' && stream.get() == ',');
    return stream.eof() ? std::optional(schedule) : std::nullopt;
}

std::size_t RecordingChooser::choose(const scenario::Choice &choice)
{
    if (choice.tasks.size() == 1) {
        return 0;
    }
    std::vector<int> candidates = choice.tasks;
    const auto running = std::find(candidates.begin(), candidates.end(), choice.running);
    if (running != candidates.end()) {
        std::rotate(candidates.begin(), running, running + 1);
    }
    std::size_t picked = 0;
    if (m_isRacing) {
        m_tasks = std::max(m_tasks, choice.tasks.back());
        picked = pick(candidates, choice.running != 0);
        if (picked != 0) {
            m_schedule.deviations[m_choices] = picked;
            m_preemptions += choice.running != 0 ? 1 : 0;
        }
        ++m_choices;
    }
    const auto place = std::find(choice.tasks.begin(), choice.tasks.end(), candidates[picked]);
    return static_cast<std::size_t>(place - choice.tasks.begin());
}

void RecordingChooser::forget()
{
    m_schedule = Schedule();
    m_choices = 0;
    m_preemptions = 0;
}

std::size_t Replay::pick(const std::vector<int> &candidates, bool /*isPreemption*/)
{
    const auto wanted = m_wanted.deviations.find(choices());
    return wanted != m_wanted.deviations.end() && wanted->second < candidates.size() ? wanted->second : 0;
}

std::size_t DepthFirst::pick(const std::vector<int> &candidates, bool isPreemption)
{
    if (m_at == m_path.size()) {
        m_path.push_back({0, candidates.size(), isPreemption, preemptions()});
    }
    const Branch &branch = m_path[m_at++];
    if (branch.candidates != candidates.size() || branch.isPreemption != isPreemption) {
        m_hasRepeated = false;
        return 0;
    }
    return branch.chosen;
}

bool DepthFirst::hasAnother(const Branch &branch) const
{
    const bool isAllowed = !branch.isPreemption || branch.preemptionsBefore < m_bound;
    return isAllowed && branch.chosen + 1 < branch.candidates;
}

bool DepthFirst::next()
{
    m_hasRepeated = m_hasRepeated && m_at == m_path.size();
    while (!m_path.empty() && !hasAnother(m_path.back())) {
        m_path.pop_back();
    }
    if (m_path.empty()) {
        return false;
    }
    ++m_path.back().chosen;
    m_at = 0;
    forget();
    return true;
}

RandomPriorities::RandomPriorities(std::uint64_t seed, int depth, int mostTasks, std::size_t mostChoices)
{
    scenario::Random random(seed);
    // Descents leave 0 to depth - 2, which is below every priority at the start.
    for (int descent = 0; descent < depth - 1; ++descent) {
        m_descents.emplace(static_cast<std::size_t>(random.below(static_cast<int>(mostChoices))), descent);
    }
    std::vector<int> priorities(static_cast<std::size_t>(mostTasks));
    std::iota(priorities.begin(), priorities.end(), depth);
    for (int task = mostTasks; task > 0; --task) {
        std::swap(priorities[static_cast<std::size_t>(task - 1)],
                  priorities[static_cast<std::size_t>(random.below(task))]);
        m_priorities[task] = priorities[static_cast<std::size_t>(task - 1)];
    }
}

double RandomPriorities::chance(int depth, int mostTasks, std::size_t mostChoices)
{
    return 1.0 / (mostTasks * std::pow(static_cast<double>(mostChoices), depth - 1));
}

/** A task beyond the number that was foretold has the lowest: then the stated chance does not hold. */
int RandomPriorities::priorityOf(int task) const
{
    const auto priority = m_priorities.find(task);
    return priority == m_priorities.end() ? -1 : priority->second;
}

std::size_t RandomPriorities::highest(const std::vector<int> &candidates) const
{
    const auto isLower = [this](int a, int b) {
        return priorityOf(a) < priorityOf(b);
    };
    return static_cast<std::size_t>(std::max_element(candidates.begin(), candidates.end(), isLower) -
                                    candidates.begin());
}

std::size_t RandomPriorities::pick(const std::vector<int> &candidates, bool /*isPreemption*/)
{
    const auto [first, last] = m_descents.equal_range(choices());
    for (auto descent = first; descent != last; ++descent) {
        m_priorities[candidates[highest(candidates)]] = descent->second;
    }
    return highest(candidates);
}

} // namespace biz::interleavings
