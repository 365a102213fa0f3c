#ifndef BIZ_SIMULATOR_OSD_DEVICES_H
#define BIZ_SIMULATOR_OSD_DEVICES_H

#include <memory>
#include <vector>

#include <QtCore/QDeadlineTimer>
#include <QtNetwork/QHostAddress>
#include <QtNetwork/QUdpSocket>

#include <biz_simulator/devices/device_tally.h>
#include <biz_simulator/devices/event_log.h>
#include <biz_simulator/devices/settings.h>
#include <model/model_osdparam.h>

namespace biz::simulator {

/**
 * A row of OSD devices on consecutive addresses and one port. Each has a socket of its own
 * that is bound to its address, so that replies come from the address that was asked.
 */
class OsdDevices : public QObject
{
    Q_OBJECT

public:
    OsdDevices(const OsdSettings &settings, const EventLog &log, QObject *parent = nullptr);
    ~OsdDevices() override;

    /**
     * Binds every device; port 0 finds one that is free at all addresses. False when that
     * fails; errorString() then says where and why.
     */
    bool listen();

    quint16 port() const { return m_port; }
    QString errorString() const { return m_error; }
    const DeviceTally &tally() const { return m_tally; }

private:
    struct Device
    {
        QHostAddress address;
        FaultPlan plan;
        std::unique_ptr<QUdpSocket> socket;
        QDeadlineTimer darkUntil; ///< the end of a blackout
    };

    /** Where a command came from, and its reply goes. */
    struct ReturnAddress
    {
        QHostAddress address;
        quint16 port;
    };

    bool bindAll(quint16 port);
    void unbindAll();
    bool bind(Device &device, quint16 port);
    void read(Device &device);
    void receive(Device &device, const QByteArray &datagram, const ReturnAddress &from);
    void answer(Device &device, const model_OsdParam &command, const ReturnAddress &from);
    void answerWith(const Fault &fault, Device &device, const QByteArray &reply, const ReturnAddress &from,
                    const QString &who);
    void sendAfter(Device &device, int delayMs, const QVector<QByteArray> &datagrams, const ReturnAddress &from);
    void send(Device &device, const QByteArray &datagram, const ReturnAddress &from);
    void vanish(Device &device, int forMs);
    void comeBack(Device &device);

    std::vector<Device> m_devices;
    OsdSettings m_settings;
    const EventLog &m_log;
    quint16 m_port = 0;
    QString m_error;
    DeviceTally m_tally;
};

} // namespace biz::simulator

#endif
