#include <device/device_watch_p.h>

#include <algorithm>

#include <device/channel/device_channel_p.h>
#include <timing_p.h>

namespace biz::host {

namespace {

using std::chrono::milliseconds;

milliseconds waitOf(const DeviceCommand &command)
{
    return milliseconds(command.record.iWaitTime);
}

} // namespace

DeviceWatch::DeviceWatch(DeviceCommands *commands, DeviceGate *gate, const std::function<void()> &look, QObject *host)
    : m_commands(commands)
    , m_gate(gate)
    , m_timer(host)
{
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setSingleShot(true);
    QObject::connect(&m_timer, &QTimer::timeout, host, look);
}

void DeviceWatch::schedule()
{
    TimePoint next = nextLook();
    if (next == TimePoint::max()) {
        return; // a timer that still runs finds nothing, and is not started again
    }
    next = std::max(next, Clock::now() + timing::gateLookPeriod);
    if (!m_timer.isActive() || next < m_next) {
        m_next = next;
        m_timer.start(std::chrono::ceil<milliseconds>(next - Clock::now()));
    }
}

/** A gated command is given up after its resend, which is announced, and not before. */
TimePoint DeviceWatch::nextLook()
{
    TimePoint next = TimePoint::max();
    const DeviceCommand *const gated = m_commands->gated();
    for (const Ticket ticket : m_commands->allInFlight()) {
        const DeviceCommand &command = *m_commands->find(ticket);
        if (gated == nullptr || &command != gated) {
            next = std::min(next, command.announcedAt + waitOf(command));
        } else if (command.attempts > 1) {
            next = std::min(next, command.announcedAt + timing::shortestWait(waitOf(command)));
        }
    }
    return next;
}

void DeviceWatch::endOverdue()
{
    DeviceCommand *const gated = m_commands->gated();
    if (gated != nullptr && !device_channel::isGateClosed()) {
        m_gate->noteGiveUp();
        m_commands->giveUp(*gated, QStringLiteral("no acceptable reply came, nor after the resend"));
    }
    for (const Ticket ticket : m_commands->allInFlight()) {
        DeviceCommand &command = *m_commands->find(ticket);
        if (&command != m_commands->gated() && Clock::now() >= command.announcedAt + waitOf(command)) {
            m_commands->end(command, Outcome::Released,
                            QStringLiteral("no reply came within the %1 ms of its wait").arg(waitOf(command).count()));
        }
    }
}

} // namespace biz::host
