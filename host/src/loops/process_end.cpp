#include <loops/process_end_p.h>

#include <atomic>
#include <mutex>
#include <utility>
#include <vector>

namespace biz::host::process_end {

namespace {

std::atomic<bool> begun{false};

class Steps
{
public:
    Steps() = default;
    ~Steps()
    {
        begun = true;
        for (const std::function<void()> &step : m_steps) {
            step();
        }
    }
    Steps(const Steps &) = delete;
    Steps &operator=(const Steps &) = delete;

    void add(std::function<void()> step)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_steps.push_back(std::move(step));
    }

private:
    std::mutex m_mutex;
    std::vector<std::function<void()>> m_steps;
};

} // namespace

void addStep(std::function<void()> step)
{
    static Steps steps;
    steps.add(std::move(step));
}

bool hasBegun()
{
    return begun;
}

} // namespace biz::host::process_end
