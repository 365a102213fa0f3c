#ifndef BIZ_OSD_CLOCK_P_H
#define BIZ_OSD_CLOCK_P_H

#include <QtCore/QDateTime>

namespace biz::osd {

/** The wall clock in whole seconds since 1970-01-01 UTC, as 32 bits that wrap. */
inline quint32 wallClockSeconds()
{
    return static_cast<quint32>(QDateTime::currentSecsSinceEpoch());
}

} // namespace biz::osd

#endif
