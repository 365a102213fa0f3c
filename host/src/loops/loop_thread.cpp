#include <loops/loop_thread_p.h>

#include <system_error>
#include <utility>
#include <vector>

#include <pthread.h>

namespace biz::host {

LoopThread::LoopThread(QString name, std::function<void()> body)
    : m_name(std::move(name))
{
    try {
        m_thread = std::thread([this, own = std::move(body)] { run(own); });
        m_hasStarted = true;
    } catch (const std::system_error &) {
        m_hasReturned = true;
    }
}

LoopThread::~LoopThread()
{
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

bool LoopThread::join(TimePoint deadline)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_until(lock, deadline, [this] { return m_hasReturned; });
}

void LoopThread::run(const std::function<void()> &body)
{
    constexpr int shownLetters = 15;
    pthread_setname_np(pthread_self(), m_name.left(shownLetters).toLatin1().constData());
    body();
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_hasReturned = true;
    m_changed.notify_all();
}

bool canHaveThreads(int count)
{
    std::mutex mutex;
    std::condition_variable changed;
    bool mayLeave = false;
    std::vector<std::thread> threads;
    const auto stay = [&] {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&mayLeave] { return mayLeave; });
    };
    try {
        while (static_cast<int>(threads.size()) < count) {
            threads.emplace_back(stay);
        }
    } catch (const std::system_error &) {
        // So many can be had and no more.
    }
    {
        const std::lock_guard<std::mutex> lock(mutex);
        mayLeave = true;
    }
    changed.notify_all();
    for (std::thread &thread : threads) {
        thread.join();
    }
    return static_cast<int>(threads.size()) == count;
}

} // namespace biz::host
