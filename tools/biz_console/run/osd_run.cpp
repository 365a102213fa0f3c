#include <biz_console/run/osd_run.h>

namespace biz::console {

namespace {

/** As many causes as anybody reads; the table of the devices has them all. */
constexpr int mostToldErrors = 1000;

} // namespace

OsdRun::OsdRun(OsdSession session, const OsdRunOptions &options, const RunPlan &plan, QTextStream &err)
    : SessionRun(SessionWalk(repeatsOf(session.commands), static_cast<int>(session.devices.size()), plan.rounds), plan,
                 err)
    , m_session(std::move(session))
    , m_options(options)
{
    // The last command of any device may still get a late reply.
    report().ledger().remember(maxOsdCommands + static_cast<int>(m_session.devices.size()));
    follow(host::eventsOf(&m_host));
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
    const QString which = whichOf(step, command.repeat);
    announce(command.name, which.isEmpty() ? record.qsIp : record.qsIp + QStringLiteral(", ") + which,
             expectationOf(command, record.qsIp));
    const bool isTaken = m_host.enqueue(record) != 0;
    *error = m_host.errorString();
    return isTaken;
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

/** A failure once for each cause: of an address that cannot be reached every single command tells. */
bool OsdRun::complete(host::Event *event)
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

void OsdRun::beforeStop()
{
    for (const host::OsdDeviceStatus &device : m_host.devices()) {
        OsdDeviceTotals row;
        row.device = device.ip;
        row.counters = device.counters;
        row.isReachable = device.reachable;
        row.silentSinceUtcMs = device.silentSinceUtcMs;
        m_rows.append(row);
    }
}

} // namespace biz::console
