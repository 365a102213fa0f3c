#ifndef BIZ_GATEWAY_GATEWAY_CONFIG_H
#define BIZ_GATEWAY_GATEWAY_CONFIG_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <host/device_fleet.h>
#include <host/osd_host.h>

/** What the configuration of a gateway says. */
namespace biz::gateway {

constexpr int largestPort = 65535;

/** Where the broker is, and who the gateway is to it. */
struct BrokerSettings
{
    static constexpr quint16 plainPort = 1883;
    static constexpr quint16 tlsPort = 8883;

    QString host = QStringLiteral("localhost");
    quint16 port = plainPort;
    QString clientId;
    int keepAliveS = 30;
    QString user;
    QByteArray password;
    bool usesTls = false;
    QString authorities; ///< file of those whose certificates are believed; empty: the system's
    QString certificate; ///< file of the gateway's own; empty: none
    QString key;

    bool operator==(const BrokerSettings &other) const;
    bool operator!=(const BrokerSettings &other) const { return !(*this == other); }
};

/** A device with a worker of its own. */
struct ServedDevice
{
    QString name;
    host::DeviceSettings settings;

    bool operator==(const ServedDevice &other) const;
};

/** The devices of the OSD channel: all listen on one port. */
struct OsdDevices
{
    quint16 port = host::OsdHost::defaultPort;
    QString localAddress; ///< empty: any
    int defaultWaitMs = host::OsdHost::defaultWaitMs;
    QStringList addresses;
};

/** How commands are remembered. */
struct JournalSettings
{
    int keepHours = 24;
    int mostMebibytes = 1024;   ///< of the file; when it is full, what is oldest goes before its time
    bool outlastsPower = false; ///< each commit waits for the disk

    bool operator==(const JournalSettings &other) const;
    bool operator!=(const JournalSettings &other) const { return !(*this == other); }
};

/** What one client may ask for. */
struct ClientAllowance
{
    int perSecond = 50; ///< messages, on the average
    int burst = 200;    ///< messages at once
    int payloadBytes = 256 * 1024;
    int pending = 1000; ///< commands that have not ended
};

struct GatewayConfig
{
    QString site;
    BrokerSettings broker;
    QVector<ServedDevice> devices;
    OsdDevices osd;
    JournalSettings journal;
    ClientAllowance allowance;
    QStringList responseTopics; ///< filters: where clients may ask to be answered
    int countersEveryS = 10;    ///< 0: never
    bool tellsEvents = true;
};

} // namespace biz::gateway

#endif
