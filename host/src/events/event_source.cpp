#include <host/event_source.h>

#include <QtCore/QDateTime>

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
    QJsonObject keys = about();
    keys.insert(QStringLiteral("format"), eventFormat);
    Event now;
    now.kind = EventKind::State;
    return jsonLine(start, keys) + jsonLine(timed(now), state());
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
