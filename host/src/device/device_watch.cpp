#include <device/device_watch_p.h>

#include <algorithm>

#include <device/device_channel_p.h>

namespace biz::host {

namespace {

using std::chrono::milliseconds;

/** How often a command in flight is looked at. */
constexpr milliseconds pollPeriod{10};

/**
 * A quarter of its wait after a write is the earliest that a command can be over without a
 * reply: the library counts two thirds of the wait for each attempt, and a watchdog that
 * runs beside it gives up a third after the resend. A prompt reply costs no look at all.
 */
constexpr int firstLookPart = 4;

} // namespace

DeviceWatch::DeviceWatch(DeviceLedger *ledger, const std::function<void()> &look, QObject *host)
    : m_ledger(ledger)
    , m_timer(host)
{
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setSingleShot(true);
    QObject::connect(&m_timer, &QTimer::timeout, host, look);
}

void DeviceWatch::schedule()
{
    TimePoint next = TimePoint::max();
    for (const Ticket ticket : m_ledger->tickets().allInFlight()) {
        const DeviceCommand &command = *m_ledger->tickets().find(ticket);
        next = std::min(next, command.writtenAt + milliseconds(command.record.iWaitTime) / firstLookPart);
    }
    if (next == TimePoint::max()) {
        return; // a timer that still runs finds nothing, and is not started again
    }
    next = std::max(next, Clock::now() + pollPeriod);
    if (!m_timer.isActive() || next < m_next) {
        m_next = next;
        m_timer.start(std::chrono::ceil<milliseconds>(next - Clock::now()));
    }
}

void DeviceWatch::endOverdue()
{
    endGivenUp();
    endReleased();
}

/** Only the library opens the gate of a command in flight without ending it here. */
void DeviceWatch::endGivenUp()
{
    DeviceCommand *const gated = m_ledger->tickets().gatedInFlight();
    if (gated != nullptr && !device_channel::isGateClosed()) {
        m_ledger->giveUp(*gated);
    }
}

void DeviceWatch::endReleased()
{
    for (const Ticket ticket : m_ledger->tickets().allInFlight()) {
        const DeviceCommand &command = *m_ledger->tickets().find(ticket);
        const milliseconds wait(command.record.iWaitTime);
        if (!command.gated && Clock::now() >= command.writtenAt + wait) {
            m_ledger->end(ticket, Outcome::Released,
                          QStringLiteral("no reply came within the %1 ms of its wait").arg(wait.count()));
        }
    }
}

} // namespace biz::host
