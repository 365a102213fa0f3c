#include <device/channel/device_loops_p.h>

#include <device/channel/device_channel_p.h>
#include <loops/process_end_p.h>
#include <timing_p.h>

namespace biz::host {

namespace {

const model_Protocoldata &recordAt(const void *pointer)
{
    return *static_cast<const model_Protocoldata *>(pointer);
}

} // namespace

DeviceLoops &DeviceLoops::instance()
{
    static auto *const loops = new DeviceLoops;
    return *loops;
}

DeviceLoops::DeviceLoops()
    : ChannelLoops(QStringLiteral("biz-send"), QStringLiteral("biz-receive"), 0)
{
    connectWorker();
    process_end::addStep([this] { endWithProcess(); });
}

// The slots run on the loops' threads: they copy and leave. Without a host nobody is interested.
void DeviceLoops::connectWorker()
{
    using Kind = DeviceMessage::Kind;

    QObject::connect(
        &worker(), &biz_CMDSWork::signalSendMessage, &worker(),
        [this](void *record) {
            static_cast<void>(
                inbox().push({Kind::Announced, recordAt(record), Clock::now(), device_channel::isGateClosed()}));
        },
        Qt::DirectConnection);
    QObject::connect(
        &worker(), &biz_CMDSWork::signalSendReceiveMessage, &worker(),
        [this](void *record) {
            static_cast<void>(inbox().push({Kind::Accepted, recordAt(record), Clock::now(), false}));
        },
        Qt::DirectConnection);
}

void DeviceLoops::endWithProcess()
{
    tellToReturn();
    const QStringList slow = join(Clock::now() + timing::processEndGrace);
    inbox().detach();
    if (!slow.isEmpty()) {
        device_channel::tryLockForGood();
    }
}

} // namespace biz::host
