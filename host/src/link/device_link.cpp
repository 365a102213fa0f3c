#include <host/device_link.h>

#include <link/serial_link_p.h>
#include <link/tcp_link_p.h>
#include <link/udp_link_p.h>

namespace biz::host {

namespace {

constexpr int highestPort = 0xFFFF;

constexpr char tcpForm[] = "tcp://HOST[:PORT]";
constexpr char udpForm[] = "udp://HOST[:PORT]";
constexpr char serialForm[] = "serial:///dev/NAME[?baud=115200&parity=none&data=8&stop=1&flow=none]";

QString quoted(const QString &text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

QString expected(const char *form)
{
    return QStringLiteral("; expected ") + QLatin1String(form);
}

QString expectedAny()
{
    return QStringLiteral("; expected %1, %2 or %3")
        .arg(QLatin1String(tcpForm), QLatin1String(udpForm), QLatin1String(serialForm));
}

/** What keeps a URL from naming a port in the network; empty when nothing does. */
QString networkProblemOf(const QUrl &url, const QString &kind)
{
    if (url.host().isEmpty()) {
        return QStringLiteral(" names no host");
    }
    if (url.port(defaultTcpPort) < 1) {
        return QStringLiteral(": port is 0, 1 to %1 allowed").arg(highestPort);
    }
    if (!url.userInfo().isEmpty()) {
        return QStringLiteral(": a %1 link takes no user name").arg(kind);
    }
    if (url.path().size() > 1) {
        return QStringLiteral(": a %1 link takes no path, but has %2").arg(kind, quoted(url.path()));
    }
    if (url.hasQuery() || url.hasFragment()) {
        return QStringLiteral(": a %1 link takes no query and no fragment").arg(kind);
    }
    return {};
}

/** What keeps a URL from naming any link, whatever its scheme; empty when nothing does. */
QString problemOf(const QUrl &url)
{
    if (url.isEmpty()) {
        return QStringLiteral("the link's URL is empty");
    }
    if (!url.isValid()) {
        // What follows in Qt's text are the parts that it could make out, for developers.
        return url.errorString().section(QStringLiteral("; scheme = "), 0, 0);
    }
    if (url.scheme().isEmpty()) {
        return QStringLiteral("%1 has no scheme").arg(quoted(url.toDisplayString()));
    }
    return {};
}

/** The form that is expected of a URL which cannot be parsed: the scheme is what was typed. */
QString expectedOf(const QUrl &url)
{
    const QString typed = url.isValid() ? url.scheme() : url.errorString();
    for (const char *form : {tcpForm, udpForm, serialForm}) {
        const QString scheme = QString::fromLatin1(form).section(QLatin1Char(':'), 0, 0);
        if (url.scheme() == scheme || typed.contains(QLatin1Char('"') + scheme + QStringLiteral("://"))) {
            return expected(form);
        }
    }
    return expectedAny();
}

template<typename NetworkLink>
std::unique_ptr<DeviceLink> makeNetworkLink(const QUrl &url, const QString &kind, int defaultPort, QString *problem)
{
    *problem = networkProblemOf(url, kind);
    if (!problem->isEmpty()) {
        return nullptr;
    }
    return std::make_unique<NetworkLink>(url.host(), static_cast<quint16>(url.port(defaultPort)));
}

std::unique_ptr<DeviceLink> makeSerialLink(const QUrl &url, QString *problem)
{
    SerialSettings settings;
    *problem = readSerialUrl(url, &settings);
    if (!problem->isEmpty()) {
        problem->prepend(QStringLiteral(": "));
        return nullptr;
    }
    return std::make_unique<SerialLink>(settings);
}

/** Of a valid URL; `problem` continues a sentence that begins with the URL. */
std::unique_ptr<DeviceLink> makeOfScheme(const QUrl &url, QString *problem)
{
    const QString scheme = url.scheme();
    if (scheme == QLatin1String("tcp")) {
        return makeNetworkLink<TcpLink>(url, QStringLiteral("TCP"), defaultTcpPort, problem);
    }
    if (scheme == QLatin1String("udp")) {
        return makeNetworkLink<UdpLink>(url, QStringLiteral("UDP"), defaultUdpPort, problem);
    }
    if (scheme == QLatin1String("serial")) {
        return makeSerialLink(url, problem);
    }
    *problem = QStringLiteral(": there is no link of scheme %1").arg(quoted(scheme));
    return nullptr;
}

void explain(QString *error, const QString &text)
{
    if (error != nullptr) {
        *error = text;
    }
}

} // namespace

DeviceLink::DeviceLink(QObject *parent)
    : QObject(parent)
{
}

DeviceLink::~DeviceLink() = default;

bool DeviceLink::canWrite() const
{
    return isOpen();
}

qint64 DeviceLink::bytesHeld() const
{
    return 0;
}

void DeviceLink::discard() {}

bool DeviceLink::keepsMessageBoundaries() const
{
    return false;
}

std::unique_ptr<DeviceLink> makeLink(const QUrl &url, QString *error)
{
    QString problem = problemOf(url);
    if (!problem.isEmpty()) {
        explain(error, problem + expectedOf(url));
        return nullptr;
    }
    std::unique_ptr<DeviceLink> link = makeOfScheme(url, &problem);
    if (!link) {
        explain(error, quoted(url.toDisplayString()) + problem + expectedOf(url));
    }
    return link;
}

} // namespace biz::host
