#include <osd/channel/osd_loops_p.h>

#include <loops/process_end_p.h>
#include <osd/channel/osd_channel_p.h>
#include <timing_p.h>

namespace biz::host {

namespace {

const model_OsdParam &recordAt(const void *pointer)
{
    return *static_cast<const model_OsdParam *>(pointer);
}

} // namespace

OsdLoops &OsdLoops::instance()
{
    static auto *const loops = new OsdLoops;
    return *loops;
}

OsdLoops::OsdLoops()
    : ChannelLoops(QStringLiteral("biz-osd-send"), QStringLiteral("biz-osd-receive"), 1)
{
    connectWorker();
    process_end::addStep([this] { endWithProcess(); });
}

void OsdLoops::letThrough(const model_OsdParam &command)
{
    osd_channel::freeDevice(worker(), command.qsIp, command.nTag);
}

// The slots run on the loops' threads: they copy and leave. What a former host has left in the
// channel is let through.
void OsdLoops::connectWorker()
{
    using Kind = OsdMessage::Kind;

    QObject::connect(
        &worker(), &biz_Osd_CMDSWork::signalSendMessage, &worker(),
        [this](void *record) {
            if (!inbox().push({Kind::Announced, recordAt(record), Clock::now()})) {
                letThrough(recordAt(record));
            }
        },
        Qt::DirectConnection);
    QObject::connect(
        &worker(), &biz_Osd_CMDSWork::signalSendReceiveMessage, &worker(),
        [this](void *record) {
            static_cast<void>(inbox().push({Kind::Received, recordAt(record), Clock::now()}));
        },
        Qt::DirectConnection);
}

void OsdLoops::endWithProcess()
{
    inbox().detach();
    tellToReturn();
    const QStringList slow = join(Clock::now() + timing::processEndGrace);
    if (slow.isEmpty()) {
        osd_channel::lockForGood();
    } else {
        osd_channel::tryLockForGood();
    }
}

} // namespace biz::host
