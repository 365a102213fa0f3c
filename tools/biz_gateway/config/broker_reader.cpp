#include <biz_gateway/config/broker_reader.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtNetwork/QHostAddress>

#include <common/shown_text.h>

namespace biz::gateway {

using tools::ObjectReader;

namespace {

constexpr int shortestKeepAliveS = 5; ///< what the broker's library takes at least
constexpr int longestKeepAliveS = 3600;
constexpr int longestTopic = 65535; ///< in bytes
constexpr int longestClientId = 128;
constexpr qint64 longestPassword = 4096; ///< in bytes

/** The absolute path of a file that can be read; empty when the key is absent. */
QString readPath(const ObjectReader &reader, const char *key, const QString &folder)
{
    const QString text = reader.text(key);
    if (text.isEmpty()) {
        return {};
    }
    const QString path = QDir(folder).absoluteFilePath(text);
    // A pipe would keep the gateway waiting.
    if (!QFileInfo(path).isFile() || !QFile(path).open(QIODevice::ReadOnly)) {
        reader.note(key,
                    QStringLiteral("a file that can be read expected, but %1 cannot").arg(tools::quotedText(path)));
    }
    return path;
}

/** The one line of a file that not everybody may read. Editors put an end behind it; nothing else is taken off. */
QByteArray readPassword(const ObjectReader &reader, const QString &folder)
{
    const QString path = readPath(reader, "passwordFile", folder);
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly)) {
        return {};
    }
    if (file.permissions() & QFileDevice::ReadOther) {
        reader.note("passwordFile", QStringLiteral("a file expected that not every user of this machine may read"));
    }
    constexpr qint64 longestEnd = 2;
    constexpr qint64 oneTooMany = 1;
    QByteArray password = file.read(longestPassword + longestEnd + oneTooMany);
    if (password.endsWith('\n')) {
        password.chop(password.endsWith("\r\n") ? 2 : 1);
    }
    if (password.isEmpty() || password.size() > longestPassword || password.contains('\n')) {
        reader.note(
            "passwordFile",
            QStringLiteral("a file with one line, the password of at most %1 bytes, expected").arg(longestPassword));
    }
    return password;
}

void readTls(const ObjectReader &broker, const QString &folder, BrokerSettings *settings)
{
    if (!broker.has("tls")) {
        return;
    }
    const ObjectReader reader(broker, broker.placed("tls"), {"authorities", "certificate", "key"});
    settings->usesTls = true;
    settings->authorities = readPath(reader, "authorities", folder);
    settings->certificate = readPath(reader, "certificate", folder);
    settings->key = readPath(reader, "key", folder);
    if (settings->certificate.isEmpty() != settings->key.isEmpty()) {
        reader.note(settings->key.isEmpty() ? "key" : "certificate",
                    QStringLiteral("a \"certificate\" and its \"key\" expected, or neither"));
    }
}

void requireSafety(const ObjectReader &reader, const BrokerSettings &settings)
{
    if (isLoopback(settings.host)) {
        return;
    }
    if (!settings.usesTls) {
        reader.note("host", QStringLiteral("\"tls\" expected beside it, since %1 is not this machine: what goes there "
                                           "would be read and changed on the way")
                                .arg(tools::quotedText(settings.host)));
    }
    const bool hasPassword = !settings.user.isEmpty() && !settings.password.isEmpty();
    if (!hasPassword && settings.certificate.isEmpty()) {
        reader.note("host",
                    QStringLiteral("\"user\" and \"passwordFile\", or a certificate in \"tls\", expected beside "
                                   "it, since %1 is not this machine")
                        .arg(tools::quotedText(settings.host)));
    }
}

} // namespace

bool isLoopback(const QString &host)
{
    QHostAddress address;
    return host == QLatin1String("localhost") || (address.setAddress(host) && address.isLoopback());
}

bool isTopicFilter(const QString &text)
{
    const QStringList levels = text.split(QLatin1Char('/'));
    for (int at = 0; at < levels.size(); ++at) {
        const QString &level = levels.at(at);
        const bool isLast = at == levels.size() - 1;
        if ((level.contains(QLatin1Char('+')) && level.size() > 1) ||
            (level.contains(QLatin1Char('#')) && (level.size() > 1 || !isLast))) {
            return false;
        }
    }
    return !text.isEmpty() && text.toUtf8().size() <= longestTopic && !text.contains(QChar::Null);
}

BrokerSettings readBroker(const ObjectReader &file, const QString &site, const QString &folder)
{
    BrokerSettings settings;
    settings.clientId = QStringLiteral("biz-gateway-") + site;
    if (!file.has("broker")) {
        return settings;
    }
    const ObjectReader reader(file, file.placed("broker"),
                              {"host", "port", "clientId", "keepAliveS", "user", "passwordFile", "tls"});
    settings.host = reader.text("host", settings.host);
    if (settings.host.isEmpty()) {
        reader.note("host", QStringLiteral("a name or an address expected"));
    }
    readTls(reader, folder, &settings);
    settings.port = static_cast<quint16>(
        reader.integer("port", 1, largestPort, settings.usesTls ? BrokerSettings::tlsPort : BrokerSettings::plainPort));
    settings.clientId = reader.text("clientId", settings.clientId);
    if (settings.clientId.isEmpty() || settings.clientId.size() > longestClientId) {
        reader.note("clientId", QStringLiteral("1 to %1 characters expected").arg(longestClientId));
    }
    settings.keepAliveS = reader.integer("keepAliveS", shortestKeepAliveS, longestKeepAliveS, settings.keepAliveS);
    settings.user = reader.text("user");
    settings.password = readPassword(reader, folder);
    requireSafety(reader, settings);
    return settings;
}

} // namespace biz::gateway
