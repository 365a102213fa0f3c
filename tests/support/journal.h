#ifndef BIZ_TEST_JOURNAL_H
#define BIZ_TEST_JOURNAL_H

#include <mutex>
#include <string>
#include <vector>

namespace biz::test {

/**
 * What happened, in order, across all threads: the recorders write their lines into one
 * journal, so that a test compares the order of signals, messages, sleeps and locks.
 */
class Journal
{
public:
    void add(std::string line)
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        m_lines.push_back(std::move(line));
    }

    std::vector<std::string> lines() const
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        return m_lines;
    }

    void clear()
    {
        const std::lock_guard<std::mutex> lock(m_guard);
        m_lines.clear();
    }

private:
    mutable std::mutex m_guard;
    std::vector<std::string> m_lines;
};

} // namespace biz::test

#endif
