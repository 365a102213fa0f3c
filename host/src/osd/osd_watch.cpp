#include <osd/osd_watch_p.h>

#include <algorithm>

#include <osd/channel/osd_channel_p.h>
#include <timing_p.h>

namespace biz::host {

namespace {

using std::chrono::milliseconds;

} // namespace

OsdWatch::OsdWatch(OsdCommands *commands, const std::function<void()> &look,
                   std::function<void(const OsdCommand &)> free, QObject *host)
    : m_commands(commands)
    , m_free(std::move(free))
    , m_timer(host)
{
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setSingleShot(true);
    QObject::connect(&m_timer, &QTimer::timeout, host, look);
    commands->setWhenTakenEnds([this](const OsdCommand &command) { m_due.erase(dueOf(command)); });
}

OsdWatch::Due OsdWatch::dueOf(const OsdCommand &command)
{
    return {command.announcedAt + timing::shortestOsdWait(milliseconds(command.record.iWaitTime)), command.ticket};
}

void OsdWatch::add(const OsdCommand &command)
{
    m_due.insert(dueOf(command));
    schedule();
}

std::vector<OsdDevice *> OsdWatch::endOverdue()
{
    std::vector<OsdDevice *> freed;
    freeForgotten();
    for (const QString &ip : osd_channel::freeAmong(devicesToLookAt())) {
        OsdDevice &device = *m_commands->device(ip);
        OsdCommand *const command = m_commands->inFlightTo(device);
        if (command != nullptr && hasHadItsTime(*command)) {
            m_commands->giveUp(*command, command->isWritten ? QStringLiteral("no reply came within its wait")
                                                            : QStringLiteral("it could not be sent within its wait"));
            freed.push_back(&device);
        }
    }
    schedule();
    return freed;
}

/** A wall clock that is set back keeps the channel waiting until it has caught up, which may be for days. */
void OsdWatch::freeForgotten()
{
    const TimePoint now = Clock::now();
    for (auto due = m_due.begin(); due != m_due.end() && due->first <= now; ++due) {
        const OsdCommand &command = *m_commands->find(due->second);
        if (now - command.announcedAt >= timing::longestOsdWait(milliseconds(command.record.iWaitTime))) {
            m_free(command);
        }
    }
}

/** The channel counts from its taking; a command that had to wait for room has no less time than others. */
bool OsdWatch::hasHadItsTime(const OsdCommand &command) const
{
    const auto least = timing::shortestOsdWait(milliseconds(command.record.iWaitTime));
    return !command.isWritten || Clock::now() - command.writtenAt >= least;
}

/** Those that may have been freed; now and then all busy ones, since a wall clock that was set frees them early. */
QStringList OsdWatch::devicesToLookAt()
{
    const TimePoint now = Clock::now();
    QStringList ips;
    for (auto due = m_due.begin(); due != m_due.end() && due->first <= now; ++due) {
        ips.append(m_commands->find(due->second)->record.qsIp);
    }
    if (now - m_lastFullLook >= timing::osdFullLookPeriod) {
        m_lastFullLook = now;
        return m_commands->busyDevices();
    }
    return ips;
}

void OsdWatch::schedule()
{
    if (m_due.empty()) {
        return;
    }
    const TimePoint now = Clock::now();
    // A look takes the channel's lock for the longer the more devices there are.
    const auto pause = std::clamp(timing::osdLookPeriodPerThousand * static_cast<int>(m_due.size()) / 1000,
                                  timing::osdLookPeriod, timing::osdFullLookPeriod);
    const auto wait = std::clamp<Clock::duration>(m_due.begin()->first - now, pause, timing::osdFullLookPeriod);
    if (!m_timer.isActive() || m_timer.remainingTimeAsDuration() > wait) {
        m_timer.start(std::chrono::ceil<milliseconds>(wait));
    }
}

} // namespace biz::host
