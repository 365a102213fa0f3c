#include <biz_simulator/transport/pty/pty_transport.h>

#include <tuple>

#include <sys/stat.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <biz_simulator/address/cannot_listen.h>
#include <biz_simulator/transport/pty/pty_line.h>

namespace biz::simulator {

namespace {

/** Where the system keeps its pseudo-terminals. */
const QLatin1String terminals("/dev/pts/");

/**
 * Whether the terminal that the link leads to was made after the link. Then the link was meant for an earlier
 * terminal of the same name, which is gone.
 */
bool isOlderThanItsTerminal(const QString &linkPath)
{
    const QByteArray path = QFile::encodeName(linkPath);
    struct stat link = {};
    struct stat terminal = {};
    if (::lstat(path.constData(), &link) != 0 || ::stat(path.constData(), &terminal) != 0) {
        return false;
    }
    return std::tie(link.st_mtim.tv_sec, link.st_mtim.tv_nsec) <
           std::tie(terminal.st_ctim.tv_sec, terminal.st_ctim.tv_nsec);
}

} // namespace

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
    try {
        if (!m_linkPath.isEmpty()) {
            m_claim.take(m_linkPath);
        }
        openLine();
        return true;
    } catch (const CannotListen &error) {
        m_claim.release();
        m_error = error.text();
        return false;
    }
}

void PtyTransport::openLine()
{
    const bool isFirst = m_port.isEmpty();
    const auto line = std::make_shared<PtyLine>();
    line->open();
    m_port = line->port();
    if (!m_linkPath.isEmpty()) {
        makeLink();
    }
    m_line = line;
    // The line holds the connection, which must not hold the line.
    connect(line.get(), &PtyLine::received, this, [this](const QByteArray &bytes) {
        const testkit::PeerPointer peer = m_line; // which may be hung up meanwhile
        Q_EMIT received(peer, bytes);
    });
    if (!isFirst && m_linkPath.isEmpty()) {
        Q_EMIT moved();
    }
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
    m_claim.release();
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

void PtyTransport::makeLink()
{
    if (isLeftOver()) {
        QFile::remove(m_linkPath);
    }
    QFile port(m_port);
    if (!port.link(m_linkPath)) {
        throw CannotListen(port.errorString());
    }
}

/**
 * Whether there is a link that nobody removed, as when a simulator was killed. The system gives the name of its
 * terminal to others then, often to the next simulator.
 */
bool PtyTransport::isLeftOver() const
{
    const QFileInfo old(m_linkPath);
    if (!old.isSymLink()) {
        return false;
    }
    const QString target = old.symLinkTarget();
    return !old.exists() || target == m_port || (target.startsWith(terminals) && isOlderThanItsTerminal(m_linkPath));
}

} // namespace biz::simulator
