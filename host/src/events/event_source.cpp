#include <host/event_source.h>

#include <QtCore/QDateTime>

namespace biz::host {

namespace {

constexpr double nanosecondsPerMillisecond = 1e6;

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
    Q_EMIT happened(timed(std::move(event)));
}

Event EventSource::timed(Event event) const
{
    event.utcMs = QDateTime::currentMSecsSinceEpoch();
    event.atMs = static_cast<double>(m_sinceStart.nsecsElapsed()) / nanosecondsPerMillisecond;
    return event;
}

} // namespace biz::host
