#include <device/device_run_p.h>

#include <algorithm>
#include <thread>

#include <device/device_channel_p.h>

namespace biz::host {

namespace {

using std::chrono::milliseconds;

/** What a watchdog adds to its two waits, and room for a busy machine. */
constexpr milliseconds watchdogMargin{500};

std::atomic<bool> channelIsHeld{false};

const model_Protocoldata &recordAt(const void *pointer)
{
    return *static_cast<const model_Protocoldata *>(pointer);
}

} // namespace

DeviceRun::DeviceRun(const std::function<void()> &onMessages, QObject *host)
    : ChannelRun(channelIsHeld, onMessages, host, nullptr)
{
}

DeviceRun::~DeviceRun()
{
    abandon();
}

void DeviceRun::begin()
{
    makeWorker();
    connectWorker();
    connectWatchdogs();
    startLoop(QStringLiteral("biz-send"), &biz_CMDSWork::a1_GetQueueWork);
    startLoop(QStringLiteral("biz-receive"), &biz_CMDSWork::a1_receiveGetQueueWork);
}

void DeviceRun::setUseWatchdog(bool on)
{
    m_watchdogs->areUsed = on;
}

TimePoint DeviceRun::detachedThreadsGoneAt()
{
    return TimePoint(Clock::duration(m_watchdogs->goneAt.load()));
}

// The slots run on the loops' threads: they copy and leave.
void DeviceRun::connectWorker()
{
    using Kind = DeviceMessage::Kind;

    QObject::connect(
        worker(), &biz_CMDSWork::signalSendMessage, worker(),
        [box = inbox()](void *record) {
            box->push({Kind::Announced, recordAt(record), device_channel::isGateClosed(), 0});
        },
        Qt::DirectConnection);
    QObject::connect(
        worker(), &biz_CMDSWork::signalQueueSize, worker(),
        [box = inbox()](int size) {
            box->push({Kind::QueueSize, {}, false, size});
        },
        Qt::DirectConnection);
    QObject::connect(
        worker(), &biz_CMDSWork::signalSendReceiveMessage, worker(),
        [box = inbox()](void *record) {
            box->push({Kind::Accepted, recordAt(record), false, 0});
        },
        Qt::DirectConnection);
}

void DeviceRun::connectWatchdogs()
{
    auto own = std::make_shared<Watchdogs>();
    own->areUsed = m_watchdogs->areUsed.load();
    m_watchdogs = own;
    QObject::connect(
        worker(), &biz_CMDSWork::signalSendMessageUipro, worker(),
        [emitter = worker(), own](void *record) {
            if (own->areUsed) {
                startWatchdog(emitter, *own, recordAt(record).iWaitTime);
            }
        },
        Qt::DirectConnection);
}

void DeviceRun::startWatchdog(biz_CMDSWork *worker, Watchdogs &watchdogs, int waitMs)
{
    // It waits once, resends, and its successor waits once more.
    const TimePoint end = Clock::now() + 2 * milliseconds(waitMs) + watchdogMargin;
    watchdogs.goneAt = std::max(watchdogs.goneAt.load(), end.time_since_epoch().count());
    // The counter that stands after the send names the command to the watchdog.
    std::thread(&biz_CMDSWork::timeoutWatchdog, worker, device_channel::nextSequence()).detach();
}

} // namespace biz::host
