#ifndef BIZ_TESTKIT_COMMAND_RECORDER_H
#define BIZ_TESTKIT_COMMAND_RECORDER_H

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <host/device_host.h>
#include <host/osd_host.h>
#include <testkit/finding.h>

namespace biz::testkit {

class SimulatedDevice;
class SimulatedOsdDevices;

/**
 * What became of a host's commands, from now on. Make it before the first command is given, and keep it no longer
 * than the host's thread.
 */
class CommandRecorder : public QObject
{
    Q_OBJECT

public:
    struct End
    {
        host::Ticket ticket = 0;
        host::Outcome outcome = host::Outcome::Stopped;
        int attempts = 0;
        QString reason;
    };

    explicit CommandRecorder(const host::DeviceHost &host);
    explicit CommandRecorder(const host::OsdHost &host);

    /** In the order in which they were told. */
    const QVector<End> &ends() const { return m_ends; }
    bool hasEnded(host::Ticket ticket) const { return m_endOf.contains(ticket); }

    /** How many commands ended so. */
    int count(host::Outcome outcome) const;

    // --- Findings -------------------------------------------------------------------------

    Finding endedAs(host::Ticket ticket, host::Outcome outcome) const;

    /** These ended, in this order, and no other. */
    Finding endedInOrder(const QVector<host::Ticket> &tickets) const;

    /** These were written, in this order, each as often as it stands here, and no other. */
    Finding wroteInOrder(const QVector<host::Ticket> &tickets) const;

    /** No command ended twice, and nothing was written after its end. */
    Finding keptPromises() const;

private:
    void noteSent(host::Ticket ticket);
    void noteEnd(const End &end);

    QVector<End> m_ends;
    QHash<host::Ticket, int> m_endOf; ///< its place among the ends
    QVector<host::Ticket> m_written;
    QStringList m_broken;
};

/** Commands of these codes, as "F1/08", have reached the device, in this order, and no other. */
Finding heard(const SimulatedDevice &device, const QStringList &codes);

/** Commands have reached these devices, in this order, and no other. */
Finding heard(const SimulatedOsdDevices &devices, const QStringList &addresses);

} // namespace biz::testkit

#endif
