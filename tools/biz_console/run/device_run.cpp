#include <biz_console/run/device_run.h>

#include <common/units.h>

namespace biz::console {

namespace {

/** More than the channel can send in ten seconds. */
constexpr int mostGivenAhead = 1000;

/** Without --reconnect a lost link ends the run. */
constexpr int neverReconnect = 0;

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
    follow(host::eventsOf(&m_host));
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
    announce(command.name, whichOf(step, command.repeat), command.expected);
    const bool isTaken = m_host.enqueue(command.record) != 0;
    *error = m_host.errorString();
    return isTaken;
}

bool DeviceRun::complete(host::Event *event)
{
    if (event->kind == host::EventKind::Sent || event->kind == host::EventKind::Resent) {
        m_lastSent = event->ticket;
    } else if (event->kind == host::EventKind::Foreign) {
        event->ticket = m_lastSent; // whose device should have answered
    } else if (event->link) {
        event->reason = reasonOf(*event->link);
    }
    return true;
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

} // namespace biz::console
