#ifndef BIZ_HOST_DEVICE_GATE_P_H
#define BIZ_HOST_DEVICE_GATE_P_H

#include <device/device_run_p.h>
#include <device/device_tickets_p.h>
#include <device/quiet_time_p.h>

namespace biz::host {

/** When the channel's gate is opened: not before the quiet time after a reply is over. */
class DeviceGate
{
public:
    DeviceGate(const DeviceRun *run, DeviceTickets *tickets, QObject *host)
        : m_run(run)
        , m_tickets(tickets)
        , m_quiet([this] { settle(); }, host)
    {
    }

    void setSettleTime(int milliseconds) { m_quiet.setLength(milliseconds); }

    /**
     * Opens a gate that is closed for nothing: its command has been settled, or a clear left
     * the take that closed it empty-handed.
     */
    void settle();

    /** A reply to the command has come: the gate stays closed for the settle time. */
    void beginQuietTime(const DeviceCommand &answered, TimePoint arrival);

    void cancelQuietTime() { m_quiet.cancel(); }

private:
    const DeviceRun *const m_run;
    DeviceTickets *const m_tickets;
    QuietTime m_quiet;
};

} // namespace biz::host

#endif
