#include <interleavings/situations/device_stage.h>
#include <interleavings/situations/small_situations.h>

namespace biz::interleavings {

namespace {

constexpr int onePassMs = 15; // as a pass counts

/** A resend, what follows it, and the give-up of a short wait are over. */
constexpr milliseconds afterShortWaits{100};

void pop()
{
    if (!biz_CMDSWork::queueHexCmd.empty()) {
        biz_CMDSWork::queueHexCmd.pop();
    }
}

std::size_t waiting()
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    return biz_CMDSWork::queueHexCmd.size();
}

// --- A take against what the host does to queue and gate ------------------------------------

/** Planted: the host reports as discarded what waited a moment before the clear. */
void takeAgainstClear(DeviceStage &stage)
{
    biz_CMDSWork &worker = stage.startWorker();
    const int command = stage.push(longWaitMs);
    bool isReported = false;
    stage.race([&] {
        stage.sleepUntil(sendPass);
        isReported = stage.isPlanted() && waiting() != 0;
        stage.clear(worker);
    });
    stage.require(!isReported || stage.timesAnnounced(command) == 0, finding::twoFates);
    stage.push(longWaitMs);
    stage.answerAll();
}

/** Planted: a clear that puts the gate back as it was before. */
void clearAndRestoreGate(DeviceStage &stage)
{
    bool wasOpen = false;
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        wasOpen = biz_CMDSWork::bRetFlag;
    }
    stage.allowDiscards();
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::queueHexCmd = {};
    biz_CMDSWork::bRetFlag = wasOpen;
}

void takeAgainstTimeoutClear(DeviceStage &stage)
{
    constexpr int waitMs = 60;
    constexpr int enoughTimeouts = 10; // for the clear to act

    biz_CMDSWork &worker = stage.startWorker();
    const int first = stage.push(waitMs);
    stage.sleepUntil(sendPass + milliseconds(1));
    stage.settle(first);
    stage.push(longWaitMs);
    biz_CMDSWork::iTimeoutCount = enoughTimeouts;
    stage.race([&] {
        stage.sleepUntil(2 * sendPass);
        stage.isPlanted() ? clearAndRestoreGate(stage) : stage.timeoutClear(worker);
    });
    stage.push(longWaitMs);
    stage.answerAll();
    stage.sleep(afterShortWaits);
}

/** Two threads of the host bring the same reply. Planted: they look, and then open the gate. */
void takeAgainstGateOpening(DeviceStage &stage)
{
    stage.startWorker();
    const int first = stage.push(longWaitMs);
    stage.push(longWaitMs);
    stage.push(longWaitMs);
    stage.sleepUntil(sendPass + milliseconds(1));
    const auto bringReply = [&stage, first] {
        stage.sleepUntil(2 * sendPass);
        if (stage.isPlanted() && !stage.isSettled(first)) {
            stage.settle(first);
            stage.openGate();
        } else {
            stage.settle(first);
        }
    };
    stage.race([&] {
        stage.beside("second reply", bringReply);
        bringReply();
    });
    stage.answerAll();
}

// --- Time-outs ------------------------------------------------------------------------------

/** The reply comes in the pass that finds it late. Planted: any reply opens the gate. */
void resendAgainstReply(DeviceStage &stage)
{
    stage.onAccepted = [&stage](int number) {
        stage.settle(number);
        if (stage.isPlanted()) {
            stage.openGate();
        }
    };
    stage.startReceiveLoop(stage.startWorker());
    const int first = stage.push(onePassMs);
    stage.push(longWaitMs);
    stage.push(longWaitMs);
    stage.sleepUntil(sendPass + milliseconds(1));
    stage.race([&] {
        stage.sleepUntil(2 * sendPass);
        stage.deliverReply(first);
    });
    stage.sleepUntil(5 * sendPass + milliseconds(1));
    stage.deliverReply(first); // a resend has gone out and is answered, too
    stage.sleep(sendPass);
    stage.answerAll();
}

/** The host's own way to end a watch, under two locks where it takes one. */
void countInTwoSteps(DeviceStage &stage)
{
    stage.noteCount();
    int seen = 0;
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        seen = biz_CMDSWork::iSN;
    }
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::iSN = seen + 1;
}

constexpr int twoPassesMs = 20; // the loop's check and the watchdog fall together

/** The reply comes when the watchdog's wait runs out. Planted: the host ends it. */
void watchdogAgainstSendLoop(DeviceStage &stage)
{
    int first = 0;
    stage.onAnnounced = [&stage, &first](biz_CMDSWork &worker, int number) {
        if (number == first) {
            stage.startWatchdog(worker, number, biz_CMDSWork::iSN);
        }
    };
    stage.startWorker();
    first = stage.push(twoPassesMs);
    stage.push(longWaitMs);
    stage.push(longWaitMs);
    stage.sleepUntil(2 * sendPass + milliseconds(1));
    stage.race([&] {
        stage.sleepUntil(3 * sendPass);
        stage.settle(first);
        if (stage.isPlanted()) {
            countInTwoSteps(stage);
        }
    });
    stage.answerAll();
    stage.sleep(afterShortWaits);
}

/**
 * The reply comes well before the watchdog's wait runs out, as it has to. Planted: the host thinks that
 * the counter moves on behind the send, so the watch is over the next command.
 */
