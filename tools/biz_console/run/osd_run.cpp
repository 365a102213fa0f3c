#include <biz_console/run/osd_run.h>

#include <common/units.h>

namespace biz::console {

namespace {

/** As many causes as anybody reads; the table of the devices has them all. */
constexpr int mostToldErrors = 1000;

/** What happens to a command, with the record that went or came. */
RunEvent eventOf(host::Ticket ticket, const model_OsdParam &record, Event what = Event::Sent,
                 const QString &reason = {})
{
    RunEvent event;
    event.kind = RunEvent::Kind::Happened;
    event.event = what;
    event.ticket = ticket;
    event.device = record.qsIp;
    event.head = QByteArray(reinterpret_cast<const char *>(record.ucOsdHead), sizeof(record.ucOsdHead));
    event.data = record.baData;
    event.text = record.qsOsdText;
    event.flag = record.ucOsdFlag;
    event.reason = reason;
    return event;
}

} // namespace

OsdRun::OsdRun(OsdSession session, const OsdRunOptions &options, const RunPlan &plan, QTextStream &err)
    : SessionRun(SessionWalk(repeatsOf(session.commands), static_cast<int>(session.devices.size()), plan.rounds), plan,
                 err)
    , m_session(std::move(session))
    , m_options(options)
{
    // The last command of any device may still get a late reply.
    report().ledger().remember(maxOsdCommands + static_cast<int>(m_session.devices.size()));
    connectHost();
}

void OsdRun::connectHost()
{
    connect(&m_host, &host::OsdHost::started, this, &OsdRun::opened);
    connect(&m_host, &host::OsdHost::sent, this, &OsdRun::onSent);
    connect(&m_host, &host::OsdHost::ended, this, &OsdRun::onEnded);
    connect(&m_host, &host::OsdHost::late, this, &OsdRun::onLate);
    connect(&m_host, &host::OsdHost::duplicate, this, &OsdRun::onDuplicate);
    connect(&m_host, &host::OsdHost::foreign, this, &OsdRun::onForeign);
    connect(&m_host, &host::OsdHost::refused, this, &OsdRun::onRefused);
    connect(&m_host, &host::OsdHost::socketError, this, &OsdRun::onSocketError);
}

RunStart OsdRun::description() const
{
    RunStart run;
    run.isOfDevice = false;
    const QString address = m_options.localAddress.isEmpty() ? QStringLiteral("any address") : m_options.localAddress;
    run.target = QStringLiteral("%1, UDP port %2").arg(address).arg(m_session.port);
    return run;
}

bool OsdRun::startHost(QString *error)
{
    const bool isReady = m_host.setPort(m_session.port) &&
                         (m_options.localAddress.isEmpty() || m_host.setLocalAddress(m_options.localAddress));
    const bool isStarted = isReady && m_host.start();
    *error = m_host.errorString();
    return isStarted;
}

bool OsdRun::give(const WalkStep &step, QString *error)
{
    const OsdSessionCommand &command = m_session.commands.at(step.command);
    model_OsdParam record = command.record;
    record.qsIp = m_session.devices.at(step.device);
    const host::Ticket ticket = m_host.enqueue(record);
    if (ticket == 0) {
        *error = m_host.errorString();
        return false;
    }
    const QString which = whichOf(step, command.repeat);
    RunEvent event = eventOf(ticket, record);
    event.kind = RunEvent::Kind::Given;
    event.name = command.name;
    event.which = which.isEmpty() ? record.qsIp : record.qsIp + QStringLiteral(", ") + which;
    event.expected = expectationOf(command, record.qsIp);
    event.waitMs = record.iWaitTime;
    report().tell(event);
    return true;
}

/** A silent device answers nothing, whatever a command expects of the others. */
Expectation OsdRun::expectationOf(const OsdSessionCommand &command, const QString &device) const
{
    if (!m_session.silent.contains(device)) {
        return command.expectedOf.value(device, command.expected);
    }
    Expectation expected;
    expected.outcome = host::Outcome::GaveUp;
    return expected;
}

void OsdRun::onSent(host::Ticket ticket, const model_OsdParam &command)
{
    if (!m_sinceFirstSent.isValid()) {
        m_sinceFirstSent.start();
    }
    m_sent.insert(ticket, command);
    RunEvent event = eventOf(ticket, command);
    event.attempts = 1;
    event.waitMs = command.iWaitTime;
    report().tell(event);
}

void OsdRun::onEnded(host::Ticket ticket, const host::OsdCommandResult &result)
{
    const model_OsdParam command = m_sent.take(ticket);
    const bool isAnswered = result.outcome == host::Outcome::Answered;
    if (isAnswered) {
        m_lastAnswerSeconds[result.ip] = tools::elapsedMs(m_sinceFirstSent) / tools::millisecondsPerSecond;
    }
    RunEvent event;
    if (result.attempts > 0) {
        event = eventOf(ticket, isAnswered ? result.reply : command);
    }
    event.setEnd(ticket, result);
    event.device = result.ip;
    report().tell(event);
    giveSome();
    finishIfDone();
}

void OsdRun::onLate(host::Ticket ticket, const model_OsdParam &reply, double afterEndMs)
{
    RunEvent event =
        eventOf(ticket, reply, Event::Late, tools::millisecondsText(afterEndMs) + QStringLiteral(" after its end"));
    event.afterEndMs = afterEndMs;
    report().tell(event);
    finishIfDone();
}

void OsdRun::onDuplicate(host::Ticket ticket, const model_OsdParam &reply)
{
    report().tell(eventOf(ticket, reply, Event::Duplicate, QStringLiteral("it had been answered")));
    finishIfDone();
}

/** Its sender was never given a command, so none of them is to blame. */
void OsdRun::onForeign(const QString &sender, const model_OsdParam &reply)
{
    RunEvent event = eventOf(0, reply, Event::Foreign, QStringLiteral("it was never given a command"));
    event.device = sender;
    report().tell(event);
}

void OsdRun::onRefused(const QString &sender, int bytes, const QString &why)
{
    RunEvent event;
    event.kind = RunEvent::Kind::Refused;
    event.device = sender;
    event.bytes = bytes;
    event.reason = why;
    report().tell(event);
}

/** Once for each cause: of an address that cannot be reached every single command tells. */
void OsdRun::onSocketError(const QString &why)
{
    if (m_toldErrors.contains(why) || m_toldErrors.size() >= mostToldErrors) {
        return;
    }
    m_toldErrors.insert(why);
    const QString advice =
        m_options.localAddress.isEmpty()
            ? QStringLiteral("is there a route to it? --bind names a local address to send from")
            : QStringLiteral("can it be reached from %1? --bind names the local address to send from")
                  .arg(m_options.localAddress);
    RunEvent event;
    event.kind = RunEvent::Kind::Failed;
    event.reason = QStringLiteral("%1; %2").arg(why, advice);
    report().tell(event);
}

void OsdRun::beforeStop()
{
    for (const host::OsdDeviceStatus &device : m_host.devices()) {
        OsdDeviceTotals row;
        row.device = device.ip;
        row.counters = device.counters;
        row.isReachable = device.reachable;
        row.silentSinceUtcMs = device.silentSinceUtcMs;
        row.lastAnswerSeconds = m_lastAnswerSeconds.value(device.ip);
        m_rows.append(row);
    }
}

} // namespace biz::console
