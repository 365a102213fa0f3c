#ifndef BIZ_HOST_CHANNEL_LOOPS_P_H
#define BIZ_HOST_CHANNEL_LOOPS_P_H

#include <atomic>
#include <memory>
#include <vector>

#include <QtCore/QStringList>

#include <host/vocabulary.h>
#include <loops/inbox_p.h>
#include <loops/loop_thread_p.h>
#include <timing_p.h>

namespace biz::host {

/**
 * The worker of one channel with the threads of its loops, and what the loops report. There is one
 * object per channel, and it is never destroyed: threads that the library has detached may use the
 * worker until the process ends. Hosts claim it one after the other.
 */
template<typename Worker, typename Message>
class ChannelLoops
{
public:
    ChannelLoops(const ChannelLoops &) = delete;
    ChannelLoops &operator=(const ChannelLoops &) = delete;

    /** Whether the channel was free, and is the caller's now. */
    [[nodiscard]] bool claim() { return !m_isClaimed.exchange(true); }
    void release() { m_isClaimed = false; }

    Worker &worker() { return m_worker; }
    Inbox<Message> &inbox() { return m_inbox; }

    /** Between a begin() and the join() that found both loops returned. */
    bool areRunning() const { return !m_threads.empty(); }

    /** Starts both loops. They must not be running: there is never a second pair. */
    [[nodiscard]] Error begin()
    {
        if (!join(Clock::now()).isEmpty()) {
            return Error::LoopsStillRunning;
        }
        constexpr int ownThreads = 2;
        if (m_threadsOfTheLibrary > 0 && !canHaveThreads(ownThreads + m_threadsOfTheLibrary)) {
            return Error::CannotStartThread;
        }
        m_worker.m_bSendRun = true;
        m_worker.m_bRecvRun = true;
        // The send loop is last, because it may start a thread that nobody can take back.
        const bool started =
            start(m_receiveName, &Worker::a1_receiveGetQueueWork) && start(m_sendName, &Worker::a1_GetQueueWork);
        if (!started) {
            tellToReturn();
            join(Clock::now() + timing::loopReturnGrace);
            return Error::CannotStartThread;
        }
        return Error::None;
    }

    void tellToReturn()
    {
        m_worker.m_bSendRun = false;
        m_worker.m_bRecvRun = false;
    }

    /** Returns the names of the loops that have not returned by the deadline. */
    QStringList join(TimePoint deadline)
    {
        QStringList slow;
        for (const auto &thread : m_threads) {
            if (!thread->join(deadline)) {
                slow.append(thread->name());
            }
        }
        if (slow.isEmpty()) {
            m_threads.clear();
        }
        return slow;
    }

protected:
    /** A thread that the library cannot start for a loop ends the process: it is made sure of before. */
    ChannelLoops(QString sendName, QString receiveName, int threadsOfTheLibrary)
        : m_sendName(std::move(sendName))
        , m_receiveName(std::move(receiveName))
        , m_threadsOfTheLibrary(threadsOfTheLibrary)
    {
        tellToReturn(); // the worker leaves its flags unset
    }
    ~ChannelLoops() = default;

private:
    bool start(const QString &name, void (Worker::*loop)())
    {
        auto thread = std::make_unique<LoopThread>(name, [this, loop] { (m_worker.*loop)(); });
        if (!thread->hasStarted()) {
            return false;
        }
        m_threads.push_back(std::move(thread));
        return true;
    }

    const QString m_sendName;
    const QString m_receiveName;
    const int m_threadsOfTheLibrary; ///< that it starts by itself when its loops begin
    std::atomic<bool> m_isClaimed{false};
    Worker m_worker;
    Inbox<Message> m_inbox;
    std::vector<std::unique_ptr<LoopThread>> m_threads;
};

} // namespace biz::host

#endif
