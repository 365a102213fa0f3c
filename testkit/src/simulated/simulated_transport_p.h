#ifndef BIZ_TESTKIT_SIMULATED_TRANSPORT_P_H
#define BIZ_TESTKIT_SIMULATED_TRANSPORT_P_H

#include <QtCore/QPointer>
#include <QtCore/QQueue>

#include <host/datagram_transport.h>

namespace biz::testkit {

class OsdLan;

/** A host's way to OSD devices in the same process. Datagrams arrive by events of their own, and are never lost. */
class SimulatedTransport final : public host::DatagramTransport
{
    Q_OBJECT

public:
    explicit SimulatedTransport(OsdLan *lan);

    [[nodiscard]] QString open(const QHostAddress &local) override;
    void close() override;
    SendResult send(const QHostAddress &device, quint16 port, const QByteArray &datagram) override;
    void readPending() override;

    // --- For the devices' side ------------------------------------------------------------

    void setPort(quint16 port) { m_port = port; }
    void deliver(const QHostAddress &sender, const QByteArray &datagram);

private:
    struct Datagram
    {
        QHostAddress sender;
        QByteArray bytes;
    };

    QPointer<OsdLan> m_lan;
    QQueue<Datagram> m_arrived;
    quint16 m_port = 0;
    bool m_isOpen = false;
};

} // namespace biz::testkit

#endif
