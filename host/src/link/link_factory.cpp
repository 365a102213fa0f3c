#include <algorithm>
#include <iterator>

#include <host/device_link.h>

#include <link/serial_link_p.h>
#include <link/tcp_link_p.h>
#include <link/udp_link_p.h>

namespace biz::host {

namespace {

constexpr int highestPort = 0xFFFF;

QString quoted(const QString &text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

/** Why a URL names no host and port; empty when it names them. */
QString networkProblemOf(const QUrl &url, const QString &kind)
{
    if (url.host().isEmpty()) {
        return QStringLiteral(" names no host");
    }
    if (url.port(highestPort) < 1) {
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

template<typename NetworkLink>
std::unique_ptr<DeviceLink> makeNetworkLink(const QUrl &url, const QString &kind, int defaultPort, QString *problem)
{
    *problem = networkProblemOf(url, kind);
    if (!problem->isEmpty()) {
        return nullptr;
    }
    return std::make_unique<NetworkLink>(url.host(), static_cast<quint16>(url.port(defaultPort)));
}

std::unique_ptr<DeviceLink> makeTcpLink(const QUrl &url, QString *problem)
{
    return makeNetworkLink<TcpLink>(url, QStringLiteral("TCP"), defaultTcpPort, problem);
}

std::unique_ptr<DeviceLink> makeUdpLink(const QUrl &url, QString *problem)
{
    return makeNetworkLink<UdpLink>(url, QStringLiteral("UDP"), defaultUdpPort, problem);
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

/** A kind of link: the scheme of its URLs, their form for people, and what makes a link from one of them. */
struct LinkKind
{
    const char *scheme;
    const char *form;

    /** Gets a valid URL of the scheme. Without a link, `problem` continues a sentence that begins with the URL. */
    std::unique_ptr<DeviceLink> (*make)(const QUrl &url, QString *problem);
};

constexpr LinkKind kinds[] = {
    {"tcp", "tcp://HOST[:PORT]", makeTcpLink},
    {"udp", "udp://HOST[:PORT]", makeUdpLink},
    {"serial", "serial:///dev/NAME[?baud=115200&parity=none&data=8&stop=1&flow=none]", makeSerialLink},
};

/** The kind of a scheme; null when there is none. */
const LinkKind *kindOf(const QString &scheme)
{
    const auto *const kind = std::find_if(std::begin(kinds), std::end(kinds),
                                          [&](const LinkKind &each) { return scheme == QLatin1String(each.scheme); });
    return kind == std::end(kinds) ? nullptr : kind;
}

/** What was expected: the form of that kind, or of each when it is null. */
QString expected(const LinkKind *kind)
{
    if (kind != nullptr) {
        return QStringLiteral("; expected ") + QLatin1String(kind->form);
    }
    QStringList forms;
    for (const LinkKind &each : kinds) {
        forms.append(QString::fromLatin1(each.form));
    }
    const QString last = forms.takeLast();
    return QStringLiteral("; expected %1 or %2").arg(forms.join(QStringLiteral(", ")), last);
}

/** "device:15700" parses as a URL of the scheme "device", but is a host and a port. */
bool isHostAndPort(const QUrl &url)
{
    bool isNumber = false;
    url.path().toUInt(&isNumber);
    return isNumber && url.authority().isEmpty() && kindOf(url.scheme()) == nullptr;
}

/** Of a URL that cannot be parsed: what is wrong with it, and what was expected. */
QString complaintAboutInvalid(const QUrl &url)
{
    if (url.scheme().isEmpty()) {
        return quoted(url.path()) + QStringLiteral(" has no scheme") + expected(nullptr);
    }
    // The error holds the sentence, what was typed, and the parts that Qt could make out; the URL holds neither.
    const QString error = url.errorString();
    const QString why = error.section(QStringLiteral("; source was "), 0, 0);
    const QString typed =
        error.section(QStringLiteral("; source was "), 1).section(QStringLiteral("; scheme = "), 0, 0);
    return QStringLiteral("%1: %2").arg(typed, why) + expected(kindOf(url.scheme()));
}

/** As makeLink(), except that the complaint is always wanted. */
std::unique_ptr<DeviceLink> makeOrComplain(const QUrl &url, QString *complaint)
{
    if (url.isEmpty()) {
        *complaint = QStringLiteral("the link's URL is empty") + expected(nullptr);
        return nullptr;
    }
    if (!url.isValid()) {
        *complaint = complaintAboutInvalid(url);
        return nullptr;
    }
    const LinkKind *const kind = kindOf(url.scheme());
    QString problem;
    std::unique_ptr<DeviceLink> link;
    if (kind != nullptr) {
        link = kind->make(url, &problem);
    } else if (url.scheme().isEmpty() || isHostAndPort(url)) {
        problem = QStringLiteral(" has no scheme");
    } else {
        problem = QStringLiteral(": there is no link of scheme %1").arg(quoted(url.scheme()));
    }
    if (!link) {
        *complaint = quoted(url.toDisplayString()) + problem + expected(kind);
    }
    return link;
}

} // namespace

std::unique_ptr<DeviceLink> makeLink(const QUrl &url, QString *error)
{
    QString complaint;
    std::unique_ptr<DeviceLink> link = makeOrComplain(url, &complaint);
    if (!link && error != nullptr) {
        *error = complaint;
    }
    return link;
}

} // namespace biz::host
