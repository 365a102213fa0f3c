#ifndef BIZ_GATEWAY_SITE_DEVICES_H
#define BIZ_GATEWAY_SITE_DEVICES_H

#include <functional>
#include <memory>

#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <biz_gateway/config/gateway_config.h>
#include <biz_gateway/topics/topics.h>
#include <host/device_fleet.h>
#include <host/event_source.h>
#include <host/osd_host.h>
#include <serve/request_p.h>

namespace biz::gateway {

/**
 * The devices of a site. Those with a channel of their own are a DeviceFleet's, each in a worker process. OSD devices
 * share one channel, which this process has.
 */
class SiteDevices : public QObject
{
    Q_OBJECT

public:
    /** Workers work in folders below this one. */
    explicit SiteDevices(const QString &folder, QObject *parent = nullptr);
    ~SiteDevices() override;

    /**
     * From now on these are the devices: others end, new ones begin, and what has not changed goes on undisturbed.
     * Returns what could not be done, a sentence each.
     */
    QStringList apply(const QVector<ServedDevice> &devices, const OsdDevices &osd);

    /** Ends every command and every device. */
    void end();

    bool has(const Address &address) const;
    QVector<Address> all() const;

    /** 0, with errorString(), when the host refuses the command. */
    host::Ticket give(const Address &address, const host::Request &request, const host::CommandOptions &options);
    QString errorString() const { return m_errorString; }

    void cancel(const Address &address, host::Ticket ticket);

    /** How a device stands, as keys of JSON: "state", "since", "reason"... */
    QJsonObject state(const Address &address) const;

    using TakeCounters = std::function<void(const Address &, const host::Counters &)>;

    /** Calls `take` for each device. */
    void counters(const TakeCounters &take) const;

Q_SIGNALS:
    void added(const biz::gateway::Address &address);
    void removed(const biz::gateway::Address &address);
    void stateChanged(const biz::gateway::Address &address);

    /** Also the end of a command; `event` names its device. */
    void happened(const biz::gateway::Address &address, const biz::host::Event &event);

private:
    void applyDevices(const QVector<ServedDevice> &devices, QStringList *problems);
    void applyOsd(const OsdDevices &osd, QStringList *problems);
    bool startOsd(const OsdDevices &osd, QStringList *problems);
    void onFleetEvent(const host::Event &event);
    void onOsdEvent(const host::Event &event);
    void noteSilence(const Address &address);
    void noteAnswer(const Address &address);
    QJsonObject osdState(const QString &ip) const;

    /** What is known of an OSD device. */
    struct Standing
    {
        bool isUp = false;               ///< it has answered its last command
        bool isSilent = false;           ///< it has not
        qint64 unansweredSinceUtcMs = 0; ///< when it was written to first without an answer; 0: it was not
    };

    host::DeviceFleet m_fleet;
    std::unique_ptr<host::EventSource> m_fleetEvents;
    std::unique_ptr<host::OsdHost> m_osdHost; ///< null while there is no OSD device
    std::unique_ptr<host::EventSource> m_osdEvents;
    QVector<ServedDevice> m_devices;
    OsdDevices m_osd;
    QHash<QString, Standing> m_standings; ///< of OSD devices that were written to
    QString m_errorString;
};

} // namespace biz::gateway

#endif
