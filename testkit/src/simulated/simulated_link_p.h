#ifndef BIZ_TESTKIT_SIMULATED_LINK_P_H
#define BIZ_TESTKIT_SIMULATED_LINK_P_H

#include <QtCore/QPointer>
#include <QtCore/QQueue>

#include <host/device_link.h>
#include <lines/peer_p.h>

namespace biz::testkit {

class LinkTransport;

/**
 * A host's link to a device in the same process. What either side sends arrives by an event of its own, as over a
 * real line. Frames that the device does not read stay with the link.
 */
class SimulatedLink final : public host::DeviceLink
{
    Q_OBJECT

public:
    explicit SimulatedLink(LinkTransport *transport);
    ~SimulatedLink() override;

    void open() override;
    void close() override;
    bool isOpen() const override { return m_peer != nullptr; }
    bool write(const QByteArray &bytes) override;
    bool canWrite() const override;
    qint64 bytesHeld() const override { return m_heldBytes; }
    void discard() override;
    QString name() const override { return QStringLiteral("simulated:"); }

    // --- For the device's side ----------------------------------------------------------

    bool isConnectedTo(const Peer *peer) const { return m_peer.get() == peer; }
    void lose(const QString &reason);
    void deliver(const QByteArray &bytes);
    void transferLater();

private:
    void connectNow();
    void transfer();
    void disconnectNow();

    QPointer<LinkTransport> m_transport;
    PeerPointer m_peer;
    QQueue<QByteArray> m_held;
    qint64 m_heldBytes = 0;
    int m_connection = 0; ///< counts them: what was under way for one must not reach the next
    bool m_isFull = false;
};

} // namespace biz::testkit

#endif
