#ifndef BIZ_TESTKIT_OSD_LAN_P_H
#define BIZ_TESTKIT_OSD_LAN_P_H

#include <map>

#include <QtCore/QHash>
#include <QtCore/QPointer>

#include <lines/osd_network_p.h>

namespace biz::testkit {

class SimulatedTransport;

/** A network in the process, between OSD devices and the transports of hosts, which it tells apart by port. */
class OsdLan final : public OsdNetwork
{
    Q_OBJECT

public:
    // --- For devices --------------------------------------------------------------------

    bool bind(int device, const QHostAddress &address, quint16 port) override;
    quint16 portOf(int device) const override { return m_devices.value(device).port; }
    bool isBound(int device) const override { return m_devices.contains(device); }
    void unbind(int device) override;
    bool send(int device, const QByteArray &datagram, const ReturnAddress &to) override;
    QString errorString() const override { return QStringLiteral("the host is gone"); }

    // --- For transports of hosts ----------------------------------------------------------

    void attach(SimulatedTransport *transport);
    void receive(const QHostAddress &address, const QByteArray &datagram, quint16 portOfHost);

private:
    QHash<int, ReturnAddress> m_devices;
    QHash<quint32, int> m_deviceAt; ///< by address
    std::map<quint16, QPointer<SimulatedTransport>> m_transports;
    quint16 m_lastPort = 0;
};

} // namespace biz::testkit

#endif
