#include <biz_simulator/transport/pty/link_claim.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>

#include <biz_simulator/address/cannot_listen.h>

namespace biz::simulator {

namespace {

/** The same for each way to write the path; hashed, since a socket's name has room for short paths only. */
QByteArray nameOf(const QString &linkPath)
{
    const QFileInfo link(linkPath);
    const QString path = QFileInfo(link.path()).canonicalFilePath() + QLatin1Char('/') + link.fileName();
    return "biz_simulator " + QCryptographicHash::hash(path.toUtf8(), QCryptographicHash::Sha256).toHex();
}

} // namespace

LinkClaim::~LinkClaim()
{
    release();
}

void LinkClaim::take(const QString &linkPath)
{
    release();
    const QByteArray name = nameOf(linkPath);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    // A zero before the name makes it an abstract one.
    const auto nameSize = static_cast<std::size_t>(name.size());
    std::memcpy(address.sun_path + 1, name.constData(), nameSize);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + nameSize);

    m_socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (m_socket >= 0 && ::bind(m_socket, reinterpret_cast<const sockaddr *>(&address), size) == 0) {
        return;
    }
    const QString problem =
        errno == EADDRINUSE ? QStringLiteral("the link belongs to a running biz_simulator") : qt_error_string(errno);
    release();
    throw CannotListen(problem);
}

void LinkClaim::release()
{
    if (m_socket >= 0) {
        ::close(m_socket);
        m_socket = -1;
    }
}

} // namespace biz::simulator
