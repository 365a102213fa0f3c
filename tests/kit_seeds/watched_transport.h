#ifndef BIZ_KIT_SEEDS_WATCHED_TRANSPORT_H
#define BIZ_KIT_SEEDS_WATCHED_TRANSPORT_H

#include <functional>
#include <memory>

#include <host/datagram_transport.h>

namespace biz::kit_seeds {

/** A transport that shows every datagram to the test at the moment in which the host sends it. */
class WatchedTransport final : public host::DatagramTransport
{
    Q_OBJECT

public:
    using OnSend = std::function<void(const QHostAddress &device, const QByteArray &datagram)>;

    WatchedTransport(std::unique_ptr<host::DatagramTransport> transport, OnSend onSend)
        : m_transport(std::move(transport))
        , m_onSend(std::move(onSend))
    {
        connect(m_transport.get(), &DatagramTransport::received, this, &DatagramTransport::received);
    }

    QString open(const QHostAddress &local) override { return m_transport->open(local); }
    void close() override { m_transport->close(); }
    void readPending() override { m_transport->readPending(); }

    SendResult send(const QHostAddress &device, quint16 port, const QByteArray &datagram) override
    {
        const SendResult result = m_transport->send(device, port, datagram);
        if (result.sent == Sent::Yes) {
            m_onSend(device, datagram);
        }
        return result;
    }

private:
    const std::unique_ptr<host::DatagramTransport> m_transport;
    const OnSend m_onSend;
};

} // namespace biz::kit_seeds

#endif
