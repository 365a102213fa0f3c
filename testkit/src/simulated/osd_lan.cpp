#include <simulated/osd_lan_p.h>

#include <simulated/simulated_transport_p.h>

namespace biz::testkit {

bool OsdLan::bind(int device, const QHostAddress &address, quint16 port)
{
    m_devices.insert(device, {address, port});
    m_deviceAt.insert(address.toIPv4Address(), device);
    return true;
}

void OsdLan::unbind(int device)
{
    m_deviceAt.remove(m_devices.value(device).address.toIPv4Address());
    m_devices.remove(device);
}

bool OsdLan::send(int device, const QByteArray &datagram, const ReturnAddress &to)
{
    const auto transport = m_transports.find(to.port);
    if (transport == m_transports.end() || !transport->second) {
        return false;
    }
    transport->second->deliver(m_devices.value(device).address, datagram);
    return true;
}

void OsdLan::attach(SimulatedTransport *transport)
{
    transport->setPort(++m_lastPort);
    m_transports[m_lastPort] = transport;
}

void OsdLan::receive(const QHostAddress &address, const QByteArray &datagram, quint16 portOfHost)
{
    const auto device = m_deviceAt.constFind(address.toIPv4Address());
    if (device != m_deviceAt.constEnd()) {
        Q_EMIT received(*device, datagram, {QHostAddress(QHostAddress::LocalHost), portOfHost});
    }
}

} // namespace biz::testkit
