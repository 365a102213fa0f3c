#include <interleavings/situations/osd_stage.h>
#include <interleavings/situations/small_situations.h>

#include <map>

namespace biz::interleavings {

namespace {

constexpr int longWaitMs = 5000;
constexpr int oneSecondMs = 1000;
constexpr int noWaitMs = 0; // overdue at the next look

QString deviceA()
{
    return QStringLiteral("10.0.0.1");
}

QString deviceB()
{
    return QStringLiteral("10.0.0.2");
}

bool isFreeNow(const QString &ip)
{
    const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::HexCmdlock);
    return biz_Osd_CMDSWork::m_bRetFlag.value(ip);
}

/** Planted: the host frees the device again, to be sure. */
void dispatchAgainstReply(OsdStage &stage)
{
    constexpr milliseconds bothLoopsPass{15};

    stage.startReceiveLoop(stage.startWorker());
    const int first = stage.push(deviceA(), longWaitMs);
    stage.push(deviceA(), longWaitMs);
    stage.push(deviceA(), longWaitMs);
    stage.sleepUntil(bothLoopsPass - milliseconds(1));
    stage.race([&] {
        stage.sleepUntil(bothLoopsPass);
        stage.reply(first);
        if (stage.isPlanted()) {
            biz_Osd_CMDSWork::setRetFlag(deviceA(), true);
        }
    });
    stage.answerAll();
}

/** Planted: the host drops its own record of a command with the clear. */
void dispatchAgainstClear(OsdStage &stage)
{
    bool isForgotten = false;
    int first = 0;
    stage.onAnnounced = [&](int number) {
        stage.require(number != first || !isForgotten, finding::forgottenIsSent);
    };
    biz_Osd_CMDSWork &worker = stage.startWorker();
    first = stage.push(deviceA(), longWaitMs);
    stage.race([&] {
        stage.sleepUntil(osdSendPass);
        stage.clear(worker);
        isForgotten = stage.isPlanted();
        stage.push(deviceA(), longWaitMs);
    });
    stage.answerAll();
}

/** Planted: the host looks whether the wait is over by itself, and then frees the device. */
void dispatchAgainstTimeout(OsdStage &stage)
{
    constexpr milliseconds bothLoopsPass{1500};

    stage.startWorker();
    stage.sleepUntil(bothLoopsPass - osdTimeoutPass + milliseconds(1));
    const int first = stage.push(deviceA(), noWaitMs);
    stage.push(deviceA(), oneSecondMs);
    stage.push(deviceA(), oneSecondMs);
    stage.sleepUntil(bothLoopsPass - milliseconds(1));
    stage.race([&] {
        stage.sleepUntil(bothLoopsPass);
        if (stage.isPlanted() && stage.isOverdue(first)) {
            biz_Osd_CMDSWork::setRetFlag(deviceA(), true);
        }
        stage.push(deviceB(), longWaitMs);
    });
    stage.answerAll();
}

/** Planted: what the slots have to write goes through one variable without a lock. */
void dispatchAgainstSecondObject(OsdStage &stage)
{
    int toWrite = 0;
    std::map<int, int> written;
    stage.onAnnounced = [&](int number) {
        if (stage.isPlanted()) {
            toWrite = number;
            stage.point();
            stage.require(++written[toWrite] == 1, finding::writtenTwice);
        }
    };
    stage.startWorker();
    stage.startWorker();
    stage.push(deviceA(), longWaitMs);
    stage.push(deviceA(), longWaitMs);
    stage.race([&] {
        stage.sleepUntil(osdSendPass);
        stage.push(deviceB(), longWaitMs);
    });
    stage.answerAll();
}

/**
 * The other object's time-out loop frees what it knows nothing about. Planted: the host gives up what
 * waits for a device that is not free.
 */
void timeoutOfSecondObject(OsdStage &stage)
{
    constexpr milliseconds bothLoopsPass{1500};

    int second = 0;
    bool isGivenUp = false;
    stage.onAnnounced = [&](int number) {
        stage.require(number != second || !isGivenUp, finding::givenUpIsSent);
    };
    stage.startWorker();
    stage.startTimeoutLoop();
    stage.sleepUntil(bothLoopsPass - osdTimeoutPass + milliseconds(1));
    stage.push(deviceA(), longWaitMs);
    second = stage.push(deviceA(), longWaitMs);
    stage.sleepUntil(bothLoopsPass - milliseconds(1));
    stage.race([&] {
        stage.sleepUntil(bothLoopsPass);
        isGivenUp = stage.isPlanted() && !isFreeNow(deviceA());
    });
    stage.answerAll();
}

template<OsdStage::HostsScript Script>
Findings playOnOsd(RecordingChooser &chooser, bool planted)
{
    return OsdStage::play(Script, chooser, planted);
}

} // namespace

std::vector<Situation> osdSituations()
{
    using namespace finding;
    return {
        {"osd_dispatch_against_reply", playOnOsd<dispatchAgainstReply>, 3, withoutBound, {}, twoToOneDevice},
        {"osd_dispatch_against_clear",
         playOnOsd<dispatchAgainstClear>,
         withoutBound,
         withoutBound,
         {},
         forgottenIsSent},
        {"osd_dispatch_against_timeout", playOnOsd<dispatchAgainstTimeout>, 3, withoutBound, {}, twoToOneDevice},
        {"osd_dispatch_against_second_object", playOnOsd<dispatchAgainstSecondObject>, 2, 4, {}, writtenTwice},
        {"osd_timeout_of_second_object", playOnOsd<timeoutOfSecondObject>, 2, 4, {twoToOneDevice}, givenUpIsSent},
    };
}

} // namespace biz::interleavings
