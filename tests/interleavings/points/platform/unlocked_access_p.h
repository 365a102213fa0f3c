#ifndef BIZ_INTERLEAVINGS_UNLOCKED_ACCESS_P_H
#define BIZ_INTERLEAVINGS_UNLOCKED_ACCESS_P_H

#include <cstddef>
#include <queue>

#include <model/model_protocoldata.h>

// The library's own accesses keep what they do, under another name.
#define unlocked unlocked_without_point
#include <src/platform/unlocked_access_p.h>
#undef unlocked

/**
 * Stands before the library's header of the same name when its sources are compiled for the
 * interleavings: each access without a lock is a point of choice first.
 */
namespace biz::interleavings {

void beforeUnlockedAccess(const void *member);
void beforeUnlockedDiscard(const void *queue);

} // namespace biz::interleavings

namespace biz::unlocked {

inline bool load(const bool &member)
{
    interleavings::beforeUnlockedAccess(&member);
    return unlocked_without_point::load(member);
}

inline int load(const int &member)
{
    interleavings::beforeUnlockedAccess(&member);
    return unlocked_without_point::load(member);
}

inline void store(bool &member, bool value)
{
    interleavings::beforeUnlockedAccess(&member);
    unlocked_without_point::store(member, value);
}

inline std::size_t queueSize(const std::queue<model_Protocoldata> &queue)
{
    interleavings::beforeUnlockedAccess(&queue);
    return unlocked_without_point::queueSize(queue);
}

inline void discard(std::queue<model_Protocoldata> &queue)
{
    interleavings::beforeUnlockedDiscard(&queue);
    unlocked_without_point::discard(queue);
}

} // namespace biz::unlocked

#endif
