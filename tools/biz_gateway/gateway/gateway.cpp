#include <biz_gateway/gateway/gateway.h>

#include <QtCore/QDebug>

namespace biz::gateway {

namespace {

constexpr int forgettingPeriodMs = 10'000;

/** For the outcomes of what was pending to reach the broker. */
constexpr int stopLimitMs = 3000;
constexpr int lookPeriodMs = 20;

/** A message that is longer is not even copied. */
constexpr qint64 mostPayloadRead = 256 * 1024;

} // namespace

Gateway::Gateway(const GatewayConfig &config, const QString &stateFolder, QObject *parent)
    : QObject(parent)
    , m_config(config)
    , m_journal(stateFolder + QStringLiteral("/journal.sqlite"), config.journal)
    , m_devices(stateFolder + QStringLiteral("/devices"))
    , m_session(config.broker, introductionOf(config, m_instance))
    , m_outbox(&m_journal, &m_session)
    , m_desk(&m_journal, &m_devices, &m_outbox, config)
    , m_announcer(&m_devices, &m_session, config, m_instance)
{
    m_announcer.watch(&m_journal, &m_outbox);
    connect(&m_session, &BrokerSession::received, &m_desk, &CommandDesk::take);
    connect(&m_session, &BrokerSession::online, this, &Gateway::online);
    connect(&m_session, &BrokerSession::offline, this, &Gateway::offline);
    connect(&m_session, &BrokerSession::takenOver, this, &Gateway::takenOver);
    connect(&m_announcer, &Announcer::rivalAppeared, this, &Gateway::takenOver);
    connect(&m_session, &BrokerSession::closed, this, &Gateway::ended);
    connect(&m_forgetting, &QTimer::timeout, this, &Gateway::forgetOld);
    connect(&m_looking, &QTimer::timeout, this, &Gateway::lookWhetherDone);
}

Gateway::~Gateway() = default;

Introduction Gateway::introductionOf(const GatewayConfig &config, const Instance &instance)
{
    Introduction introduction;
    introduction.will = Announcer::will(config.site, instance);
    introduction.filters = Topics(config.site).commandFilters();
    introduction.mostPayload = mostPayloadRead;
    return introduction;
}

void Gateway::start()
{
    m_desk.endInterrupted();
    for (const QString &problem : m_devices.apply(m_config.devices, m_config.osd)) {
        qWarning("%s", qUtf8Printable(problem));
    }
    m_session.start();
    m_forgetting.start(forgettingPeriodMs);
}

QStringList Gateway::reload(const GatewayConfig &config)
{
    QStringList problems = m_devices.apply(config.devices, config.osd);
    if (config.site != m_config.site || config.broker != m_config.broker || config.journal != m_config.journal) {
        problems.append(QStringLiteral("the site, the broker and the journal change with a restart only"));
    }
    m_desk.setAllowance(config.allowance);
    m_desk.setResponseTopics(config.responseTopics);
    m_announcer.apply(config);
    return problems;
}

void Gateway::stop()
{
    if (m_looking.isActive()) {
        return;
    }
    m_desk.stopTaking();
    m_devices.end();
    m_sinceStop.start();
    m_looking.start(lookPeriodMs);
}

void Gateway::lookWhetherDone()
{
    const bool isDone = m_desk.pending() == 0 && (m_outbox.isEmpty() || !m_session.isOnline());
    if (!isDone && m_sinceStop.elapsed() < stopLimitMs) {
        return;
    }
    m_looking.stop();
    m_outbox.flush();
    m_session.close(m_announcer.lastWord());
}

void Gateway::forgetOld()
{
    try {
        m_journal.commit([this] { m_journal.forgetOld(); });
    } catch (const JournalError &error) {
        qWarning("%s", qUtf8Printable(error.text()));
    }
}

} // namespace biz::gateway
