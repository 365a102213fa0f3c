#include <loops/loop_thread_p.h>

#include <algorithm>

namespace biz::host {

LoopThread::LoopThread(const QString &name, std::function<void()> body)
    : m_thread(QThread::create([this, run = std::move(body)] {
        run();
        m_hasReturned.store(true, std::memory_order_release);
    }))
{
    m_thread->setObjectName(name);
    m_thread->start();
    m_hasStarted = m_thread->isRunning() || m_thread->isFinished();
}

bool LoopThread::join(TimePoint deadline)
{
    using std::chrono::milliseconds;

    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
    return m_thread->wait(static_cast<unsigned long>(std::max(left, milliseconds(0)).count())) &&
           (!m_hasStarted || m_hasReturned.load(std::memory_order_acquire));
}

} // namespace biz::host
