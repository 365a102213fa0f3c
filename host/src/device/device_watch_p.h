#ifndef BIZ_HOST_DEVICE_WATCH_P_H
#define BIZ_HOST_DEVICE_WATCH_P_H

#include <functional>

#include <QtCore/QTimer>

#include <device/device_gate_p.h>

namespace biz::host {

/**
 * Finds out when the library has given a command up, which it tells nobody: it opens the gate. And
 * ends the wait of commands that were sent without a gate, which the library does not time.
 */
class DeviceWatch
{
public:
    /** `look` is called when a command may be overdue; it calls endOverdue() and schedule(). */
    DeviceWatch(DeviceCommands *commands, DeviceGate *gate, const std::function<void()> &look, QObject *host);

    /** Sees to it that `look` is called in time; to be called whenever something was announced. */
    void schedule();

    void endOverdue();

private:
    TimePoint nextLook();

    DeviceCommands *const m_commands;
    DeviceGate *const m_gate;
    QTimer m_timer;
    TimePoint m_next{};
};

} // namespace biz::host

#endif
