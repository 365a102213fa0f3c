#ifndef BIZ_TESTKIT_PLAYED_DEVICE_P_H
#define BIZ_TESTKIT_PLAYED_DEVICE_P_H

#include <devices/answer_p.h>
#include <devices/device_settings_p.h>
#include <devices/event_log_p.h>
#include <devices/recorded_answers_p.h>
#include <faults/fault_plan_p.h>
#include <lines/transport_p.h>
#include <testkit/device_tally.h>

namespace biz::testkit {

/**
 * One device of a checked model, or of a recording, for any number of hosts at once. They share the fault plan:
 * the n-th command is the n-th that the device receives, whoever sent it.
 */
class PlayedDevice : public QObject
{
    Q_OBJECT

public:
    /** It is reached by the transport. */
    PlayedDevice(const DeviceSettings &settings, std::unique_ptr<Transport> transport, const EventLog &log,
                 QObject *parent = nullptr);
    ~PlayedDevice() override;

    /** False when the address cannot be listened at; errorString() says why. Port 0: a free one. */
    bool listen();

    QString url() const { return m_transport->url(); }
    QString errorString() const { return m_transport->errorString(); }
    const DeviceTally &tally() const { return m_tally; }

    /** From the next command on. */
    void setDelay(int delayMs) { m_settings.delayMs = delayMs; }

    FaultPlan &plan() { return m_plan; }

Q_SIGNALS:
    /** Hosts reach it at another url() from now on. */
    void moved();

    /** Its address has been taken by somebody else while it had vanished; it tries on. */
    void cannotReturn(const QString &why);

    /** A host was dropped for what it did. */
    void droppedHost(const QString &why);

    /** A command has reached it. */
    void commandReceived(const model_Protocoldata &command);

private:
    /** A command's answer on its way out. */
    struct Delivery
    {
        PeerPointer peer;
        QString who;
        Answer answer;
        std::optional<Fault> fault;
        int delayMs = 0;

        bool has(FaultKind kind) const { return fault && fault->kind == kind; }
    };

    void read(const PeerPointer &peer, const QByteArray &bytes);
    void refuse(int bytes, const QString &reason);
    void receive(const PeerPointer &peer, const model_Protocoldata &command);
    QVector<Delivery> deliveriesOf(const PeerPointer &peer, const QString &who, const model_Protocoldata &command,
                                   const std::optional<Fault> &fault);
    QVector<Delivery> recordedDeliveriesOf(Delivery first, const model_Protocoldata &command);
    void tellFault(const Delivery &delivery);
    void hangUp(const PeerPointer &peer);
    void vanish(int forMs);
    void stall(int forMs);
    void readAgain();
    void applyReading();
    bool isFull() const { return m_delayedBytes >= m_settings.mostDelayed; }
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
    std::optional<RecordedAnswers> m_recorded;
    const EventLog &m_log;
    std::unique_ptr<Transport> m_transport;
    QVector<HeldCommand> m_heldCommands;
    qint64 m_delayedBytes = 0; ///< what the replies that wait for their time take
    bool m_isStalled = false;
    bool m_isDark = false; ///< in a blackout
    DeviceTally m_tally;
};

} // namespace biz::testkit

#endif