void watchdogOfASettledCommand(DeviceStage &stage)
{
    int first = 0;
    stage.onAnnounced = [&stage, &first](biz_CMDSWork &worker, int number) {
        if (number == first) {
            stage.startWatchdog(worker, number, biz_CMDSWork::iSN + (stage.isPlanted() ? 1 : 0));
        }
    };
    stage.startWorker();
    first = stage.push(twoPassesMs);
    const int second = stage.push(longWaitMs);
    stage.push(longWaitMs);
    stage.sleepUntil(sendPass + milliseconds(1));
    stage.settle(first);
    stage.sleepUntil(2 * sendPass + milliseconds(1));
    stage.race([&] {
        stage.sleepUntil(3 * sendPass);
        stage.settle(second);
    });
    stage.answerAll();
    stage.sleep(afterShortWaits);
}

// --- Others beside the loop -----------------------------------------------------------------

/** Planted, in the place of the second worker: a take that does not look again under the lock. */
void takeWithoutAnotherLook(DeviceStage &stage)
{
    stage.sleepUntil(sendPass);
    if (waiting() != 0) {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        stage.require(!biz_CMDSWork::queueHexCmd.empty(), finding::takesFromEmptyQueue);
        stage.allowDiscards();
        pop();
    }
}

void twoWorkersAndOneCommand(DeviceStage &stage)
{
    stage.startWorker();
    if (stage.isPlanted()) {
        stage.beside("taker", [&stage] { takeWithoutAnotherLook(stage); });
    } else {
        stage.startWorker();
    }
    stage.push(longWaitMs);
    stage.race([&] { stage.sleepUntil(sendPass); });
    stage.answerAll();
}

/** A reply comes while the other worker's pass is not over. Planted: it opens the gate twice. */
void twoWorkersAndAPromptReply(DeviceStage &stage)
{
    int first = 0;
    stage.onAnnounced = [&stage, &first](biz_CMDSWork & /*worker*/, int number) {
        if (number == first) {
            stage.settle(number);
        }
        if (number == first && stage.isPlanted()) {
            stage.openGate();
        }
    };
    stage.startWorker();
    stage.startWorker();
    first = stage.push(longWaitMs);
    if (stage.isPlanted()) {
        stage.push(longWaitMs);
        stage.push(longWaitMs);
    }
    stage.race([&] { stage.sleepUntil(sendPass); });
    stage.answerAll();
}

/**
 * The wait of one worker's settled command is over while the other one takes the next. Planted: the host
 * counts.
 */
void twoWorkersAndALateCheck(DeviceStage &stage)
{
    stage.startWorker();
    stage.startWorker();
    const int first = stage.push(onePassMs);
    stage.sleepUntil(sendPass + milliseconds(1));
    stage.settle(first);
    stage.race([&] {
        stage.sleepUntil(2 * sendPass);
        stage.push(longWaitMs);
        if (stage.isPlanted()) {
            countInTwoSteps(stage);
        }
    });
    stage.push(longWaitMs);
    stage.answerAll();
}

/** Planted: another thread of the host goes on pushing. */
void skipModeWhileTheQueueFills(DeviceStage &stage)
{
    biz_CMDSWork &worker = stage.startWorker();
    stage.push(longWaitMs);
    stage.race([&] {
        if (stage.isPlanted()) {
            stage.beside("filler", [&stage] {
                stage.sleepUntil(sendPass);
                stage.push(longWaitMs);
            });
        }
        stage.sleepUntil(sendPass);
        stage.push(longWaitMs);
        stage.allowDiscards();
        worker.setSkipSendcmd(true);
    });
    stage.sleepUntil(3 * sendPass - milliseconds(1));
    stage.race([&] {
        stage.sleepUntil(3 * sendPass);
        worker.setSkipSendcmd(false);
    });
    stage.sleep(sendPass); // a pass that still knows of skip mode is over
    stage.push(longWaitMs);
    stage.answerAll();
}

template<DeviceStage::HostsScript Script>
Findings playOnDevice(RecordingChooser &chooser, bool planted)
{
    return DeviceStage::play(Script, chooser, planted);
}

} // namespace

std::vector<Situation> deviceSituations()
{
    using namespace finding;
    return {
        {"take_against_clear", playOnDevice<takeAgainstClear>, 4, withoutBound, {gateStaysShut}, twoFates},
        {"take_against_timeout_clear",
         playOnDevice<takeAgainstTimeoutClear>,
         4,
         withoutBound,
         {settledIsResent},
         twoInFlight},
        {"take_against_gate_opening", playOnDevice<takeAgainstGateOpening>, 3, 4, {}, twoInFlight},
        {"resend_against_reply", playOnDevice<resendAgainstReply>, 3, 4, {}, twoInFlight},
        {"watchdog_against_send_loop",
         playOnDevice<watchdogAgainstSendLoop>,
         2,
         4,
         {watchdogResendsAnother, twoInFlight},
         counterIsWrong},
        {"watchdog_of_a_settled_command", playOnDevice<watchdogOfASettledCommand>, 3, 5, {}, watchdogResendsAnother},
        {"two_workers_and_one_command", playOnDevice<twoWorkersAndOneCommand>, 2, 4, {}, takesFromEmptyQueue},
        {"two_workers_and_a_prompt_reply", playOnDevice<twoWorkersAndAPromptReply>, 2, 4, {gateStaysShut}, twoInFlight},
        {"two_workers_and_a_late_check",
         playOnDevice<twoWorkersAndALateCheck>,
         2,
         4,
         {twoInFlight, settledIsResent},
         counterIsWrong},
        {"skip_mode_while_the_queue_fills", playOnDevice<skipModeWhileTheQueueFills>, 3, 5, {}, discardMeetsLock},
    };
}

} // namespace biz::interleavings
