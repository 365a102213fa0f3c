#include <biz_simulator/transport/pty_transport.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <biz_simulator/transport/pty_line.h>

namespace biz::simulator {

PtyTransport::PtyTransport(const QString &linkPath)
    : m_linkPath(linkPath)
{
}

PtyTransport::~PtyTransport()
{
    close();
}

bool PtyTransport::open()
{
    close();
    const bool isFirst = m_port.isEmpty();
    const auto line = std::make_shared<PtyLine>();
    if (!line->open(&m_error)) {
        return false;
    }
    m_port = line->port();
    if (!m_linkPath.isEmpty() && !makeLink()) {
        return false;
    }
    m_line = line;
    // The line holds the connection, which must not hold the line.
    connect(line.get(), &PtyLine::received, this, [this](const QByteArray &bytes) {
        const PeerPointer peer = m_line; // which may be hung up meanwhile
        Q_EMIT received(peer, bytes);
    });
    if (!isFirst && m_linkPath.isEmpty()) {
        Q_EMIT moved();
    }
    return true;
}

void PtyTransport::close()
{
    if (!m_line) {
        return;
    }
    if (QFileInfo(m_linkPath).symLinkTarget() == m_port) {
        QFile::remove(m_linkPath);
    }
    m_line->hangUp();
    m_line.reset();
}

void PtyTransport::setReading(bool on)
{
    if (m_line) {
        m_line->setReading(on);
    }
}

bool PtyTransport::isOpen() const
{
    return m_line && m_line->isOpen();
}

QString PtyTransport::url() const
{
    return QStringLiteral("serial://") + (m_linkPath.isEmpty() ? m_port : m_linkPath);
}

bool PtyTransport::makeLink()
{
    const QFileInfo old(m_linkPath);
    if (old.isSymLink() && !old.exists()) {
        QFile::remove(m_linkPath); // left over: it leads nowhere
    }
    QFile port(m_port);
    if (!port.link(m_linkPath)) {
        m_error = port.errorString();
        return false;
    }
    return true;
}

} // namespace biz::simulator
