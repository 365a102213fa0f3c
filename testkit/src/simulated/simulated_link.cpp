#include <simulated/simulated_link_p.h>

#include <QtCore/QMetaObject>

#include <simulated/link_transport_p.h>

namespace biz::testkit {

namespace {

/** What a link holds at most, or one frame, as those of real lines. */
constexpr qint64 mostHeldBytes = 64 * 1024;

} // namespace

SimulatedLink::SimulatedLink(LinkTransport *transport)
    : m_transport(transport)
{
}

SimulatedLink::~SimulatedLink()
{
    disconnectNow();
}

void SimulatedLink::open()
{
    const int connection = ++m_connection;
    QMetaObject::invokeMethod(
        this,
        [this, connection] {
            if (connection == m_connection) {
                connectNow();
            }
        },
        Qt::QueuedConnection);
}

void SimulatedLink::connectNow()
{
    if (!m_transport || !m_transport->isOpen()) {
        Q_EMIT closed(QStringLiteral("nobody answers there"));
        return;
    }
    m_peer = m_transport->connectLink(this);
    Q_EMIT opened();
}

void SimulatedLink::close()
{
    disconnectNow();
}

void SimulatedLink::disconnectNow()
{
    ++m_connection;
    m_peer.reset();
    m_held.clear();
    m_heldBytes = 0;
    m_isFull = false;
    if (m_transport) {
        m_transport->disconnectLink(this);
    }
}

void SimulatedLink::lose(const QString &reason)
{
    if (!isOpen()) {
        return;
    }
    disconnectNow();
    const int connection = m_connection;
    QMetaObject::invokeMethod(
        this,
        [this, connection, reason] {
            if (connection == m_connection) {
                Q_EMIT closed(reason);
            }
        },
        Qt::QueuedConnection);
}

bool SimulatedLink::write(const QByteArray &bytes)
{
    if (!isOpen()) {
        return false;
    }
    m_held.enqueue(bytes);
    m_heldBytes += bytes.size();
    transferLater();
    return true;
}

bool SimulatedLink::canWrite() const
{
    return isOpen() && m_heldBytes < mostHeldBytes;
}

void SimulatedLink::discard()
{
    m_held.clear();
    m_heldBytes = 0;
}

void SimulatedLink::transferLater()
{
    m_isFull = !canWrite();
    const int connection = m_connection;
    QMetaObject::invokeMethod(
        this,
        [this, connection] {
            if (connection == m_connection) {
                transfer();
            }
        },
        Qt::QueuedConnection);
}

/** The device may close the connection, or stop to read, at each of them. */
void SimulatedLink::transfer()
{
    while (isOpen() && m_transport && m_transport->isReading() && !m_held.isEmpty()) {
        const QByteArray bytes = m_held.dequeue();
        m_heldBytes -= bytes.size();
        const PeerPointer peer = m_peer;
        m_transport->receive(peer, bytes);
    }
    if (m_isFull && canWrite()) {
        m_isFull = false;
        Q_EMIT writable();
    }
}

void SimulatedLink::deliver(const QByteArray &bytes)
{
    const int connection = m_connection;
    QMetaObject::invokeMethod(
        this,
        [this, connection, bytes] {
            if (connection == m_connection) {
                Q_EMIT received(bytes);
            }
        },
        Qt::QueuedConnection);
}

} // namespace biz::testkit
