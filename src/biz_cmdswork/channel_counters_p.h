#ifndef BIZ_CHANNEL_COUNTERS_P_H
#define BIZ_CHANNEL_COUNTERS_P_H

#include <mutex>

#include <biz_cmdswork/biz_cmdswork.h>

/** The single locked steps that the send side is made of. */
namespace biz::channel {

/** Adds 1, wrapping at 32 bits: the counters of a long-running host never overflow. */
inline void addOne(int &counter)
{
    counter = static_cast<int>(static_cast<unsigned>(counter) + 1U);
}

/** Adds 1 under the lock; returns the new value. */
inline int countUp(int &counter)
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    addOne(counter);
    return counter;
}

/** The next command may go. */
inline void openGate()
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::bRetFlag = true;
}

} // namespace biz::channel

#endif
