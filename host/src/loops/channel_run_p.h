#ifndef BIZ_HOST_CHANNEL_RUN_P_H
#define BIZ_HOST_CHANNEL_RUN_P_H

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <QtCore/QString>

#include <loops/channel_claim_p.h>
#include <loops/host_threads_p.h>
#include <loops/retirement_p.h>
#include <loops/thread_inbox_p.h>

namespace biz::host {

/**
 * The loops of one channel from run to run: the claim on the channel, the worker with its
 * threads, what they report, and what a stopped run has left behind. Used on the host's
 * thread only; what the loops report comes through the inbox.
 */
template<typename Worker, typename Message>
class ChannelRun
{
public:
    using Inbox = ThreadInbox<Message>;

    ChannelRun(const ChannelRun &) = delete;
    ChannelRun &operator=(const ChannelRun &) = delete;

    /** Whether the channel is this object's. */
    bool isValid() const { return m_claim->succeeded(); }

    /** Whether the host has been started and not been stopped since; its loops may follow later. */
    bool isStarted() const { return m_isStarted; }
    void setStarted(bool on) { m_isStarted = on; }

    /** Whether a start is possible now; `error` says why not. */
    bool mayStart(QString *error)
    {
        if (!isValid()) {
            return false; // errorString() has said so since the host was made
        }
        if (m_isStarted) {
            *error = QStringLiteral("the host runs already");
            return false;
        }
        // A hasty stop may have left loops behind that are about to return.
        if (!formerRunIsOver(Clock::now() + formerLoopsGrace)) {
            *error = QStringLiteral("a loop of the former run has not returned");
            return false;
        }
        return true;
    }

    /** Whether the loops run, and so whether the channel's queue is in use. */
    bool hasLoops() const { return m_worker != nullptr; }
    Worker *worker() const { return m_worker.get(); }

    std::vector<Message> takeMessages() { return m_inbox->takeAll(); }

    void tellLoopsToReturn()
    {
        if (m_worker) {
            m_worker->m_bSendRun = false;
            m_worker->m_bRecvRun = false;
        }
    }

    void joinLoops(TimePoint deadline) { joinAll(m_loops, deadline); }

    /** The run is over for the host, even where a loop of it has not returned yet. */
    void letWorkerGo()
    {
        // What the former loops still say is of no interest to the next ones.
        m_inbox->close();
        m_inbox = std::make_shared<Inbox>(&m_receiver);
        m_former.worker = std::move(m_worker);
        m_former.loops = std::move(m_loops);
        m_former.meetThreads = m_meetDetachedThreads;
        m_loops.clear();
    }

    /** The names of the former loops that have not returned by the deadline. */
    QStringList slowLoops(TimePoint deadline)
    {
        return formerRunIsOver(deadline) ? QStringList() : joinAll(m_former.loops, deadline);
    }

protected:
    /** `onMessages` is called on the thread of `host` when the loops have reported something. */
    ChannelRun(std::atomic<bool> &channelIsHeld, const std::function<void()> &onMessages, QObject *host,
               std::function<void()> meetDetachedThreads)
        : m_receiver(onMessages, host)
        , m_inbox(std::make_shared<Inbox>(&m_receiver))
        , m_meetDetachedThreads(std::move(meetDetachedThreads))
        , m_exitGuard([this] { stopAtExit(); })
    {
        releaseRetired();
        m_claim = std::make_unique<ChannelClaim>(channelIsHeld);
    }

    virtual ~ChannelRun() { m_inbox->close(); }

    /** When a detached thread of the library can no longer be alive, the run flags being cleared. */
    virtual TimePoint detachedThreadsGoneAt() = 0;

    /** In the destructor of the derived class: what still uses the channel keeps it. */
    void abandon()
    {
        m_inbox->close();
        if (m_former.worker) {
            // Its loops would take what another host queues: the channel stays theirs.
            m_former.claim = std::move(m_claim);
            m_former.safeAfter = detachedThreadsGoneAt();
            retire(std::move(m_former));
        }
    }

    void makeWorker()
    {
        m_worker = std::make_unique<Worker>();
        m_worker->m_bSendRun = true;
        m_worker->m_bRecvRun = true;
    }

    void startLoop(const QString &name, void (Worker::*loop)())
    {
        m_loops.push_back(std::make_unique<LoopThread>(name, [worker = m_worker.get(), loop] { (worker->*loop)(); }));
    }

    /** Shared with the slots on the loops' threads, which may outlive this object. */
    const std::shared_ptr<Inbox> &inbox() const { return m_inbox; }

private:
    /** A few passes of a loop. */
    static constexpr std::chrono::milliseconds formerLoopsGrace{100};

    /** Whether no loop of a former run uses the channel any more; detached threads still may. */
    bool formerRunIsOver(TimePoint deadline)
    {
        if (!m_former.worker) {
            return true;
        }
        if (!joinAll(m_former.loops, deadline).isEmpty()) {
            return false;
        }
        m_former.safeAfter = detachedThreadsGoneAt();
        if (Clock::now() < m_former.safeAfter) {
            retire(std::move(m_former));
        }
        m_former = {};
        return true;
    }

    void stopAtExit()
    {
        if (!m_worker) {
            return;
        }
        tellLoopsToReturn();
        joinAll(m_loops, Clock::now() + exitGrace);
        if (m_meetDetachedThreads) {
            std::this_thread::sleep_until(detachedThreadsGoneAt());
            m_meetDetachedThreads();
        }
    }

    std::unique_ptr<ChannelClaim> m_claim;
    bool m_isStarted = false;
    InboxReceiver m_receiver;
    std::shared_ptr<Inbox> m_inbox;
    const std::function<void()> m_meetDetachedThreads;

    std::unique_ptr<Worker> m_worker;
    std::vector<std::unique_ptr<LoopThread>> m_loops;

    /** A stopped run whose loops have not returned yet: they still use the channel. */
    Retired m_former;

    ExitGuard m_exitGuard;
};

} // namespace biz::host

#endif
