#ifndef BIZ_DEVICEHOST_P_H
#define BIZ_DEVICEHOST_P_H

#include <device/device_gate_p.h>
#include <device/device_ledger_p.h>
#include <device/device_replies_p.h>
#include <device/device_run_p.h>
#include <device/device_watch_p.h>
#include <host/device_host.h>

/**
 * What happens between the application, the channel and the link: life cycle and commands in
 * device_lifecycle.cpp, announcements and bytes in device_traffic.cpp.
 */
class biz_DeviceHost::Private
{
public:
    explicit Private(biz_DeviceHost *host);
    ~Private();

    // Settings
    bool mayChangeSettings();
    QString error;
    int defaultWaitMs = firstDefaultWaitMs;
    std::unique_ptr<biz::host::DeviceLink> link;
    std::unique_ptr<biz::host::FrameCodec> codec = std::make_unique<biz::host::DemoFrameCodec>();

    // Life cycle
    bool isValid() const { return run.isValid(); }
    bool start();
    biz::host::StopReport stop(int deadlineMs);

    // Commands
    biz::host::Ticket enqueue(const model_Protocoldata &command);
    void clear();
    void setSkipping(bool on);

private:
    static constexpr int firstDefaultWaitMs = 500;

    biz_DeviceHost *const q;
    biz::host::DeviceSignals signalsOfHost;
    bool skipping = false;
    bool draining = false;

public:
    // The parts, in the order in which they rely on each other.
    biz::host::DeviceLedger ledger{&signalsOfHost};
    biz::host::DeviceReplies replies{&ledger, &signalsOfHost};
    biz::host::DeviceRun run;
    biz::host::DeviceGate gate;

private:
    biz::host::DeviceWatch watch;

    void connectLink();
    void startLoops();
    void resetChannel();
    static void queue(const biz::host::DeviceCommand &command);

    void drainInbox();
    void onAnnounced(const biz::host::DeviceMessage &message);
    void writeToLink(biz::host::DeviceCommand &command);
    void onAccepted(model_Protocoldata reply);
    void onReceived(const QByteArray &bytes);
};

#endif
