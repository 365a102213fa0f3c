#ifndef BIZ_GATEWAY_GATEWAY_H
#define BIZ_GATEWAY_GATEWAY_H

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <biz_gateway/broker/broker_session.h>
#include <biz_gateway/config/gateway_config.h>
#include <biz_gateway/devices/site_devices.h>
#include <biz_gateway/gateway/announcer.h>
#include <biz_gateway/gateway/command_desk.h>
#include <biz_gateway/gateway/outbox.h>
#include <biz_gateway/journal/journal.h>

namespace biz::gateway {

/** A site's devices, a broker, and what lies between them. */
class Gateway : public QObject
{
    Q_OBJECT

public:
    /** Its journal and its devices' folders are below `stateFolder`. Throws JournalError. */
    Gateway(const GatewayConfig &config, const QString &stateFolder, QObject *parent = nullptr);
    ~Gateway() override;

    void start();

    /**
     * Devices that are gone end, new ones begin, the others go on undisturbed. Returns what could not be done, and
     * what changes with a restart only.
     */
    QStringList reload(const GatewayConfig &config);

    /** Ends every command, lets the broker have the outcomes, and says good-bye. ended() follows within seconds. */
    void stop();

Q_SIGNALS:
    void online();
    void offline(const QString &reason);

    /** Another client has taken the client id, or another gateway serves the site. */
    void takenOver();
    void ended();

private:
    static Introduction introductionOf(const GatewayConfig &config, const Instance &instance);
    void lookWhetherDone();
    void forgetOld();

    GatewayConfig m_config;
    const Instance m_instance;
    Journal m_journal;
    SiteDevices m_devices;
    BrokerSession m_session;
    Outbox m_outbox;
    CommandDesk m_desk;
    Announcer m_announcer;
    QTimer m_forgetting;
    QTimer m_looking;
    QElapsedTimer m_sinceStop;
};

} // namespace biz::gateway

#endif
