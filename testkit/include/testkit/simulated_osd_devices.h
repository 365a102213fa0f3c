#ifndef BIZ_TESTKIT_SIMULATED_OSD_DEVICES_H
#define BIZ_TESTKIT_SIMULATED_OSD_DEVICES_H

#include <chrono>
#include <memory>

#include <QtCore/QObject>
#include <QtCore/QVector>

#include <host/datagram_transport.h>
#include <model/model_osdparam.h>
#include <testkit/device_tally.h>
#include <testkit/faults.h>

namespace biz::testkit {

/** A command, and the device that it has reached. */
struct ReceivedOsdCommand
{
    QString device;
    model_OsdParam command;
};

/**
 * A row of OSD devices on consecutive addresses, or those of a recording, in the test's own process and on no network.
 *
 *     SimulatedOsdDevices wall("10.0.0.1", 100);
 *     host.setTransport(wall.makeTransport());
 *
 * They live on one thread with the hosts that they serve.
 */
class SimulatedOsdDevices : public QObject
{
    Q_OBJECT

public:
    /** Throws std::invalid_argument when the row does not begin with an IPv4 address, or leaves their range. */
    SimulatedOsdDevices(const QString &firstAddress, int count, const FaultSettings &faults = {},
                        QObject *parent = nullptr);
    /**
     * The devices of a recording that `biz_console osd --record` has made, at their addresses: each answers as it did,
     * as SimulatedDevice::fromRecording() has it. Throws std::invalid_argument when the file is no recording of the OSD
     * channel.
     */
    static std::unique_ptr<SimulatedOsdDevices> fromRecording(const QString &file, const FaultSettings &faults = {});
    ~SimulatedOsdDevices() override;

    /** A transport for a host of its own. It may outlive the devices. Every port leads to them. */
    std::unique_ptr<host::DatagramTransport> makeTransport();

    /** The addresses, in the spelling in which hosts know them. */
    QStringList addresses() const;

    /** Of a row; recorded ones have their own. */
    void setReplyDelay(std::chrono::milliseconds delay);

    /**
     * Has the next commands to this device go wrong, before any script; a second call is for those behind them. Throws
     * std::invalid_argument when it is none of the devices.
     */
    void failNext(const QString &device, FaultKind kind, int times = 1);

    /** Adds a line to the script of faults. Throws as failNext() does. */
    void addFault(const ScriptEntry &entry);

    /** Off: the device hears and says nothing until it is on again. Throws as failNext() does. */
    void setPower(const QString &device, bool on);

    /** Every command that has reached a device, in order, since they were last forgotten. */
    const QVector<ReceivedOsdCommand> &commands() const;

    /** Forgets them, so that a run of many hours needs no more memory. */
    void forgetCommands();

    DeviceTally tally() const;

Q_SIGNALS:
    void commandReceived(const QString &device, const model_OsdParam &command);

private:
    class Private;
    SimulatedOsdDevices(std::unique_ptr<Private> own, QObject *parent);

    std::unique_ptr<Private> d;
};

} // namespace biz::testkit

#endif
