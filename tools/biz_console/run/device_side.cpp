#include <biz_console/run/device_side.h>

#include <common/units.h>

namespace biz::console {

namespace {

/** More than the channel can send in ten seconds. */
constexpr int mostGivenAhead = 1000;

/** No reply finds an older command: it is known by its sequence byte, which repeats sooner. */
constexpr int mostRemembered = 1024;

/** Without --reconnect a lost link ends the run. */
constexpr int neverReconnect = 0;

} // namespace

DeviceSide::DeviceSide(DeviceSession session, std::unique_ptr<host::DeviceLink> link, const RunPlan &plan)
    : m_session(std::move(session))
    , m_link(std::move(link))
    , m_linkName(m_link->name())
    , m_reconnects(plan.reconnects)
{
    m_host.setDeviceType(m_session.deviceType);
    m_host.setPipelined(m_session.isPipelined);
    m_host.setWhileDown(plan.failsFast ? host::WhileDown::FailFast : host::WhileDown::Hold);
}

RunFacts DeviceSide::facts() const
{
    RunFacts facts;
    facts.start.target = m_linkName;
    facts.start.deviceType = m_session.deviceType;
    facts.start.isPipelined = m_session.isPipelined;
    facts.start.reconnects = m_reconnects;
    facts.opens = m_linkName;
    facts.names = commandNamesOf(m_session.commands);
    facts.repeats = repeatsOf(m_session.commands);
    facts.longestWaitMs = longestWaitOf(m_session.commands);
    facts.mostGivenAhead = mostGivenAhead;
    facts.mostRemembered = mostRemembered;
    facts.givesBeforeOpen = true;
    return facts;
}

bool DeviceSide::prepare()
{
    return (m_reconnects || m_host.setReconnectInterval(neverReconnect)) && m_host.setLink(std::move(m_link));
}

bool DeviceSide::give(const WalkStep &step)
{
    return m_host.enqueue(m_session.commands.at(step.command).record) != 0;
}

bool DeviceSide::complete(host::Event *event)
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
QString DeviceSide::reasonOf(const host::LinkStatus &status)
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
