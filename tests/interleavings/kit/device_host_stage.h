#ifndef BIZ_INTERLEAVINGS_DEVICE_HOST_STAGE_H
#define BIZ_INTERLEAVINGS_DEVICE_HOST_STAGE_H

#include <deque>
#include <memory>

#include <biz_cmdswork/biz_cmdswork.h>
#include <host/device/fake_link.h>
#include <host/device_host.h>
#include <interleavings/kit/host_stage.h>

namespace biz::interleavings {

/** A DeviceHost with the channel's loops, and the device at the other end of its link. */
class DeviceHostStage final : public HostStage
{
public:
    DeviceHostStage(RecordingChooser &chooser, bool planted);
    ~DeviceHostStage() override;
    DeviceHostStage(const DeviceHostStage &) = delete;
    DeviceHostStage &operator=(const DeviceHostStage &) = delete;

    using Script = void (*)(DeviceHostStage &stage);
    static Findings play(Script script, RecordingChooser &chooser, bool planted);

    // --- For the script -------------------------------------------------------------------

    /** Makes the host, or starts it again. */
    bool start();
    host::DeviceHost &host() { return *m_host; }
    test::FakeLink &link() { return *m_link; }

    /** From before the start: nothing closes the gate. */
    void pipeline();

    /** Gives the host a command that waits longer than any situation, or so long. */
    host::Ticket give(int waitMs = longWaitOfHostMs);

    /** The device answers what it has got last. */
    void answerLast();

    // --- What nobody but the host is to do: the planted errors ----------------------------------

    /** The worker whose loops run. */
    static biz_CMDSWork &worker();
    static void openGate();
    static void takeFromQueue();
    static void pushToQueue();

private:
    struct Arrived
    {
        model_Protocoldata command;
        nanoseconds at;
    };

    void finish();
    void connectHost();
    void answerWhatHasArrived() override;

    std::unique_ptr<host::DeviceHost> m_host;
    test::FakeLink *m_link = nullptr; ///< the host's
    std::deque<Arrived> m_unanswered; ///< by the device
};

} // namespace biz::interleavings

#endif
