#include <host/device_link.h>

#include <host/tcp_link_p.h>

namespace biz::host {

namespace {

constexpr int highestPort = 0xFFFF;

QString expectation()
{
    return QStringLiteral("; expected tcp://HOST[:PORT]");
}

QString quoted(const QString &text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

/** What keeps a URL from naming a TCP link; empty when nothing does. */
QString problemOf(const QUrl &url)
{
    if (url.isEmpty()) {
        return QStringLiteral("the link's URL is empty");
    }
    if (!url.isValid()) {
        // What follows in Qt's text are the parts that it could make out, for developers.
        return url.errorString().section(QStringLiteral("; scheme = "), 0, 0);
    }
    const QString text = url.toDisplayString();
    if (url.scheme().isEmpty()) {
        return QStringLiteral("%1 has no scheme").arg(quoted(text));
    }
    if (url.scheme() != QLatin1String("tcp")) {
        return QStringLiteral("%1: there is no link of scheme %2").arg(quoted(text), quoted(url.scheme()));
    }
    if (url.host().isEmpty()) {
        return QStringLiteral("%1 names no host").arg(quoted(text));
    }
    if (url.port(defaultTcpPort) < 1) {
        return QStringLiteral("%1: port is 0, 1 to %2 allowed").arg(quoted(text)).arg(highestPort);
    }
    if (!url.userInfo().isEmpty()) {
        return QStringLiteral("%1: a TCP link takes no user name").arg(quoted(text));
    }
    if (url.path().size() > 1) {
        return QStringLiteral("%1: a TCP link takes no path, but has %2").arg(quoted(text), quoted(url.path()));
    }
    if (url.hasQuery() || url.hasFragment()) {
        return QStringLiteral("%1: a TCP link takes no query and no fragment").arg(quoted(text));
    }
    return {};
}

} // namespace

DeviceLink::DeviceLink(QObject *parent)
    : QObject(parent)
{
}

DeviceLink::~DeviceLink() = default;

std::unique_ptr<DeviceLink> makeLink(const QUrl &url, QString *error)
{
    const QString problem = problemOf(url);
    if (!problem.isEmpty()) {
        *error = problem + expectation();
        return nullptr;
    }
    return std::make_unique<TcpLink>(url.host(), static_cast<quint16>(url.port(defaultTcpPort)));
}

} // namespace biz::host
