#include <biz_gateway/gateway/announcer.h>

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <biz_gateway/gateway/outcome_json.h>

namespace biz::gateway {

namespace {

/** A link that goes up and down is told as often at most. */
constexpr int statePeriodMs = 100;
constexpr int statusPeriodMs = 60'000;
constexpr int millisecondsPerSecond = 1000;

/** Of the status of a gateway that has said good-bye. */
constexpr auto stoppedKey = "stopped";

constexpr BrokerSession::Token nobodyAsks = 0;

QByteArray jsonOf(const QJsonObject &keys)
{
    return QJsonDocument(keys).toJson(QJsonDocument::Compact);
}

Publication statusOf(const QString &topic, const QJsonObject &keys)
{
    constexpr bool isRetained = true;
    return {topic, jsonOf(keys), isRetained, {}};
}

QString onlineState()
{
    return QStringLiteral("online");
}

QJsonObject offlineKeys(const QString &reason, const Instance &instance)
{
    QJsonObject keys = instance.keys();
    keys.insert(QStringLiteral("state"), QStringLiteral("offline"));
    keys.insert(QStringLiteral("reason"), reason);
    return keys;
}

/** What happens on the way to its end is told by the end's history, too. */
bool isForOthers(host::EventKind kind)
{
    return kind != host::EventKind::Given && kind != host::EventKind::Writing;
}

} // namespace

Announcer::Announcer(SiteDevices *devices, BrokerSession *session, const GatewayConfig &config,
                     const Instance &instance, QObject *parent)
    : QObject(parent)
    , m_devices(devices)
    , m_session(session)
    , m_topics(config.site)
    , m_instance(instance)
    , m_tellsEvents(config.tellsEvents)
{
    m_flushing.setSingleShot(true);
    m_flushing.setInterval(statePeriodMs);
    connect(&m_flushing, &QTimer::timeout, this, &Announcer::flushStates);
    connect(&m_statusTimer, &QTimer::timeout, this, &Announcer::tellStatus);
    m_statusTimer.start(statusPeriodMs);
    connect(&m_countersTimer, &QTimer::timeout, this, &Announcer::tellCounters);
    connect(session, &BrokerSession::online, this, &Announcer::onOnline);
    connect(session, &BrokerSession::received, this, &Announcer::onReceived);
    connect(devices, &SiteDevices::added, this, &Announcer::announceState);
    connect(devices, &SiteDevices::stateChanged, this, &Announcer::announceState);
    connect(devices, &SiteDevices::removed, this, &Announcer::onRemoved);
    connect(devices, &SiteDevices::happened, this, &Announcer::onHappened, Qt::DirectConnection);
    apply(config);
}

void Announcer::watch(const Journal *journal, const Outbox *outbox)
{
    m_journal = journal;
    m_outbox = outbox;
}

void Announcer::apply(const GatewayConfig &config)
{
    m_tellsEvents = config.tellsEvents;
    if (config.countersEveryS > 0) {
        m_countersTimer.start(config.countersEveryS * millisecondsPerSecond);
    } else {
        m_countersTimer.stop();
    }
}

Publication Announcer::will(const QString &site, const Instance &instance)
{
    return statusOf(Topics(site).status(),
                    offlineKeys(QStringLiteral("the connection to the gateway was lost"), instance));
}

Publication Announcer::lastWord() const
{
    QJsonObject keys = offlineKeys(QStringLiteral("the gateway was stopped"), m_instance);
    keys.insert(QLatin1String(stoppedKey), true);
    return statusOf(m_topics.status(), keys);
}

/**
 * Not every broker says that a client id was taken, and a rival may have one of its own. Of two gateways the younger
 * one stays: it is what somebody wanted last. What an older one leaves on the topic is put right.
 *
 * One that has said good-bye is no rival. One that was lost is, when that was kept until this one came back: it may
 * have been this one that took the client id from it.
 */
void Announcer::onReceived(const QVector<Message> &messages)
{
    for (const Message &message : messages) {
        const bool isStatus = message.topic == m_topics.status();
        const QJsonObject status = isStatus ? QJsonDocument::fromJson(message.payload).object() : QJsonObject();
        const bool wasLost = message.isRetained && !status.value(QLatin1String(stoppedKey)).toBool();
        const bool isThere = wasLost || status.value(QStringLiteral("state")) == onlineState();
        if (isThere && m_instance.isYounger(status)) {
            Q_EMIT rivalAppeared();
        } else if (m_instance.isOther(status)) {
            tellStatus();
        }
    }
}

void Announcer::onOnline()
{
    tellStatus();
    for (const Address &address : m_devices->all()) {
        announceState(address);
    }
}

// --- States -----------------------------------------------------------------------------------

void Announcer::announceState(const Address &address)
{
    m_removed.erase(address);
    m_changed.insert(address);
    if (!m_flushing.isActive()) {
        m_flushing.start();
    }
}

void Announcer::onRemoved(const Address &address)
{
    m_changed.erase(address);
    m_removed.insert(address);
    m_flushing.start();
}

/** Without a connection nothing is told: the next one begins with all. */
void Announcer::flushStates()
{
    constexpr bool isRetained = true;
    const auto publish = [this](const QString &topic, const QByteArray &payload) {
        return m_session->publish({topic, payload, isRetained, {}}, nobodyAsks);
    };
    while (!m_changed.empty() &&
           publish(m_topics.state(*m_changed.begin()), jsonOf(m_devices->state(*m_changed.begin())))) {
        m_changed.erase(m_changed.begin());
    }
    while (!m_removed.empty() && publish(m_topics.state(*m_removed.begin()), {})) {
        m_removed.erase(m_removed.begin());
    }
    if ((!m_changed.empty() || !m_removed.empty()) && m_session->isOnline()) {
        m_flushing.start();
    }
}

// --- What happens -----------------------------------------------------------------------------

void Announcer::onHappened(const Address &address, const host::Event &event)
{
    if (m_tellsEvents && !address.name.isEmpty() && isForOthers(event.kind)) {
        m_session->tell({m_topics.event(address), payloadOf(event), false, {}});
    }
}

void Announcer::tellCounters()
{
    m_devices->counters([this](const Address &address, const host::Counters &counters) {
        const QJsonObject keys{{QStringLiteral("counters"), host::toJson(counters)},
                               {QStringLiteral("roundTrip"), host::roundTripToJson(counters)}};
        m_session->tell({m_topics.counters(address), jsonOf(keys), false, {}});
    });
}

void Announcer::tellStatus()
{
    QJsonObject keys = m_instance.keys();
    keys.insert(QStringLiteral("state"), onlineState());
    keys.insert(QStringLiteral("version"), QStringLiteral(BIZ_GATEWAY_VERSION));
    keys.insert(QStringLiteral("devices"), static_cast<int>(m_devices->all().size()));
    keys.insert(QStringLiteral("eventsLost"), m_session->lost());
    if (m_journal != nullptr && m_outbox != nullptr) {
        keys.insert(QStringLiteral("journal"),
                    m_journal->hasRoom() ? QStringLiteral("hasRoom") : QStringLiteral("full"));
        keys.insert(QStringLiteral("idsReachS"), m_journal->reachS());
        keys.insert(QStringLiteral("unanswered"), m_outbox->unanswered());
    }
    m_session->publish(statusOf(m_topics.status(), keys), nobodyAsks);
}

} // namespace biz::gateway
