#ifndef BIZ_HOST_DEVICE_LEDGER_P_H
#define BIZ_HOST_DEVICE_LEDGER_P_H

#include <commands/end_reasons_p.h>
#include <commands/statistics_p.h>
#include <device/device_tickets_p.h>
#include <host/device_host.h>
#include <loops/host_signals_p.h>

namespace biz::host {

using DeviceSignals = HostSignals<biz_DeviceHost>;

/**
 * The book of a device host's commands, and how each of them ends: counted, with its history
 * and reason, told once.
 */
class DeviceLedger
{
public:
    explicit DeviceLedger(DeviceSignals *signalsOfHost)
        : m_signals(signalsOfHost)
    {
    }

    DeviceTickets &tickets() { return m_tickets; }
    const DeviceTickets &tickets() const { return m_tickets; }

    template<typename Change>
    void count(const Change &change)
    {
        m_statistics.count(change);
    }
    Counters counters() const { return m_statistics.snapshot(); }

    /** A command that waits from now on. */
    DeviceCommand &enter(const model_Protocoldata &record);

    /** A command that ends at once. */
    Ticket enterSkipped(const model_Protocoldata &record);

    /** A command has been taken for sending; ends the one before it that held its place. */
    void markInFlight(DeviceCommand &command, quint8 sequence, bool gated);

    // Each of these is the end of the command: it is gone afterwards.
    void end(Ticket ticket, Outcome outcome, const QString &reason);
    void endAnswered(DeviceCommand &command, const model_Protocoldata &reply, TimePoint arrival);
    void giveUp(DeviceCommand &command);

    /** Ends every command; returns how many there were. */
    int endAll(Outcome outcome, const EndReason &reason);

private:
    void endWaiting(Outcome outcome, const QString &reason);
    DeviceCommand &add(const model_Protocoldata &record);
    void end(DeviceCommand &command, CommandResult result);

    DeviceSignals *const m_signals;
    DeviceTickets m_tickets;
    SharedStatistics m_statistics;
};

} // namespace biz::host

#endif
