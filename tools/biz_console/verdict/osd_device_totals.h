#ifndef BIZ_CONSOLE_OSD_DEVICE_TOTALS_H
#define BIZ_CONSOLE_OSD_DEVICE_TOTALS_H

#include <QtCore/QString>

#include <host/counters.h>

namespace biz::console {

/** What one OSD device came to. */
struct OsdDeviceTotals
{
    QString device;
    host::Counters counters;
    double lastAnswerSeconds = 0.0; ///< since the first command of the run was sent; the report fills it in

    bool isReachable = true;
    qint64 silentSinceUtcMs = 0; ///< of one that is not reachable; 0: nothing could be sent to it

    /** Whether every command given to it was answered. */
    bool allAnswered() const { return counters.answered > 0 && counters.answered == counters.enqueued; }
};

} // namespace biz::console

#endif
