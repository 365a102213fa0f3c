#include <device/device_gate_p.h>

#include <device/device_channel_p.h>

namespace biz::host {

void DeviceGate::settle()
{
    if (m_run->hasLoops() && m_tickets->gatedInFlight() == nullptr && m_quiet.isOver()) {
        device_channel::openGate(m_tickets->waiting());
    }
}

void DeviceGate::beginQuietTime(const DeviceCommand &answered, TimePoint arrival)
{
    m_quiet.begin(arrival);
    // The channel must not take the closed gate for a time-out. It counts its passes, and so a
    // wait as less than it is; half of it is safe. Not every time, since it uses up a number.
    const std::chrono::milliseconds wait(answered.record.iWaitTime);
    if (m_quiet.end() > arrival && m_quiet.end() > answered.writtenAt + wait / 2) {
        device_channel::endWatch();
    }
}

} // namespace biz::host
