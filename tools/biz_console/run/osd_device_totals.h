#ifndef BIZ_CONSOLE_OSD_DEVICE_TOTALS_H
#define BIZ_CONSOLE_OSD_DEVICE_TOTALS_H

#include <QtCore/QString>

namespace biz::console {

/** What one OSD device, or several together, came to. */
struct OsdDeviceTotals
{
    QString device;
    quint64 sent = 0;
    quint64 answered = 0;
    quint64 timedOut = 0;
    int waiting = 0;
    double medianMs = -1.0; ///< of the round trips; negative without any, as the next one
    double maximumMs = -1.0;
    double lastAnswerSeconds = 0.0; ///< since the first command of the run was sent

    /** Whether every command given to it was answered. */
    bool allAnswered() const { return waiting == 0 && answered == sent; }
};

} // namespace biz::console

#endif
