#include <osd/osd_run_p.h>

#include <osd/osd_channel_p.h>

namespace biz::host {

namespace {

/**
 * How long the channel's detached time-out thread can be alive after a stop: one period of
 * 500 ms that may just have begun, and its last pass on a busy machine.
 */
constexpr std::chrono::milliseconds timeoutThreadLifetime{750};

std::atomic<bool> channelIsHeld{false};

/** When the time-out thread of the last stopped run is gone; shared by all hosts. */
std::atomic<Clock::rep> timeoutThreadGoneAt{0};

} // namespace

OsdRun::OsdRun(const std::function<void()> &onMessages, QObject *host)
    : ChannelRun(channelIsHeld, onMessages, host, osd_channel::meetTimeoutThread)
{
}

OsdRun::~OsdRun()
{
    abandon();
}

TimePoint OsdRun::mayBeginAt()
{
    return TimePoint(Clock::duration(timeoutThreadGoneAt.load()));
}

// The slots run on the loops' threads: they copy and leave.
void OsdRun::begin()
{
    makeWorker();
    const auto copyTo = [this](OsdMessage::Kind kind) {
        return [box = inbox(), kind](void *record) {
            box->push({kind, *static_cast<const model_OsdParam *>(record)});
        };
    };
    QObject::connect(worker(), &biz_Osd_CMDSWork::signalSendMessage, worker(), copyTo(OsdMessage::Kind::Announced),
                     Qt::DirectConnection);
    QObject::connect(worker(), &biz_Osd_CMDSWork::signalSendReceiveMessage, worker(),
                     copyTo(OsdMessage::Kind::Received), Qt::DirectConnection);
    startLoop(QStringLiteral("biz-osd-send"), &biz_Osd_CMDSWork::a1_GetQueueWork);
    startLoop(QStringLiteral("biz-osd-receive"), &biz_Osd_CMDSWork::a1_receiveGetQueueWork);
}

TimePoint OsdRun::detachedThreadsGoneAt()
{
    const TimePoint end = Clock::now() + timeoutThreadLifetime;
    timeoutThreadGoneAt = end.time_since_epoch().count();
    return end;
}

} // namespace biz::host
