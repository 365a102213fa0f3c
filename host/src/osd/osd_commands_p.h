#ifndef BIZ_HOST_OSD_COMMANDS_P_H
#define BIZ_HOST_OSD_COMMANDS_P_H

#include <functional>
#include <list>

#include <QtCore/QHash>
#include <QtNetwork/QHostAddress>

#include <commands/command_book_p.h>
#include <commands/ended_command_p.h>
#include <host/osd_host.h>

namespace biz::host {

using OsdCommand = Command<model_OsdParam, OsdCommandResult>;

/** A device that has been given a command. */
struct OsdDevice
{
    QString ip;
    QHostAddress address;
    CommandLane<OsdCommand> lane;
    Statistics statistics;          ///< guarded by the book's statistics
    quint32 aheadTag = 0;           ///< of what was handed over and is not taken yet, ended or not; 0: nothing
    Ticket inFlight = 0;            ///< written under the lock of the statistics
    bool isReachable = false;       ///< guarded by the book's statistics
    qint64 unheardSinceUtcMs = 0;   ///< the same: the first write since it was last heard of; 0: none
    EndedCommand lastEnded;         ///< of those that had been taken
    model_OsdParam lastEndedRecord; ///< only while there is a matcher to look at it
};

/** The devices and commands of the OSD channel: the book, and what each device is doing. */
class OsdCommands : public CommandBook<OsdHost, OsdCommand>
{
public:
    OsdCommands(OsdHost *host, Outbox *outbox, TicketSource *tickets);

    /** Whether the records of ended commands are kept, for a matcher to look at. */
    void setKeepEndedRecords(bool on) { m_keepsEndedRecords = on; }

    // --- Devices

    /** Null for an address that was never given a command. */
    OsdDevice *device(const QString &ip) { return m_devicesByIp.value(ip, nullptr); }

    /** The same; an address that was not known is from now on. */
    OsdDevice &knownDevice(const QString &ip);

    std::list<OsdDevice> &devices() { return m_devices; }

    /** The addresses of those with a command in flight. */
    QStringList busyDevices() const;

    /** Drops a device for which nothing is pending, with its counters. */
    void forget(OsdDevice &device);

    QVector<OsdDeviceStatus> status() const;

    // --- In flight

    OsdCommand *inFlightTo(const OsdDevice &device) { return find(device.inFlight); }
    void markInFlight(OsdDevice &device, OsdCommand &command);
    void noteWritten(OsdDevice &device, int bytes);

    /** A datagram of the device has come. */
    void noteHeard(OsdDevice &device, int bytes);

    // --- Ended

    /** `call` gets each command that ends after the channel has taken it. */
    void setWhenTakenEnds(std::function<void(const OsdCommand &)> call) { m_whenTakenEnds = std::move(call); }

    void endAnswered(OsdCommand &command, const model_OsdParam &reply);
    void giveUp(OsdCommand &command, const QString &what);
    void endAll(OsdDevice &device, Outcome outcome, const EndReason &reason);

private:
    void setInFlight(OsdDevice &device, Ticket ticket);
    void noteEnd(const OsdCommand &command, Outcome outcome);

    std::function<void(const OsdCommand &)> m_whenTakenEnds;
    bool m_keepsEndedRecords = false;
    std::list<OsdDevice> m_devices; ///< in the order of their first command; changed under the lock of the statistics
    QHash<QString, OsdDevice *> m_devicesByIp;
};

} // namespace biz::host

#endif
