#include <lines/peer_p.h>

#include <utility>

namespace biz::testkit {

Peer::Peer(std::unique_ptr<host::FrameCodec> codecOfLine)
    : codec(std::move(codecOfLine))
{
    m_pause.setSingleShot(true);
    m_pause.setTimerType(Qt::PreciseTimer);
    connect(&m_pause, &QTimer::timeout, this, &Peer::sendParts);
}

Peer::~Peer() = default;

bool Peer::send(const QVector<QByteArray> &parts, int pauseMs)
{
    if (!isOpen()) {
        return false;
    }
    for (const QByteArray &part : parts) {
        m_parts.enqueue({part, &part == parts.constData() ? 0 : pauseMs});
    }
    if (!m_pause.isActive()) {
        sendParts();
    }
    return true;
}

void Peer::sendParts()
{
    while (!m_parts.isEmpty()) {
        if (const int pauseMs = std::exchange(m_parts.head().pauseMs, 0); pauseMs > 0) {
            m_pause.start(pauseMs);
            return;
        }
        write(m_parts.dequeue().bytes);
    }
}

} // namespace biz::testkit
