#include <biz_gateway/topics/topics.h>

#include <tuple>

namespace biz::gateway {

namespace {

constexpr auto firstLevel = "biz";
constexpr auto deviceLevel = "device";
constexpr auto osdLevel = "osd";
constexpr auto commandLevel = "command";

QLatin1String levelOf(Channel channel)
{
    switch (channel) {
    case Channel::Device:
        return QLatin1String(deviceLevel);
    case Channel::Osd:
        return QLatin1String(osdLevel);
    }
    return {};
}

} // namespace

bool Address::operator<(const Address &other) const
{
    return std::tie(channel, name) < std::tie(other.channel, other.name);
}

QString addressText(const Address &address)
{
    const QLatin1String kind(address.channel == Channel::Device ? "device " : "OSD device ");
    return kind + address.name;
}

bool isForCommands(const QString &topic)
{
    const QStringList levels = topic.split(QLatin1Char('/'));
    constexpr int withoutClient = 5;
    return levels.size() >= withoutClient && levels.at(0) == QLatin1String(firstLevel) &&
           (levels.at(2) == QLatin1String(deviceLevel) || levels.at(2) == QLatin1String(osdLevel)) &&
           levels.at(4) == QLatin1String(commandLevel);
}

Topics::Topics(const QString &site)
    : m_site(QLatin1String(firstLevel) + QLatin1Char('/') + site)
{
}

QStringList Topics::commandFilters() const
{
    QStringList filters;
    for (const Channel channel : {Channel::Device, Channel::Osd}) {
        // '#' stands for the level above it as well.
        filters.append(QStringLiteral("%1/%2/+/command/#").arg(m_site, levelOf(channel)));
    }
    return filters;
}

std::optional<CommandTopic> Topics::readCommandTopic(const QString &topic) const
{
    if (!topic.startsWith(m_site + QLatin1Char('/'))) {
        return std::nullopt;
    }
    const QStringList levels = topic.mid(m_site.size() + 1).split(QLatin1Char('/'));
    constexpr int withoutClient = 3;
    constexpr int withClient = 4;
    if ((levels.size() != withoutClient && levels.size() != withClient) ||
        levels.at(2) != QLatin1String(commandLevel)) {
        return std::nullopt;
    }
    for (const Channel channel : {Channel::Device, Channel::Osd}) {
        if (levels.at(0) == levelOf(channel)) {
            return CommandTopic{{channel, levels.at(1)}, levels.value(withoutClient)};
        }
    }
    return std::nullopt;
}

QString Topics::status() const
{
    return m_site + QStringLiteral("/gateway/status");
}

QString Topics::of(const Address &address, const char *what) const
{
    return QStringLiteral("%1/%2/%3/%4").arg(m_site, levelOf(address.channel), address.name, QLatin1String(what));
}

} // namespace biz::gateway
