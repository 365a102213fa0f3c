#include "osd_loops_fixture.h"

#include <utility>

#include <support/held_locks.h>

namespace osd_test {

QDateTime moment(qint64 second, int millisecond)
{
    return QDateTime::fromMSecsSinceEpoch(second * 1000 + millisecond);
}

OsdLoops::OsdLoops()
    : signalsOfWorker(biz::test::osdChannelLocks(), &journal)
{
    signalsOfWorker.attach(worker);
}

OsdLoops::~OsdLoops()
{
    // The loops' last passes must not reach what the test's body has left behind.
    signalsOfWorker.onEmission({});
    time.onWallClockReading({});
    worker.m_bSendRun = false;
    worker.m_bRecvRun = false;
    time.finish();
}

void OsdLoops::startSendLoop()
{
    sendLoop = time.start("send loop", [this] { worker.a1_GetQueueWork(); });
    timeoutLoop = sendLoop + 1;
}

void OsdLoops::startReceiveLoop()
{
    receiveLoop = time.start("receive loop", [this] { worker.a1_receiveGetQueueWork(); });
}

void OsdLoops::sendPassAt(qint64 second, int millisecond)
{
    time.setNextWallClockReadings({moment(second, millisecond)});
    sendPasses();
}

void OsdLoops::timeoutPassAt(qint64 second, int millisecond)
{
    time.setNextWallClockReadings({moment(second, millisecond)});
    timeoutPasses();
}

void OsdLoops::dispatchAt(qint64 second, const model_OsdParam &command, int millisecond)
{
    Channel::addToSendQueue(command);
    sendPassAt(second, millisecond);
    ASSERT_FALSE(isFree(command.qsIp)) << "the device must await its reply";
    journal.clear();
    signalsOfWorker.clear();
}

void OsdLoops::onFirstEmission(std::function<void()> act)
{
    signalsOfWorker.onEmission([act = std::move(act), isFirst = true](const auto &) mutable {
        if (std::exchange(isFirst, false)) {
            act();
        }
    });
}

} // namespace osd_test
