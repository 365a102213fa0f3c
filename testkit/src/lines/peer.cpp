#include <lines/peer_p.h>

#include <numeric>
#include <utility>

namespace biz::testkit {

namespace {

/** What a part takes in memory beside its bytes. */
constexpr qint64 aroundPartBytes = 64;

qint64 costOf(const QByteArray &part)
{
    return part.size() + aroundPartBytes;
}

qint64 costOf(const QVector<QByteArray> &parts)
{
    return std::accumulate(parts.begin(), parts.end(), qint64{0},
                           [](qint64 sum, const QByteArray &part) { return sum + costOf(part); });
}

} // namespace

Peer::Peer(std::unique_ptr<host::FrameCodec> codecOfLine)
    : codec(std::move(codecOfLine))
{
    m_pause.setSingleShot(true);
    m_pause.setTimerType(Qt::PreciseTimer);
    connect(&m_pause, &QTimer::timeout, this, &Peer::sendParts);
}

Peer::~Peer() = default;

Peer::Sending Peer::send(const QVector<QByteArray> &parts, int pauseMs)
{
    if (!isOpen()) {
        return Sending::HostIsGone;
    }
    const qint64 cost = costOf(parts);
    if (m_pause.isActive() && m_waitingBytes + cost > mostWaitingBytes) {
        return Sending::TooMuchWaits;
    }
    m_waitingBytes += cost;
    for (const QByteArray &part : parts) {
        m_parts.enqueue({part, &part == parts.constData() ? 0 : pauseMs});
    }
    if (!m_pause.isActive()) {
        sendParts();
    }
    return isOpen() ? Sending::Done : Sending::HostIsGone;
}

void Peer::sendParts()
{
    while (!m_parts.isEmpty()) {
        if (const int pauseMs = std::exchange(m_parts.head().pauseMs, 0); pauseMs > 0) {
            m_pause.start(pauseMs);
            return;
        }
        const QByteArray part = m_parts.dequeue().bytes;
        m_waitingBytes -= costOf(part);
        write(part);
    }
}

} // namespace biz::testkit
