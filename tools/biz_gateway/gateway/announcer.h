#ifndef BIZ_GATEWAY_ANNOUNCER_H
#define BIZ_GATEWAY_ANNOUNCER_H

#include <set>

#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <biz_gateway/broker/broker_session.h>
#include <biz_gateway/devices/site_devices.h>
#include <biz_gateway/gateway/instance.h>
#include <biz_gateway/gateway/outbox.h>
#include <biz_gateway/journal/journal.h>
#include <biz_gateway/topics/topics.h>

namespace biz::gateway {

/** Tells whoever looks how the gateway and its devices stand, and what happens to them. */
class Announcer : public QObject
{
    Q_OBJECT

public:
    Announcer(SiteDevices *devices, BrokerSession *session, const GatewayConfig &config, const Instance &instance,
              QObject *parent = nullptr);

    /** Where the numbers of the status come from. */
    void watch(const Journal *journal, const Outbox *outbox);

    void apply(const GatewayConfig &config);

    /** That the gateway has ended, for the broker to tell when it does not hear of it any more. */
    static Publication will(const QString &site, const Instance &instance);

    /** That the gateway ends because it was asked to. */
    Publication lastWord() const;

Q_SIGNALS:
    /** A gateway that began later serves this site. */
    void rivalAppeared();

private:
    void onReceived(const QVector<Message> &messages);
    void onOnline();
    void onHappened(const Address &address, const host::Event &event);
    void onRemoved(const Address &address);
    void announceState(const Address &address);
    void flushStates();
    void tellStatus();
    void tellCounters();

    SiteDevices *const m_devices;
    BrokerSession *const m_session;
    const Journal *m_journal = nullptr;
    const Outbox *m_outbox = nullptr;
    const Topics m_topics;
    const Instance m_instance;
    bool m_tellsEvents;
    std::set<Address> m_changed; ///< devices whose state is to be told
    std::set<Address> m_removed; ///< devices whose state is to be taken back
    QTimer m_flushing;
    QTimer m_statusTimer;
    QTimer m_countersTimer;
};

} // namespace biz::gateway

#endif
