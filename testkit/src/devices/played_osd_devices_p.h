#ifndef BIZ_TESTKIT_PLAYED_OSD_DEVICES_P_H
#define BIZ_TESTKIT_PLAYED_OSD_DEVICES_P_H

#include <memory>
#include <vector>

#include <QtCore/QDeadlineTimer>

#include <devices/device_settings_p.h>
#include <devices/event_log_p.h>
#include <devices/recorded_answers_p.h>
#include <faults/fault_plan_p.h>
#include <lines/osd_network_p.h>
#include <model/model_osdparam.h>
#include <testkit/device_tally.h>

namespace biz::testkit {

/** A row of OSD devices on consecutive addresses and one port. */
class PlayedOsdDevices : public QObject
{
    Q_OBJECT

public:
    /** They are reached by the network. */
    PlayedOsdDevices(const OsdSettings &settings, std::unique_ptr<OsdNetwork> network, const EventLog &log,
                     QObject *parent = nullptr);
    ~PlayedOsdDevices() override;

    /**
     * Binds every device; port 0 finds one that is free at all addresses. False when that
     * fails; errorString() then says where and why.
     */
    bool listen();

    quint16 port() const { return m_port; }
    QString errorString() const { return m_error; }
    const DeviceTally &tally() const { return m_tally; }

    /** From the next command on. */
    void setDelay(int delayMs) { m_settings.delayMs = delayMs; }

    /** One entry more for the device that it names; false: there is no such device. */
    bool addFault(const ScriptEntry &entry);

    /** Has the next commands to a device go wrong; false: there is no such device. */
    bool failNext(const QString &address, FaultKind kind, int times);

    /** Switches a device; false: there is no such device. */
    bool setPower(const QString &address, bool on);

Q_SIGNALS:
    /** An address has been taken by somebody else while its device had vanished; it tries on. */
    void cannotReturn(const QString &why);

    /** A command has reached the device at this address. */
    void commandReceived(const QString &address, const model_OsdParam &command);

private:
    struct Device
    {
        int number;
        QHostAddress address;
        FaultPlan plan;
        QDeadlineTimer darkUntil; ///< the end of a blackout
        std::optional<RecordedAnswers> recorded;
        bool hasPower = true;
        int timesOff = 0; ///< what it had still to say is forgotten each time
    };

    /** A reply, and how long after its command it leaves. */
    struct DelayedReply
    {
        QByteArray datagram;
        int payloadSize = 0;
        int delayMs = 0;
    };

    Device *deviceAt(const QString &address);
    bool bindAll(quint16 port);
    void unbindAll();
    bool bind(Device &device, quint16 port);
    void receive(Device &device, const QByteArray &datagram, const ReturnAddress &from);
    void answer(Device &device, const model_OsdParam &command, const ReturnAddress &from);
    QVector<DelayedReply> repliesOf(Device &device, const model_OsdParam &command, const QString &who);
    bool sendsNothingBy(const Fault &fault, Device &device, const QString &who);
    QVector<QByteArray> datagramsBy(const Fault &fault, const QByteArray &reply, const QString &who);
    void sendAfter(Device &device, int delayMs, const QVector<QByteArray> &datagrams, const ReturnAddress &from);
    void send(Device &device, const QByteArray &datagram, const ReturnAddress &from);
    void lose(const Device &device, int replies, const QString &why);
    void vanish(Device &device, int forMs);
    void comeBack(Device &device);

    std::unique_ptr<OsdNetwork> m_network;
    qint64 m_delayedBytes = 0; ///< what the replies that wait for their time take
    std::vector<Device> m_devices;
    OsdSettings m_settings;
    const EventLog &m_log;
    quint16 m_port = 0;
    QString m_error;
    DeviceTally m_tally;
};

} // namespace biz::testkit

#endif
