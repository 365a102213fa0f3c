#ifndef BIZ_OSD_CLOCK_P_H
#define BIZ_OSD_CLOCK_P_H

#include <limits>

#include <QtCore/QDateTime>

namespace biz::osd {

/**
 * The wall clock in whole seconds since 1970-01-01 UTC, as QDateTime::toTime_t() gives it:
 * the highest value stands for every time outside of what 32 bits can tell. Unlike that
 * call on the local date and time, it looks at no time zone, so it is quick enough to be
 * made under the lock for each command.
 */
inline quint32 wallClockSeconds()
{
    constexpr quint32 outOfRange = std::numeric_limits<quint32>::max();

    const qint64 seconds = QDateTime::currentSecsSinceEpoch();
    return seconds < 0 || seconds > outOfRange ? outOfRange : static_cast<quint32>(seconds);
}

} // namespace biz::osd

#endif
