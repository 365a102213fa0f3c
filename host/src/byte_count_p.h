#ifndef BIZ_HOST_BYTE_COUNT_P_H
#define BIZ_HOST_BYTE_COUNT_P_H

#include <QtCore/QByteArray>

namespace biz::host {

/** How many bytes there are, as the kit counts them: what comes from a link or goes to one is far below an int's limit.
 */
inline int byteCount(const QByteArray &bytes)
{
    return static_cast<int>(bytes.size());
}

} // namespace biz::host

#endif
