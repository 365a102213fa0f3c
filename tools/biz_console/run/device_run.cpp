#include <biz_console/run/device_run.h>

#include <common/units.h>
#include <host/reply_words.h>

namespace biz::console {

namespace {

/** More than the channel can send in ten seconds. */
constexpr int mostGivenAhead = 1000;

/** Without --reconnect a lost link ends the run. */
constexpr int neverReconnect = 0;

/** The event of a command, or of a reply, as it stands in a record. */
RunEvent eventOf(host::Ticket ticket, const model_Protocoldata &record)
{
    RunEvent event;
    event.kind = RunEvent::Kind::Happened;
    event.ticket = ticket;
    event.head = QByteArray(reinterpret_cast<const char *>(record.ucHead), sizeof(record.ucHead));
    event.data = record.baData;
    event.sequence = record.ucHead[0];
    event.codes = host::commandText(record);
    return event;
}

RunEvent eventOf(host::Ticket ticket, const model_Protocoldata &reply, Event what, const QString &reason)
{
    RunEvent event = eventOf(ticket, reply);
    event.event = what;
    event.reason = reason;
    return event;
}

} // namespace

DeviceRun::DeviceRun(DeviceSession session, std::unique_ptr<host::DeviceLink> link, const RunPlan &plan,
                     QTextStream &err)
    : SessionRun(SessionWalk(repeatsOf(session.commands), 1, plan.rounds), plan, err)
    , m_session(std::move(session))
    , m_link(std::move(link))
    , m_linkName(m_link->name())
    , m_reconnects(plan.reconnects)
{
    m_host.setDeviceType(m_session.deviceType);
    m_host.setPipelined(m_session.isPipelined);
    m_host.setWhileDown(plan.failsFast ? host::WhileDown::FailFast : host::WhileDown::Hold);
    connectHost();
    connectReplies();
}

void DeviceRun::connectHost()
{
    connect(&m_host, &host::DeviceHost::linkStateChanged, this, &DeviceRun::onLinkStateChanged);
    connect(&m_host, &host::DeviceHost::sent, this, &DeviceRun::onSent);
    connect(&m_host, &host::DeviceHost::ended, this, &DeviceRun::onEnded);
}

void DeviceRun::connectReplies()
{
    connect(&m_host, &host::DeviceHost::rejected, this, &DeviceRun::onRejected);
    connect(&m_host, &host::DeviceHost::late, this, &DeviceRun::onLate);
    connect(&m_host, &host::DeviceHost::duplicate, this, &DeviceRun::onDuplicate);
    connect(&m_host, &host::DeviceHost::foreign, this, &DeviceRun::onForeign);
    connect(&m_host, &host::DeviceHost::refused, this, &DeviceRun::onRefused);
}

RunStart DeviceRun::description() const
{
    RunStart run;
    run.target = m_linkName;
    run.deviceType = m_session.deviceType;
    run.isPipelined = m_session.isPipelined;
    return run;
}

bool DeviceRun::startHost(QString *error)
{
    bool isStarted = (m_reconnects || m_host.setReconnectInterval(neverReconnect)) && m_host.setLink(std::move(m_link));
    if (isStarted) {
        giveSome();
        isStarted = m_host.start();
    }
    *error = m_host.errorString();
    return isStarted;
}

int DeviceRun::longestWaitMs() const
{
    return longestWaitOf(m_session.commands);
}

int DeviceRun::commandsGivenAhead() const
{
    return mostGivenAhead;
}

bool DeviceRun::give(const WalkStep &step, QString *error)
{
    const DeviceSessionCommand &command = m_session.commands.at(step.command);
    const host::Ticket ticket = m_host.enqueue(command.record);
    if (ticket == 0) {
        *error = m_host.errorString();
        return false;
    }
    RunEvent event = eventOf(ticket, command.record);
    event.kind = RunEvent::Kind::Given;
    event.sequence = -1; // it has none before it is sent
    event.name = command.name;
    event.which = whichOf(step, command.repeat);
    event.expected = command.expected;
    event.waitMs = command.record.iWaitTime;
    report().tell(event);
    return true;
}

void DeviceRun::onSent(host::Ticket ticket, int attempt, const model_Protocoldata &command)
{
    m_sent.insert(ticket, command);
    m_lastSent = ticket;
    RunEvent event = eventOf(ticket, command, attempt == 1 ? Event::Sent : Event::Resent, {});
    event.attempts = attempt;
    event.waitMs = command.iWaitTime;
    report().tell(event);
}

void DeviceRun::onLinkStateChanged(const host::LinkStatus &status)
{
    if (status.state == host::LinkState::Closed) {
        endOfReplies(); // or the run's own stop, which is told
        return;
    }
    RunEvent event;
    event.kind = RunEvent::Kind::LinkStateChanged;
    event.link = status;
    event.reason = reasonOf(status);
    report().tell(event);
    if (status.state == host::LinkState::Up) {
        opened();
    } else if (status.state == host::LinkState::Lost && m_reconnects) {
        waitForLink();
    } else if (status.state == host::LinkState::Lost) {
        breakOff(status.reason, LinkFailed);
    }
}

/** Why the link is in its state, as far as there is something to say. */
QString DeviceRun::reasonOf(const host::LinkStatus &status)
{
    if (status.state == host::LinkState::Lost) {
        m_lostSince = status.since;
        return status.reason;
    }
    if (m_lostSince.isNull() || status.state != host::LinkState::Up) {
        return {};
    }
    const double seconds = static_cast<double>(m_lostSince.msecsTo(status.since)) / tools::millisecondsPerSecond;
    return QStringLiteral("after an outage of %1 s").arg(QString::number(seconds, 'f', 1));
}

void DeviceRun::onEnded(host::Ticket ticket, const host::CommandResult &result)
{
    RunEvent event;
    if (m_sent.contains(ticket)) {
        const model_Protocoldata command = m_sent.take(ticket);
        const bool isAnswered = result.outcome == host::Outcome::Answered;
        event = eventOf(ticket, isAnswered ? result.reply : command);
        event.sequence = command.ucHead[0];
        event.codes = host::commandText(command);
    }
    event.setEnd(ticket, result);
    report().tell(event);
    giveSome();
    finishIfDone();
}

void DeviceRun::onRejected(host::Ticket ticket, const model_Protocoldata &reply, const host::ReplyJudgement &judgement)
{
    RunEvent event = eventOf(ticket, reply, Event::Rejected, judgement.broken);
    event.rule = judgement.rule;
    report().tell(event);
    finishIfDone();
}

void DeviceRun::onLate(host::Ticket ticket, const model_Protocoldata &reply, double afterEndMs)
{
    RunEvent event =
        eventOf(ticket, reply, Event::Late, tools::millisecondsText(afterEndMs) + QStringLiteral(" after its end"));
    event.afterEndMs = afterEndMs;
    report().tell(event);
    finishIfDone();
}

void DeviceRun::onDuplicate(host::Ticket ticket, const model_Protocoldata &reply)
{
    report().tell(eventOf(ticket, reply, Event::Duplicate, QStringLiteral("it had been answered")));
    finishIfDone();
}

/** It belongs to no command; the one sent last is the one that its device should have answered. */
void DeviceRun::onForeign(const model_Protocoldata &reply)
{
    report().tell(eventOf(m_lastSent, reply, Event::Foreign, QStringLiteral("to none of the last 256 commands")));
    finishIfDone();
}

void DeviceRun::onRefused(int bytes, const QString &why)
{
    RunEvent event;
    event.kind = RunEvent::Kind::Refused;
    event.bytes = bytes;
    event.reason = why;
    report().tell(event);
}

} // namespace biz::console
