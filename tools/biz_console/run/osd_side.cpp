#include <biz_console/run/osd_side.h>

namespace biz::console {

namespace {

/** As many causes as anybody reads; the table of the devices has them all. */
constexpr int mostToldErrors = 1000;

} // namespace

OsdSide::OsdSide(OsdSession session, OsdRunOptions options)
    : m_session(std::move(session))
    , m_options(std::move(options))
{
}

RunFacts OsdSide::facts() const
{
    const QString address = m_options.localAddress.isEmpty() ? QStringLiteral("any address") : m_options.localAddress;
    RunFacts facts;
    facts.start.isOfDevice = false;
    facts.start.target = QStringLiteral("%1, UDP port %2").arg(address).arg(m_session.port);
    facts.opens = QStringLiteral("the OSD channel");
    facts.names = commandNamesOf(m_session.commands);
    facts.repeats = repeatsOf(m_session.commands);
    facts.devices = static_cast<int>(m_session.devices.size());
    facts.longestWaitMs = longestWaitOf(m_session.commands);
    facts.mostGivenAhead = maxOsdCommands;
    facts.mostRemembered = maxOsdCommands + facts.devices; // the last command of any device may get a late reply
    return facts;
}

bool OsdSide::prepare()
{
    return (!m_options.transport || m_host.setTransport(std::move(m_options.transport))) &&
           m_host.setPort(m_session.port) &&
           (m_options.localAddress.isEmpty() || m_host.setLocalAddress(m_options.localAddress));
}

bool OsdSide::give(const WalkStep &step)
{
    model_OsdParam record = m_session.commands.at(step.command).record;
    record.qsIp = m_session.devices.at(step.device);
    return m_host.enqueue(record) != 0;
}

Expectation OsdSide::expectationOf(const WalkStep &step) const
{
    const OsdSessionCommand &command = m_session.commands.at(step.command);
    const QString &device = m_session.devices.at(step.device);
    if (!m_session.silent.contains(device)) {
        return command.expectedOf.value(device, command.expected);
    }
    Expectation expected;
    expected.outcome = host::Outcome::GaveUp;
    return expected;
}

/** A failure once for each cause: of an address that cannot be reached every single command tells. */
bool OsdSide::complete(host::Event *event)
{
    if (event->kind != host::EventKind::Failed) {
        return true;
    }
    if (m_toldErrors.contains(event->reason) || m_toldErrors.size() >= mostToldErrors) {
        return false;
    }
    m_toldErrors.insert(event->reason);
    const QString advice =
        m_options.localAddress.isEmpty()
            ? QStringLiteral("is there a route to it? --bind names a local address to send from")
            : QStringLiteral("can it be reached from %1? --bind names the local address to send from")
                  .arg(m_options.localAddress);
    event->reason += QStringLiteral("; ") + advice;
    return true;
}

QVector<OsdDeviceTotals> OsdSide::devices() const
{
    QVector<OsdDeviceTotals> rows;
    for (const host::OsdDeviceStatus &device : m_host.devices()) {
        OsdDeviceTotals row;
        row.device = device.ip;
        row.counters = device.counters;
        row.isReachable = device.reachable;
        row.silentSinceUtcMs = device.silentSinceUtcMs;
        rows.append(row);
    }
    return rows;
}

} // namespace biz::console
