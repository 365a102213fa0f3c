#include <simulated/simulated_transport_p.h>

#include <QtCore/QMetaObject>

#include <simulated/osd_lan_p.h>

namespace biz::testkit {

SimulatedTransport::SimulatedTransport(OsdLan *lan)
    : m_lan(lan)
{
    lan->attach(this);
}

QString SimulatedTransport::open(const QHostAddress & /*local*/)
{
    m_isOpen = true;
    return {};
}

void SimulatedTransport::close()
{
    m_isOpen = false;
    m_arrived.clear();
}

SimulatedTransport::SendResult SimulatedTransport::send(const QHostAddress &device, quint16 /*port*/,
                                                        const QByteArray &datagram)
{
    if (!m_isOpen) {
        return {Sent::No, QStringLiteral("the transport is closed")};
    }
    if (m_lan) {
        QMetaObject::invokeMethod(
            m_lan, [lan = m_lan, device, datagram, port = m_port] { lan->receive(device, datagram, port); },
            Qt::QueuedConnection);
    }
    return {};
}

void SimulatedTransport::deliver(const QHostAddress &sender, const QByteArray &datagram)
{
    if (!m_isOpen) {
        return;
    }
    m_arrived.enqueue({sender, datagram});
    if (m_arrived.size() == 1) {
        QMetaObject::invokeMethod(this, &SimulatedTransport::readPending, Qt::QueuedConnection);
    }
}

void SimulatedTransport::readPending()
{
    while (m_isOpen && !m_arrived.isEmpty()) {
        const Datagram datagram = m_arrived.dequeue();
        Q_EMIT received(datagram.sender, datagram.bytes);
    }
}

} // namespace biz::testkit
