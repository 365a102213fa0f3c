#ifndef BIZ_TESTS_OSD_LOOPS_FIXTURE_H
#define BIZ_TESTS_OSD_LOOPS_FIXTURE_H

#include <string>
#include <vector>

#include <support/journal.h>
#include <support/signal_recorder.h>
#include <support/virtual_time.h>

#include "osd_channel_fixture.h"

namespace osd_test {

/**
 * The channel in virtual time: no loop makes a pass unless the test says so, and between
 * its orders the test may look at anything without a lock.
 */
class OsdLoops : public OsdChannel
{
protected:
    using ThreadId = biz::test::ThreadId;

    OsdLoops();

    /** Ends the loops of `worker`, and waits for every thread that is left. */
    ~OsdLoops() override;

    /** Starts the send loop, and with it the time-out loop. */
    void startSendLoop();
    void startReceiveLoop();
    void sendPasses(int count = 1) { time.step(sendLoop, count); }
    void timeoutPasses(int count = 1) { time.step(timeoutLoop, count); }
    void receivePasses(int count = 1) { time.step(receiveLoop, count); }

    /** One pass that reads this time, in seconds since 1970, from the wall clock. */
    void sendPassAt(qint64 second, int millisecond = 0);
    void timeoutPassAt(qint64 second, int millisecond = 0);

    /** Makes a device that awaits the reply to a command that was sent at that second. */
    void dispatchAt(qint64 second, const model_OsdParam &command, int millisecond = 0);

    /** Lets `act` happen inside the first slot that is called from now on. */
    void onFirstEmission(std::function<void()> act);

    /** "signalSendMessage 7" and so on, with the tags of the records, in order. */
    Lines emitted() const { return journal.lines(); }

    static bool isFree(const QString &ip) { return Channel::m_bRetFlag.value(ip); }

    /** Whether the worker has noted no command, and no time at which it sent one. */
    bool hasNothingNoted() const { return worker.m_mapCurSend.isEmpty() && worker.m_mapSendTime.isEmpty(); }

    biz::test::VirtualTime time;
    biz::test::Journal journal;
    biz::test::OsdSignals signalsOfWorker;
    Channel worker;
    ThreadId sendLoop = 0;
    ThreadId timeoutLoop = 0;
    ThreadId receiveLoop = 0;
};

/** A moment in seconds since 1970 and milliseconds. */
QDateTime moment(qint64 second, int millisecond = 0);

} // namespace osd_test

#endif
