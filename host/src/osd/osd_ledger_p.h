#ifndef BIZ_HOST_OSD_LEDGER_P_H
#define BIZ_HOST_OSD_LEDGER_P_H

#include <deque>
#include <mutex>

#include <QtCore/QHash>
#include <QtNetwork/QHostAddress>

#include <commands/command_history_p.h>
#include <commands/end_reasons_p.h>
#include <commands/ended_command_p.h>
#include <commands/statistics_p.h>
#include <commands/ticket_book_p.h>
#include <host/osd_host.h>
#include <loops/host_signals_p.h>

namespace biz::host {

using OsdSignals = HostSignals<biz_OsdHost>;

/** A command of the OSD channel from its enqueuing to its end. */
struct OsdCommand
{
    Ticket ticket = 0;
    model_OsdParam record; ///< as the application gave it
    int attempts = 0;      ///< 0: it waits in the channel's queue
    TimePoint writtenAt;
    QString lastProblem; ///< what went wrong with it, for the reason of a give-up
    CommandHistory history;
};

/** A device that has been given a command. */
struct OsdDevice
{
    QString ip;
    QHostAddress address;
    Statistics statistics; ///< counted by OsdLedger::count
    Ticket inFlight = 0;   ///< written under the ledger's lock
    int waiting = 0;
    EndedCommand lastEnded;         ///< of those that had been sent
    model_OsdParam lastEndedRecord; ///< only while there is a matcher to look at it
};

/**
 * The book of an OSD host's devices and commands, and how each command ends: counted, with
 * its history and reason, told once. Used on the host's thread, but for the copies of the
 * counters, which may be taken on any.
 */
class OsdLedger
{
public:
    explicit OsdLedger(OsdSignals *signalsOfHost)
        : m_signals(signalsOfHost)
    {
    }

    // --- Commands

    const TicketBook<OsdCommand> &commands() const { return m_commands; }
    OsdCommand *find(quint32 tag) { return m_commands.find(tag); }
    OsdCommand *inFlightTo(const OsdDevice &device) { return m_commands.find(device.inFlight); }
    static quint32 tagOf(Ticket ticket) { return TicketBook<OsdCommand>::tagOf(ticket); }
    int waiting() const { return m_waiting; }

    /** A command that waits from now on. */
    OsdCommand &enter(const model_OsdParam &record);

    /** A command has been taken for sending; ends the one before it that held its place. */
    void markInFlight(OsdDevice &device, OsdCommand &command);

    // Each of these is the end of the command: it is gone afterwards.
    void endAnswered(OsdCommand &command, const model_OsdParam &reply);
    void giveUp(OsdCommand &command);

    /** Ends every command; returns how many there were. */
    int endAll(Outcome outcome, const EndReason &reason);

    /** Whether the records of ended commands are kept, for a matcher to look at. */
    void setKeepEndedRecords(bool on) { m_keepsEndedRecords = on; }

    // --- Devices

    /** Null for an address that was never given a command. */
    OsdDevice *device(const QString &ip) { return m_devicesByIp.value(ip, nullptr); }

    /** The addresses of those with a command in flight. */
    QStringList busyDevices() const;

    // --- Counters

    /** `change` gets the statistics in question: the totals, and those of a device if there is one. */
    template<typename Change>
    void count(OsdDevice *device, const Change &change)
    {
        const std::lock_guard<std::mutex> lock(m_countersLock);
        change(m_totals);
        if (device != nullptr) {
            change(device->statistics);
        }
    }

    Counters counters() const;
    QVector<biz_OsdHost::DeviceStatus> status() const;

private:
    void endWaiting(Outcome outcome, const QString &reason);
    OsdDevice &deviceOf(const QString &ip);
    void setInFlight(OsdDevice &device, Ticket ticket);
    void changeWaiting(OsdDevice &device, int change);
    void end(OsdCommand &command, OsdCommandResult result);
    void end(OsdCommand &command, Outcome outcome, const QString &reason);

    OsdSignals *const m_signals;
    TicketBook<OsdCommand> m_commands;
    QHash<QString, OsdDevice *> m_devicesByIp;
    int m_waiting = 0;
    bool m_keepsEndedRecords = false;

    mutable std::mutex m_countersLock;
    Statistics m_totals;             ///< under the lock
    std::deque<OsdDevice> m_devices; ///< in the order of their first command; grows under the lock
};

} // namespace biz::host

#endif
