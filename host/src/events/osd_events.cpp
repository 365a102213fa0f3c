#include <events/osd_events_p.h>

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>

#include <events/state_keys_p.h>
#include <osd/osd_host_p.h>

namespace biz::host {

OsdEvents::OsdEvents(OsdHost *host)
    : m_host(host)
{
    host->d->commands.taps().add(this);
    connect(host, &OsdHost::started, this, [this] {
        Event event;
        event.kind = EventKind::Opened;
        tell(std::move(event));
    });
    connect(host, &OsdHost::sent, this, &OsdEvents::onSent);
    connect(host, &OsdHost::ended, this, &OsdEvents::onEnded);
    connectReplies();
}

OsdEvents::~OsdEvents()
{
    if (m_host) {
        m_host->d->commands.taps().remove(this);
    }
}

void OsdEvents::connectReplies()
{
    OsdHost *const host = m_host;
    connect(host, &OsdHost::late, this, &OsdEvents::onLate);
    connect(host, &OsdHost::duplicate, this,
            [this](Ticket ticket, const model_OsdParam &reply) { tell(eventOf(EventKind::Duplicate, ticket, reply)); });
    connect(host, &OsdHost::foreign, this, &OsdEvents::onForeign);
    connect(host, &OsdHost::refused, this, &OsdEvents::onRefused);
    connect(host, &OsdHost::socketError, this, &OsdEvents::onSocketError);
}

QJsonObject OsdEvents::about() const
{
    QJsonObject keys{{QStringLiteral("channel"), QStringLiteral("osd")}};
    if (m_host) {
        const QHostAddress local = m_host->d->localAddress;
        const bool isAny = local == QHostAddress(QHostAddress::Any);
        keys.insert(QStringLiteral("link"), QStringLiteral("%1, UDP port %2")
                                                .arg(isAny ? QStringLiteral("any address") : local.toString(),
                                                     QString::number(m_host->d->port)));
    }
    return keys;
}

/** Of the devices, those that are to be worried about: they have been written to and not heard of. */
QJsonObject OsdEvents::state() const
{
    if (!m_host) {
        return {};
    }
    QJsonArray silent;
    for (const OsdDeviceStatus &device : m_host->devices()) {
        if (!device.reachable && device.silentSinceUtcMs != 0) {
            const QDateTime since = QDateTime::fromMSecsSinceEpoch(device.silentSinceUtcMs, Qt::UTC);
            silent.append(QJsonObject{{QStringLiteral("device"), device.ip},
                                      {QStringLiteral("silentSince"), since.toString(Qt::ISODateWithMs)}});
        }
    }
    QJsonObject keys = stateKeys(*m_host);
    keys.insert(QStringLiteral("silentDevices"), silent);
    return keys;
}

Event OsdEvents::eventOf(EventKind kind, Ticket ticket, const model_OsdParam &record) const
{
    Event event;
    event.kind = kind;
    event.ticket = ticket;
    event.id = m_ids.of(ticket);
    event.device = record.qsIp;
    event.head = QByteArray(reinterpret_cast<const char *>(record.ucOsdHead), sizeof(record.ucOsdHead));
    event.data = record.baData;
    event.text = record.qsOsdText;
    event.flag = record.ucOsdFlag;
    return event;
}

// --- At the moment itself ---------------------------------------------------------------------

void OsdEvents::onGiven(Ticket ticket, const model_OsdParam &command, const CommandOptions &options)
{
    m_ids.add(ticket, options.id);
    Event event = eventOf(EventKind::Given, ticket, command);
    event.waitMs = command.iWaitTime;
    tell(std::move(event));
}

void OsdEvents::onWriting(Ticket ticket, int attempt, const model_OsdParam &command)
{
    m_written.insert(ticket, command);
    Event event;
    event.kind = EventKind::Writing;
    event.ticket = ticket;
    event.id = m_ids.of(ticket);
    event.device = command.qsIp;
    event.attempts = attempt;
    tell(std::move(event));
}

// --- With the host's signals ------------------------------------------------------------------

void OsdEvents::onSent(Ticket ticket, const model_OsdParam &command)
{
    Event event = eventOf(EventKind::Sent, ticket, command);
    event.attempts = 1; // the channel never resends
    event.waitMs = command.iWaitTime;
    tell(std::move(event));
}

/** With the reply of an answer, else with the command as it was written. */
void OsdEvents::onEnded(Ticket ticket, const OsdCommandResult &result)
{
    Event event;
    const auto written = m_written.find(ticket);
    if (written != m_written.end()) {
        const bool isAnswered = result.outcome == Outcome::Answered;
        event = eventOf(endEvent(result.outcome), ticket, isAnswered ? result.reply : *written);
        m_written.erase(written);
    }
    event.id = m_ids.of(ticket);
    event.setEnd(ticket, result);
    event.device = result.ip;
    m_ids.noteEnd(ticket);
    tell(std::move(event));
}

void OsdEvents::onLate(Ticket ticket, const model_OsdParam &reply, double afterEndMs)
{
    Event event = eventOf(EventKind::Late, ticket, reply);
    event.afterEndMs = afterEndMs;
    tell(std::move(event));
}

void OsdEvents::onForeign(const QString &sender, const model_OsdParam &reply)
{
    Event event = eventOf(EventKind::Foreign, 0, reply);
    event.device = sender;
    tell(std::move(event));
}

void OsdEvents::onRefused(const QString &sender, int bytes, const QString &why)
{
    Event event;
    event.kind = EventKind::Refused;
    event.device = sender;
    event.bytes = bytes;
    event.reason = why;
    tell(std::move(event));
}

void OsdEvents::onSocketError(const QString &why)
{
    Event event;
    event.kind = EventKind::Failed;
    event.reason = why;
    tell(std::move(event));
}

std::unique_ptr<EventSource> eventsOf(OsdHost *host)
{
    return std::make_unique<OsdEvents>(host);
}

} // namespace biz::host
