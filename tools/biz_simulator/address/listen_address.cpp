#include <biz_simulator/address/listen_address.h>

#include <algorithm>
#include <iterator>

#include <QtCore/QUrl>

#include <common/errors.h>

namespace biz::simulator {

namespace {

constexpr Scheme schemes[] = {Scheme::Tcp, Scheme::Udp, Scheme::Serial};

bool readScheme(const QString &name, Scheme *scheme)
{
    const auto *const known =
        std::find_if(std::begin(schemes), std::end(schemes), [&](Scheme each) { return name == schemeName(each); });
    if (known == std::end(schemes)) {
        return false;
    }
    *scheme = *known;
    return true;
}

bool hasNothingBesideAddress(const QUrl &url)
{
    return url.userInfo().isEmpty() && !url.hasQuery() && !url.hasFragment();
}

bool readNetworkUrl(const QUrl &url, ListenAddress *address)
{
    address->port = static_cast<quint16>(url.port(host::defaultTcpPort));
    return address->host.setAddress(url.host()) && url.path().isEmpty();
}

bool readSerialUrl(const QUrl &url, ListenAddress *address)
{
    address->path = url.path();
    const bool isAbsolute = address->path.startsWith(QLatin1Char('/')) && address->path.size() > 1;
    return url.authority().isEmpty() && (address->path.isEmpty() || isAbsolute);
}

} // namespace

static_assert(host::defaultTcpPort == host::defaultUdpPort, "a URL without port means the same port in both");

QString schemeName(Scheme scheme)
{
    switch (scheme) {
    case Scheme::Tcp:
        return QStringLiteral("tcp");
    case Scheme::Udp:
        return QStringLiteral("udp");
    case Scheme::Serial:
        break;
    }
    return QStringLiteral("serial");
}

QString urlOf(Scheme scheme, const QHostAddress &host, quint16 port)
{
    const bool isV6 = host.protocol() == QAbstractSocket::IPv6Protocol;
    return QStringLiteral("%1://%2:%3")
        .arg(schemeName(scheme), isV6 ? QStringLiteral("[%1]").arg(host.toString()) : host.toString(),
             QString::number(port));
}

ListenAddress readListenUrl(const QString &text)
{
    const QUrl url(text, QUrl::StrictMode);
    ListenAddress address;
    bool isGood = url.isValid() && hasNothingBesideAddress(url) && readScheme(url.scheme(), &address.scheme);
    if (isGood) {
        isGood = address.scheme == Scheme::Serial ? readSerialUrl(url, &address) : readNetworkUrl(url, &address);
    }
    if (!isGood) {
        throw tools::UsageError(
            QStringLiteral("\"%1\": expected tcp://ADDRESS[:PORT], udp://ADDRESS[:PORT], serial: or serial:///PATH")
                .arg(text));
    }
    return address;
}

} // namespace biz::simulator
