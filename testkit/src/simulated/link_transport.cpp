#include <simulated/link_transport_p.h>

#include <utility>

#include <simulated/simulated_link_p.h>

namespace biz::testkit {

namespace {

/** The host at the other end of a link. */
class LinkPeer final : public Peer
{
public:
    LinkPeer(SimulatedLink *link, std::unique_ptr<host::FrameCodec> codecOfLink)
        : Peer(std::move(codecOfLink))
        , m_link(link)
    {
    }

    bool isOpen() const override { return m_link && m_link->isConnectedTo(this); }

    void hangUp() override
    {
        if (isOpen()) {
            m_link->lose(QStringLiteral("the device closed the connection"));
        }
    }

protected:
    void write(const QByteArray &bytes) override
    {
        if (isOpen()) {
            m_link->deliver(bytes);
        }
    }

private:
    QPointer<SimulatedLink> m_link;
};

} // namespace

LinkTransport::~LinkTransport()
{
    close();
}

bool LinkTransport::open()
{
    m_isOpen = m_hasPower;
    return m_isOpen;
}

void LinkTransport::close()
{
    m_isOpen = false;
    const auto links = std::exchange(m_links, {});
    for (const QPointer<SimulatedLink> &link : links) {
        if (link) {
            link->lose(QStringLiteral("the device has gone"));
        }
    }
}

void LinkTransport::setReading(bool on)
{
    m_isReading = on;
    const auto links = m_links;
    for (const QPointer<SimulatedLink> &link : links) {
        if (link) {
            link->transferLater();
        }
    }
}

void LinkTransport::setPower(bool on)
{
    m_hasPower = on;
    if (on) {
        open();
    } else {
        close();
    }
}

PeerPointer LinkTransport::connectLink(SimulatedLink *link)
{
    m_links.append(link);
    return std::make_shared<LinkPeer>(link, m_makeCodec());
}

void LinkTransport::disconnectLink(SimulatedLink *link)
{
    m_links.removeAll(link);
}

} // namespace biz::testkit
