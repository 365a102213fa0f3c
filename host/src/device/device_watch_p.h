#ifndef BIZ_HOST_DEVICE_WATCH_P_H
#define BIZ_HOST_DEVICE_WATCH_P_H

#include <functional>

#include <QtCore/QTimer>

#include <device/device_ledger_p.h>

namespace biz::host {

/** Finds the commands that are over without a reply, which the library tells nobody. */
class DeviceWatch
{
public:
    /** `look` is called when it is time to; it ends with schedule(). */
    DeviceWatch(DeviceLedger *ledger, const std::function<void()> &look, QObject *host);

    /** Sees to it that the commands in flight are looked at in time, if there are any. */
    void schedule();

    void endOverdue();

private:
    void endGivenUp();
    void endReleased();

    DeviceLedger *const m_ledger;
    QTimer m_timer;
    TimePoint m_next;
};

} // namespace biz::host

#endif
