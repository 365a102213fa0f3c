#ifndef BIZ_SIMULATOR_SIMULATED_DEVICE_H
#define BIZ_SIMULATOR_SIMULATED_DEVICE_H

#include <biz_simulator/devices/answer.h>
#include <biz_simulator/devices/device_tally.h>
#include <biz_simulator/devices/event_log.h>
#include <biz_simulator/devices/settings.h>
#include <biz_simulator/transport/transport.h>

namespace biz::simulator {

/**
 * One device of a checked model, for any number of hosts at once. They share the fault plan:
 * the n-th command is the n-th that the device receives, whoever sent it.
 */
class SimulatedDevice : public QObject
{
    Q_OBJECT

public:
    SimulatedDevice(const DeviceSettings &settings, const EventLog &log, QObject *parent = nullptr);
    ~SimulatedDevice() override;

    /** False when the address cannot be listened at; errorString() says why. Port 0: a free one. */
    bool listen();

    QString url() const { return m_transport->url(); }
    QString errorString() const { return m_transport->errorString(); }
    const DeviceTally &tally() const { return m_tally; }

Q_SIGNALS:
    /** Hosts reach it at another url() from now on. */
    void moved();

private:
    /** A command's answer on its way out. */
    struct Delivery
    {
        PeerPointer peer;
        QString who;
        Answer answer;
        std::optional<Fault> fault;

        bool has(FaultKind kind) const { return fault && fault->kind == kind; }
    };

    void read(const PeerPointer &peer, const QByteArray &bytes);
    void refuse(int bytes, const QString &reason);
    void receive(const PeerPointer &peer, const model_Protocoldata &command);
    void tellFault(const Delivery &delivery);
    void hangUp(const PeerPointer &peer);
    void vanish(int forMs);
    void stall(int forMs);
    void readAgain();
    void blackOut(int forMs);
    void comeBack();
    void deliverLater(const Delivery &delivery);
    void deliver(const Delivery &delivery);
    QVector<QByteArray> framesOf(const Delivery &delivery);
    void hold(const Delivery &delivery, const QByteArray &frame);
    void write(const Delivery &delivery, const QVector<QByteArray> &parts);
    void tellReplies(const Delivery &delivery);

    /** A command that had been read when the device began to stall. */
    struct HeldCommand
    {
        PeerPointer peer;
        model_Protocoldata command;
    };

    DeviceSettings m_settings;
    FaultPlan m_plan;
    const EventLog &m_log;
    std::unique_ptr<Transport> m_transport;
    QVector<HeldCommand> m_heldCommands;
    bool m_isStalled = false;
    bool m_isDark = false; ///< in a blackout
    DeviceTally m_tally;
};

} // namespace biz::simulator

#endif
