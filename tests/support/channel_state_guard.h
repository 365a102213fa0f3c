#ifndef BIZ_TEST_CHANNEL_STATE_GUARD_H
#define BIZ_TEST_CHANNEL_STATE_GUARD_H

namespace biz::test {

/**
 * The process-wide state of a channel at both ends of a test. The constructor fails the
 * test when it does not find the state as a fresh process has it; the destructor puts it
 * back and fails the test when a lock is still held. Declare it first in a fixture: it
 * must outlive the threads and the workers.
 */
class DeviceChannelGuard
{
public:
    DeviceChannelGuard();
    ~DeviceChannelGuard();
    DeviceChannelGuard(const DeviceChannelGuard &) = delete;
    DeviceChannelGuard &operator=(const DeviceChannelGuard &) = delete;
};

/** The same for the OSD channel. */
class OsdChannelGuard
{
public:
    OsdChannelGuard();
    ~OsdChannelGuard();
    OsdChannelGuard(const OsdChannelGuard &) = delete;
    OsdChannelGuard &operator=(const OsdChannelGuard &) = delete;
};

} // namespace biz::test

#endif
