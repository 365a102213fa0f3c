#ifndef BIZ_GATEWAY_TOPICS_H
#define BIZ_GATEWAY_TOPICS_H

#include <optional>

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * The names of a site's topics:
 *
 *     biz/SITE/device/NAME/command[/CLIENT]     biz/SITE/osd/ADDRESS/command[/CLIENT]
 *     biz/SITE/device/NAME/outcome ...          biz/SITE/gateway/status
 */
namespace biz::gateway {

enum class Channel {
    Device,
    Osd,
};

/** One device of a site. */
struct Address
{
    Channel channel = Channel::Device;
    QString name; ///< of an OSD device its address

    bool operator<(const Address &other) const;
    bool operator==(const Address &other) const { return channel == other.channel && name == other.name; }
};

/** "device hall-1" or "OSD device 192.168.1.40", for people. */
QString addressText(const Address &address);

/** Whether a topic is one of commands, of whatever site: the gateway writes to none. */
bool isForCommands(const QString &topic);

/** Whom a command is for, and who sent it as far as the topic tells. */
struct CommandTopic
{
    Address address;
    QString client;
};

class Topics
{
public:
    explicit Topics(const QString &site);

    /** What a gateway subscribes to. */
    QStringList commandFilters() const;

    /** Nothing when it is no topic of commands. */
    std::optional<CommandTopic> readCommandTopic(const QString &topic) const;

    QString outcome(const Address &address) const { return of(address, "outcome"); }
    QString event(const Address &address) const { return of(address, "event"); }
    QString state(const Address &address) const { return of(address, "state"); }
    QString counters(const Address &address) const { return of(address, "counters"); }
    QString status() const;

private:
    QString of(const Address &address, const char *what) const;

    QString m_site; ///< "biz/SITE"
};

} // namespace biz::gateway

#endif
