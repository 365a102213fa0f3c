#include <host/event_source.h>

#include <QtCore/QDateTime>
#include <QtCore/QSysInfo>

#include <host/version.h>

namespace biz::host {

namespace {

constexpr double nanosecondsPerMillisecond = 1e6;

void stamp(Event &event, const QElapsedTimer &sinceStart)
{
    event.utcMs = QDateTime::currentMSecsSinceEpoch();
    event.atMs = static_cast<double>(sinceStart.nsecsElapsed()) / nanosecondsPerMillisecond;
}

} // namespace

EventSource::EventSource(QObject *parent)
    : QObject(parent)
    , m_startUtcMs(QDateTime::currentMSecsSinceEpoch())
{
    qRegisterMetaType<Event>();
    m_sinceStart.start();
}

EventSource::~EventSource() = default;

QByteArray EventSource::headLines() const
{
    Event start;
    start.kind = EventKind::Start;
    start.utcMs = m_startUtcMs;
    QJsonObject keys = versionKeys();
    const QJsonObject own = about();
    for (auto key = own.begin(); key != own.end(); ++key) {
        keys.insert(key.key(), key.value());
    }
    keys.insert(QStringLiteral("format"), eventFormat);
    Event now;
    now.kind = EventKind::State;
    return jsonLine(start, keys) + jsonLine(timed(now), state());
}

/** Made once: the files of a log may begin often. */
QJsonObject versionKeys()
{
    static const QJsonObject keys{
        {QStringLiteral("library"), libraryVersion()},
        {QStringLiteral("environment"),
         QStringLiteral("Qt %1, %2, %3")
             .arg(QString::fromLatin1(qVersion()), QSysInfo::prettyProductName(), QSysInfo::currentCpuArchitecture())}};
    return keys;
}

void EventSource::tell(Event event)
{
    stamp(event, m_sinceStart);
    Q_EMIT happened(event);
}

Event EventSource::timed(Event event) const
{
    stamp(event, m_sinceStart);
    return event;
}

} // namespace biz::host
