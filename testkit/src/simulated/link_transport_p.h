#ifndef BIZ_TESTKIT_LINK_TRANSPORT_P_H
#define BIZ_TESTKIT_LINK_TRANSPORT_P_H

#include <functional>

#include <QtCore/QPointer>
#include <QtCore/QVector>

#include <lines/transport_p.h>

namespace biz::testkit {

class SimulatedLink;

/** Reaches a device by links in the same process. */
class LinkTransport final : public Transport
{
    Q_OBJECT

public:
    using MakeCodec = std::function<std::unique_ptr<host::FrameCodec>()>;

    ~LinkTransport() override;

    bool open() override;
    void close() override;
    bool isOpen() const override { return m_isOpen; }
    void setReading(bool on) override;
    QString url() const override { return QStringLiteral("simulated:"); }
    QString errorString() const override { return QStringLiteral("it has no power"); }

    /** Without it the transport does not open. */
    void setPower(bool on);
    bool hasPower() const { return m_hasPower; }

    void setCodec(MakeCodec makeCodec) { m_makeCodec = std::move(makeCodec); }

    // --- For its links ------------------------------------------------------------------

    bool isReading() const { return m_isReading; }
    PeerPointer connectLink(SimulatedLink *link);
    void disconnectLink(SimulatedLink *link);
    void receive(const PeerPointer &peer, const QByteArray &bytes) { Q_EMIT received(peer, bytes); }

private:
    MakeCodec m_makeCodec = [] {
        return std::make_unique<host::DemoFrameCodec>();
    };
    QVector<QPointer<SimulatedLink>> m_links;
    bool m_isOpen = false;
    bool m_isReading = true;
    bool m_hasPower = true;
};

} // namespace biz::testkit

#endif
