#include <events/device_events_p.h>

#include <device/channel/device_channel_p.h>
#include <device/device_host_p.h>
#include <events/state_keys_p.h>

namespace biz::host {

namespace {

void addRecord(Event &event, const model_Protocoldata &record)
{
    event.head = QByteArray(reinterpret_cast<const char *>(record.ucHead), sizeof(record.ucHead));
    event.data = record.baData;
}

void addNames(Event &event, const model_Protocoldata &record)
{
    event.sequence = record.ucHead[0];
    event.codes = commandText(record);
}

} // namespace

DeviceEvents::DeviceEvents(DeviceHost *host)
    : m_host(host)
{
    host->d->commands.taps().add(this);
    connect(host, &DeviceHost::sent, this, &DeviceEvents::onSent);
    connect(host, &DeviceHost::ended, this, &DeviceEvents::onEnded);
    connect(host, &DeviceHost::linkStateChanged, this, &DeviceEvents::onLinkStateChanged);
    connectReplies();
}

DeviceEvents::~DeviceEvents()
{
    if (m_host) {
        m_host->d->commands.taps().remove(this);
    }
}

void DeviceEvents::connectReplies()
{
    DeviceHost *const host = m_host;
    connect(host, &DeviceHost::rejected, this, &DeviceEvents::onRejected);
    connect(host, &DeviceHost::late, this, &DeviceEvents::onLate);
    connect(host, &DeviceHost::duplicate, this, [this](Ticket ticket, const model_Protocoldata &reply) {
        tell(eventOf(EventKind::Duplicate, ticket, reply));
    });
    connect(host, &DeviceHost::foreign, this,
            [this](const model_Protocoldata &reply) { tell(eventOf(EventKind::Foreign, 0, reply)); });
    connect(host, &DeviceHost::refused, this, &DeviceEvents::onRefused);
}

QJsonObject DeviceEvents::about() const
{
    QJsonObject keys{{QStringLiteral("channel"), QStringLiteral("device")}};
    if (!m_host) {
        return keys;
    }
    const DeviceLink *const link = m_host->d->link.link();
    keys.insert(QStringLiteral("link"), link != nullptr ? link->name() : QString());
    keys.insert(QStringLiteral("deviceType"), device_channel::deviceType());
    keys.insert(QStringLiteral("pipelined"), m_host->d->traffic.gate().isPipelined());
    return keys;
}

QJsonObject DeviceEvents::state() const
{
    if (!m_host) {
        return {};
    }
    const LinkStatus link = m_host->linkStatus();
    QJsonObject keys = stateKeys(*m_host);
    keys.insert(QStringLiteral("state"), linkStateName(link.state));
    keys.insert(QStringLiteral("since"), link.since.toUTC().toString(Qt::ISODateWithMs));
    if (!link.reason.isEmpty()) {
        keys.insert(QStringLiteral("reason"), link.reason);
    }
    return keys;
}

Event DeviceEvents::eventOf(EventKind kind, Ticket ticket, const model_Protocoldata &record) const
{
    Event event;
    event.kind = kind;
    event.ticket = ticket;
    event.id = m_ids.of(ticket);
    addRecord(event, record);
    addNames(event, record);
    return event;
}

// --- At the moment itself ---------------------------------------------------------------------

void DeviceEvents::onGiven(Ticket ticket, const model_Protocoldata &command, const CommandOptions &options)
{
    m_ids.add(ticket, options.id);
    Event event = eventOf(EventKind::Given, ticket, command);
    event.sequence.reset(); // it has none before it is sent
    event.waitMs = command.iWaitTime;
    tell(std::move(event));
}

void DeviceEvents::onWriting(Ticket ticket, int attempt, const model_Protocoldata &command)
{
    m_written.insert(ticket, command);
    Event event;
    event.kind = EventKind::Writing;
    event.ticket = ticket;
    event.id = m_ids.of(ticket);
    addNames(event, command);
    event.attempts = attempt;
    tell(std::move(event));
}

// --- With the host's signals ------------------------------------------------------------------

void DeviceEvents::onSent(Ticket ticket, int attempt, const model_Protocoldata &command)
{
    Event event = eventOf(attempt == 1 ? EventKind::Sent : EventKind::Resent, ticket, command);
    event.attempts = attempt;
    event.waitMs = command.iWaitTime;
    tell(std::move(event));
}

/** With the reply of an answer, else with the command as it was written. */
void DeviceEvents::onEnded(Ticket ticket, const CommandResult &result)
{
    Event event;
    const auto written = m_written.find(ticket);
    if (written != m_written.end()) {
        addRecord(event, result.outcome == Outcome::Answered ? result.reply : *written);
        addNames(event, *written);
        m_written.erase(written);
    }
    event.id = m_ids.of(ticket);
    event.setEnd(ticket, result);
    m_ids.noteEnd(ticket);
    tell(std::move(event));
}

void DeviceEvents::onRejected(Ticket ticket, const model_Protocoldata &reply, const ReplyJudgement &judgement)
{
    Event event = eventOf(EventKind::Rejected, ticket, reply);
    event.reason = judgement.broken;
    event.rule = judgement.rule;
    tell(std::move(event));
}

void DeviceEvents::onLate(Ticket ticket, const model_Protocoldata &reply, double afterEndMs)
{
    Event event = eventOf(EventKind::Late, ticket, reply);
    event.afterEndMs = afterEndMs;
    tell(std::move(event));
}

void DeviceEvents::onRefused(int bytes, const QString &why)
{
    Event event;
    event.kind = EventKind::Refused;
    event.bytes = bytes;
    event.reason = why;
    tell(std::move(event));
}

void DeviceEvents::onLinkStateChanged(const LinkStatus &status)
{
    Event event;
    event.kind = EventKind::LinkStateChanged;
    event.link = status;
    event.error = status.error;
    event.reason = status.reason;
    tell(std::move(event));
}

std::unique_ptr<EventSource> eventsOf(DeviceHost *host)
{
    return std::make_unique<DeviceEvents>(host);
}

} // namespace biz::host
