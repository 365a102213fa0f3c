#include <loops/loop_thread_p.h>

#include <system_error>
#include <utility>

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

} // namespace biz::host
