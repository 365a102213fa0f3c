#ifndef BIZ_HOST_RETIREMENT_P_H
#define BIZ_HOST_RETIREMENT_P_H

#include <memory>
#include <vector>

#include <QtCore/QObject>

#include <host/host_clock_p.h>
#include <host/host_threads_p.h>

namespace biz::host {

/**
 * What is left of a stopped host: a worker that a detached thread of the library may still
 * be using, until a time by which it no longer can; and loops that had not returned.
 */
struct Retired
{
    std::unique_ptr<QObject> worker;
    std::vector<std::unique_ptr<LoopThread>> loops;
    TimePoint safeAfter;
};

/**
 * Keeps the worker until it is safe to destroy. The end of the process waits for that too,
 * so that no detached thread meets the library's destroyed queues.
 */
void retire(Retired retired);

} // namespace biz::host

#endif
