#ifndef BIZ_TEST_TALLY_H
#define BIZ_TEST_TALLY_H

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace biz::test {

/** Numbers noted by any thread, in the order of their arrival, and a bounded wait for them. */
class Tally
{
public:
    void note(int number)
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        m_numbers.push_back(number);
        m_changed.notify_all();
    }

    /** False when `count` numbers have not come within 60 s. */
    bool waitFor(std::size_t count) const
    {
        std::unique_lock<std::mutex> lock(m_guard);
        return m_changed.wait_for(lock, std::chrono::seconds(60), [&] { return m_numbers.size() >= count; });
    }

    /** False when the number has not come within 60 s. */
    bool waitForNumber(int number) const
    {
        std::unique_lock<std::mutex> lock(m_guard);
        return m_changed.wait_for(lock, std::chrono::seconds(60), [&] {
            return std::find(m_numbers.begin(), m_numbers.end(), number) != m_numbers.end();
        });
    }

    std::vector<int> numbers() const
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        return m_numbers;
    }

private:
    mutable std::mutex m_guard;
    mutable std::condition_variable m_changed;
    std::vector<int> m_numbers;
};

} // namespace biz::test

#endif
