#ifndef BIZ_HOST_RETIREMENT_P_H
#define BIZ_HOST_RETIREMENT_P_H

#include <functional>
#include <memory>
#include <vector>

#include <QtCore/QObject>

#include <loops/channel_claim_p.h>
#include <loops/host_clock_p.h>
#include <loops/host_threads_p.h>

namespace biz::host {

/** How long the end of the process waits for loops that should have returned. */
constexpr std::chrono::milliseconds exitGrace{1000};

/**
 * What is left of a stopped host: a worker that a detached thread of the library may still
 * be using, until a time by which it no longer can; and loops that had not returned, with
 * the channel that they still use.
 */
struct Retired
{
    std::unique_ptr<QObject> worker;
    std::vector<std::unique_ptr<LoopThread>> loops;
    TimePoint safeAfter{};
    std::unique_ptr<ChannelClaim> claim;

    /** Called before the worker is destroyed: takes the lock that its threads last held. */
    std::function<void()> meetThreads;
};

/**
 * Keeps the worker until it is safe to destroy. The end of the process waits for that too,
 * so that no detached thread meets the library's destroyed queues.
 */
void retire(Retired retired);

/** Destroys those of which nothing is in use any more. */
void releaseRetired();

/**
 * Stops a host's loops at the end of the process where the host itself was never destroyed,
 * as after std::exit() in a slot: they would meet the library's destroyed queues.
 */
class ExitGuard
{
public:
    explicit ExitGuard(std::function<void()> stopLoops);
    ~ExitGuard();
    ExitGuard(const ExitGuard &) = delete;
    ExitGuard &operator=(const ExitGuard &) = delete;

private:
    friend class Retirement;
    const std::function<void()> m_stopLoops;
};

} // namespace biz::host

#endif
