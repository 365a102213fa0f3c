#include <host/retirement_p.h>

#include <algorithm>
#include <mutex>
#include <thread>

namespace biz::host {

namespace {

class Retirement
{
public:
    ~Retirement()
    {
        for (Retired &retired : m_retired) {
            std::this_thread::sleep_until(retired.safeAfter);
            releaseStuckLoops(retired);
        }
    }

    void add(Retired retired)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto isSafe = [](Retired &old) {
            return Clock::now() >= old.safeAfter && allReturned(old);
        };
        m_retired.erase(std::remove_if(m_retired.begin(), m_retired.end(), isSafe), m_retired.end());
        m_retired.push_back(std::move(retired));
    }

private:
    static bool allReturned(Retired &retired)
    {
        return std::all_of(retired.loops.begin(), retired.loops.end(),
                           [](const std::unique_ptr<LoopThread> &loop) { return loop->join(Clock::now()); });
    }

    // A loop that has not returned by the end of the process never will: it keeps what it
    // uses, since destroying that under it would turn a hang into a crash.
    static void releaseStuckLoops(Retired &retired)
    {
        if (allReturned(retired)) {
            return;
        }
        static_cast<void>(retired.worker.release());
        for (std::unique_ptr<LoopThread> &loop : retired.loops) {
            static_cast<void>(loop.release());
        }
    }

    std::mutex m_mutex;
    std::vector<Retired> m_retired;
};

} // namespace

void retire(Retired retired)
{
    // Made after the library's own static objects, hence destroyed before them.
    static Retirement retirement;
    retirement.add(std::move(retired));
}

} // namespace biz::host
