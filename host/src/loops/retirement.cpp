#include <loops/retirement_p.h>

#include <algorithm>
#include <mutex>
#include <thread>

namespace biz::host {

/** All that must outlive its host, and what the end of the process has to see to. */
class Retirement
{
public:
    /** Made after the library's own static objects, hence destroyed before them. */
    static Retirement &instance()
    {
        static Retirement retirement;
        return retirement;
    }

    ~Retirement()
    {
        for (const ExitGuard *guard : m_guards) {
            guard->m_stopLoops();
        }
        for (Retired &retired : m_retired) {
            std::this_thread::sleep_until(retired.safeAfter);
            if (!allReturned(retired, Clock::now() + exitGrace)) {
                leave(retired);
            } else if (retired.meetThreads) {
                retired.meetThreads();
            }
        }
    }

    void add(Retired retired)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_retired.push_back(std::move(retired));
    }

    void releaseSafe()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto isSafe = [](Retired &old) {
            const bool safe = Clock::now() >= old.safeAfter && allReturned(old, Clock::now());
            if (safe && old.meetThreads) {
                old.meetThreads();
            }
            return safe;
        };
        m_retired.erase(std::remove_if(m_retired.begin(), m_retired.end(), isSafe), m_retired.end());
    }

    void add(const ExitGuard *guard)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_guards.push_back(guard);
    }

    void remove(const ExitGuard *guard)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_guards.erase(std::remove(m_guards.begin(), m_guards.end(), guard), m_guards.end());
    }

private:
    static bool allReturned(Retired &retired, TimePoint deadline) { return joinAll(retired.loops, deadline).isEmpty(); }

    // A loop that has not returned by the end of the process never will: it keeps what it
    // uses, since destroying that under it would turn a hang into a crash.
    static void leave(Retired &retired)
    {
        static_cast<void>(retired.worker.release());
        static_cast<void>(retired.claim.release());
        for (std::unique_ptr<LoopThread> &loop : retired.loops) {
            static_cast<void>(loop.release());
        }
    }

    std::mutex m_mutex;
    std::vector<Retired> m_retired;
    std::vector<const ExitGuard *> m_guards;
};

void retire(Retired retired)
{
    releaseRetired();
    Retirement::instance().add(std::move(retired));
}

void releaseRetired()
{
    Retirement::instance().releaseSafe();
}

ExitGuard::ExitGuard(std::function<void()> stopLoops)
    : m_stopLoops(std::move(stopLoops))
{
    Retirement::instance().add(this);
}

ExitGuard::~ExitGuard()
{
    Retirement::instance().remove(this);
}

} // namespace biz::host
