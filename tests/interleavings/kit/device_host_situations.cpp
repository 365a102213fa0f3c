#include <interleavings/kit/device_host_stage.h>
#include <interleavings/kit/host_situations.h>

namespace biz::interleavings {

namespace {

constexpr milliseconds pass{10}; // of the send loop; every second one of the receive loop falls together with it

/** A first command is on its way to the device, and nothing else. */
void sendFirst(DeviceHostStage &stage)
{
    stage.start();
    stage.give();
    stage.sleepUntilPass(pass + milliseconds(1));
    stage.turns(2);
}

/** The next command is given while the loop takes the one before it. Planted: another hand opens the gate for it. */
void nextAgainstTake(DeviceHostStage &stage)
{
    stage.start();
    stage.give();
    stage.race([&] {
        stage.sleepUntilPass(pass);
        stage.give();
        if (stage.isPlanted()) {
            DeviceHostStage::openGate();
        }
        stage.turns(3);
    });
}

/**
 * The reply is judged, and the next command handed over, while the loops pass. Planted: somebody else queues a command
 * of his own, whose gate nobody opens.
 */
void nextAgainstReply(DeviceHostStage &stage)
{
    sendFirst(stage);
    stage.give();
    stage.race([&] {
        stage.sleepUntilPass(2 * pass);
        stage.answerLast();
        if (stage.isPlanted()) {
            DeviceHostStage::pushToQueue();
        }
        stage.turns(2);
        stage.give();
        stage.turn();
    });
}

/** Planted: the channel's own clear, of which the host knows nothing. */
void nextAgainstClear(DeviceHostStage &stage)
{
    stage.start();
    stage.give();
    stage.race([&] {
        stage.sleepUntilPass(pass);
        stage.host().clear();
        stage.give();
        if (stage.isPlanted()) {
            DeviceHostStage::worker().clearQueue();
        }
        stage.turns(3);
    });
}

/** A cleared command has been sent, and its reply comes all the same. Planted: the gate is opened for it. */
void nextAgainstReplyToACleared(DeviceHostStage &stage)
{
    sendFirst(stage);
    stage.host().clear();
    stage.race([&] {
        stage.give();
        stage.sleepUntilPass(2 * pass);
        stage.answerLast();
        stage.turns(2);
        if (stage.isPlanted()) {
            DeviceHostStage::openGate();
        }
        stage.give();
        stage.turn();
    });
}

/**
 * The wait is over and the resend is due when the reply comes. Planted: who has seen the reply takes what waits out of
 * the channel's queue, to send it by himself.
 */
void nextAgainstResend(DeviceHostStage &stage)
{
    constexpr int onePassMs = 15; // as a pass counts

    stage.start();
    stage.give(onePassMs);
    stage.give();
    stage.sleepUntilPass(pass + milliseconds(1));
    stage.turns(2);
    stage.race([&] {
        stage.sleepUntilPass(2 * pass);
        stage.answerLast();
        stage.turns(2);
        stage.give();
        if (stage.isPlanted()) {
            DeviceHostStage::takeFromQueue();
        }
        stage.turn();
    });
}

/** The library gives the command up by itself. Planted: the channel's own clear behind time-outs. */
void nextAgainstGiveUp(DeviceHostStage &stage)
{
    constexpr int onePassMs = 15;
    constexpr int enoughTimeouts = 10; // for the clear to act

    stage.start();
    stage.give(onePassMs);
    stage.give();
    stage.give();
    for (milliseconds at = pass + milliseconds(1); at < 4 * pass; at += pass) {
        stage.sleepUntilPass(at);
        stage.turn();
    }
    stage.race([&] {
        stage.sleepUntilPass(4 * pass);
        stage.turns(2);
        stage.answerLast();
        stage.turn();
        stage.give();
        if (stage.isPlanted()) {
            biz_CMDSWork::iTimeoutCount = enoughTimeouts;
            DeviceHostStage::worker().timeoutClearQueue();
        }
        stage.turn();
    });
}

/** Planted: the channel's own skip mode, which discards without a word. */
void nextAgainstSkipping(DeviceHostStage &stage)
{
    stage.start();
    stage.give();
    stage.race([&] {
        stage.sleepUntilPass(pass);
        stage.host().setSkipping(true);
        if (stage.isPlanted()) {
            DeviceHostStage::worker().setSkipSendcmd(true);
        }
        stage.turn();
        stage.host().setSkipping(false);
        stage.give();
        stage.turns(2);
    });
    DeviceHostStage::worker().setSkipSendcmd(false);
}

/** Planted: what is cancelled is taken out of the channel's queue, which the host does not do. */
void nextAgainstCancel(DeviceHostStage &stage)
{
    stage.start();
    const host::Ticket first = stage.give();
    stage.give();
    stage.race([&] {
        stage.sleepUntilPass(pass);
        static_cast<void>(stage.host().cancel(first));
        if (stage.isPlanted()) {
            DeviceHostStage::takeFromQueue();
        }
        stage.turns(3);
    });
}

/** The link fails and is back at once, and what has been taken meanwhile waits again. Planted: what the channel holds
 * is thrown away with it. */
void nextAgainstLinkLoss(DeviceHostStage &stage)
{
    stage.start();
    stage.host().setWhileDown(host::WhileDown::Hold);
    stage.give();
    stage.give();
    stage.race([&] {
        stage.sleepUntilPass(pass);
        stage.link().breakDown(QStringLiteral("pulled"));
        if (stage.isPlanted()) {
            DeviceHostStage::takeFromQueue();
        }
        stage.turns(3);
    });
}

/** Without the gate the loop takes while the next ones are handed over. Planted: the channel's own clear. */
void nextOnesAgainstTakes(DeviceHostStage &stage)
{
    constexpr int commands = 6;

    stage.pipeline();
    stage.start();
    for (int given = 0; given < commands; ++given) {
        stage.give();
    }
    stage.race([&] {
        stage.sleepUntilPass(pass);
        stage.turn();
        stage.give();
        if (stage.isPlanted()) {
            DeviceHostStage::worker().clearQueue();
        }
        stage.turn();
    });
}

/** A host is stopped and started again while the loop takes. Planted: the loop is told to go on. */
void nextAgainstFormerLoops(DeviceHostStage &stage)
{
    stage.start();
    stage.give();
    stage.race([&] {
        stage.sleepUntilPass(pass);
        static_cast<void>(stage.host().stop(0));
        if (stage.isPlanted()) {
            DeviceHostStage::worker().m_bSendRun = true;
        }
        if (!stage.start()) {
            DeviceHostStage::worker().m_bSendRun = false;
            stage.start();
        }
        stage.give();
        stage.turn();
    });
}

template<DeviceHostStage::Script Script>
Findings playOnDeviceHost(RecordingChooser &chooser, bool planted)
{
    return DeviceHostStage::play(Script, chooser, planted);
}

} // namespace

std::vector<Situation> deviceHostSituations()
{
    using namespace finding;
    return {
        {"next_against_take", playOnDeviceHost<nextAgainstTake>, 2, 3, {}, givenUpEarly},
        {"next_against_reply", playOnDeviceHost<nextAgainstReply>, 2, 3, {}, noEnd},
        {"next_against_clear", playOnDeviceHost<nextAgainstClear>, 2, 3, {}, noEnd},
        {"next_against_reply_to_a_cleared", playOnDeviceHost<nextAgainstReplyToACleared>, 2, 3, {}, givenUpEarly},
        {"next_against_resend", playOnDeviceHost<nextAgainstResend>, 2, 3, {}, noEnd},
        {"next_against_give_up", playOnDeviceHost<nextAgainstGiveUp>, 2, 3, {}, noEnd},
        {"next_against_skipping", playOnDeviceHost<nextAgainstSkipping>, 2, 3, {}, noEnd},
        {"next_against_cancel", playOnDeviceHost<nextAgainstCancel>, 2, 3, {}, noEnd},
        {"next_against_link_loss", playOnDeviceHost<nextAgainstLinkLoss>, 2, 3, {}, noEnd},
        {"next_ones_against_takes", playOnDeviceHost<nextOnesAgainstTakes>, 2, 3, {}, noEnd},
        {"next_against_former_loops", playOnDeviceHost<nextAgainstFormerLoops>, 2, 3, {}, doesNotStart},
    };
}

} // namespace biz::interleavings
