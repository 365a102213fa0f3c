#ifndef BIZ_HOST_MEMORY_P_H
#define BIZ_HOST_MEMORY_P_H

#include <new>

#include <QtCore/QString>

namespace biz::host {

/**
 * Runs what takes memory for a payload; false when the system has none to give. A large payload can be refused while
 * there is enough for all else, and the host goes on then.
 */
template<typename Call>
[[nodiscard]] bool memorySuffices(const Call &call)
{
    try {
        call();
        return true;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

inline QString noMemoryReason()
{
    return QStringLiteral("there is no memory for it");
}

} // namespace biz::host

#endif
