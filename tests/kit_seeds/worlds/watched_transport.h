#ifndef BIZ_KIT_SEEDS_WATCHED_TRANSPORT_H
#define BIZ_KIT_SEEDS_WATCHED_TRANSPORT_H

#include <memory>

#include <host/datagram_transport.h>

namespace biz::kit_seeds {

/** A transport that shows the test every datagram at the moment in which it goes or comes, and that can be full. */
class WatchedTransport final : public host::DatagramTransport
{
    Q_OBJECT

public:
    /** Who looks on. */
    class Watcher
    {
    public:
        virtual ~Watcher() = default;
        virtual void afterSend(const QHostAddress &device, const QByteArray &datagram) = 0;

        /** A datagram has to wait. */
        virtual void onDelayed() = 0;

        /** A datagram is not sent, and not tried again. */
        virtual void onRefused(const QByteArray &datagram) = 0;

        virtual void beforeReceived(const QHostAddress &device, const QByteArray &datagram) = 0;
        virtual void afterReceived() = 0;
    };

    WatchedTransport(std::unique_ptr<host::DatagramTransport> transport, Watcher *watcher)
        : m_transport(std::move(transport))
        , m_watcher(watcher)
    {
        connect(m_transport.get(), &DatagramTransport::received, this,
                [this](const QHostAddress &device, const QByteArray &datagram) {
                    m_watcher->beforeReceived(device, datagram);
                    Q_EMIT received(device, datagram);
                    m_watcher->afterReceived();
                });
    }

    QString open(const QHostAddress &local) override { return m_transport->open(local); }
    void close() override { m_transport->close(); }
    void readPending() override { m_transport->readPending(); }

    SendResult send(const QHostAddress &device, quint16 port, const QByteArray &datagram) override
    {
        if (m_isFull) {
            m_watcher->onDelayed();
            return {Sent::Later, QStringLiteral("it is full")};
        }
        if (m_refusals > 0) {
            --m_refusals;
            m_watcher->onRefused(datagram);
            return {Sent::No, QStringLiteral("there is no way there")};
        }
        const SendResult result = m_transport->send(device, port, datagram);
        if (result.sent == Sent::Yes) {
            m_watcher->afterSend(device, datagram);
        }
        return result;
    }

    bool isFull() const { return m_isFull; }

    /** Full: what is to be sent has to wait. */
    void setFull(bool on)
    {
        m_isFull = on;
        if (!on) {
            Q_EMIT writable();
        }
    }

    /** Cannot send the next datagrams. */
    void refuse(int datagrams) { m_refusals = datagrams; }

private:
    const std::unique_ptr<host::DatagramTransport> m_transport;
    Watcher *const m_watcher;
    bool m_isFull = false;
    int m_refusals = 0;
};

} // namespace biz::kit_seeds

#endif
