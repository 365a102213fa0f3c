#include <interleavings/kit/host_situations.h>
#include <interleavings/kit/osd_host_stage.h>

namespace biz::interleavings {

namespace {

constexpr milliseconds pass{3}; // of the send loop

QString deviceA()
{
    return QStringLiteral("10.0.0.1");
}

QString deviceB()
{
    return QStringLiteral("10.0.0.2");
}

/** A first command is on its way to its device, and nothing else. */
void sendFirst(OsdHostStage &stage, int waitMs = longWaitOfHostMs)
{
    stage.start();
    stage.give(deviceA(), waitMs);
    stage.sleepUntilPass(2 * pass - milliseconds(1));
    stage.turn();
}

/** Planted: the host's application frees the device as well. */
void nextAgainstReply(OsdHostStage &stage)
{
    sendFirst(stage);
    stage.give(deviceA());
    stage.race([&] {
        stage.sleepUntilPass(5 * pass);
        if (stage.isPlanted()) {
            biz_Osd_CMDSWork::setRetFlag(deviceA(), true);
        }
        stage.turn();
        stage.answerLast();
        stage.turns(2);
        if (stage.isPlanted()) {
            biz_Osd_CMDSWork::setRetFlag(deviceA(), true);
        }
        stage.turn();
    });
}

/** Planted: the channel's own clear, of which the host knows nothing. */
void nextAgainstClear(OsdHostStage &stage)
{
    stage.start();
    stage.give(deviceA());
    stage.race([&] {
        stage.sleepUntilPass(pass);
        stage.host().clear();
        stage.give(deviceA());
        if (stage.isPlanted()) {
            OsdHostStage::worker().clearQueue();
        }
        stage.turns(2);
    });
}

/** The reply comes when the channel's time is up. Planted: it is handed to the channel, which frees the device. */
void nextAgainstTimeout(OsdHostStage &stage)
{
    constexpr milliseconds bothLoopsPass{1500};
    constexpr int oneSecondMs = 1000;

    sendFirst(stage, oneSecondMs);
    stage.give(deviceA());
    stage.sleepUntilPass(bothLoopsPass - milliseconds(1));
    stage.race([&] {
        stage.sleepUntilPass(bothLoopsPass);
        stage.answerLast();
        stage.turns(2);
        if (stage.isPlanted()) {
            model_OsdParam reply;
            reply.qsIp = deviceA();
            biz_Osd_CMDSWork::addToReceiveQueue(reply);
        }
        stage.turns(2);
    });
}

/** Planted: what the channel holds is thrown away with the host that ends. */
void nextAgainstFormerHost(OsdHostStage &stage)
{
    stage.start();
    stage.give(deviceA());
    stage.race([&] {
        stage.sleepUntilPass(pass);
        static_cast<void>(stage.host().stop());
        stage.start();
        stage.give(deviceA());
        if (stage.isPlanted()) {
            OsdHostStage::worker().clearQueue();
        }
        stage.turns(2);
    });
}

/** Two devices at once. Planted: the reply of one frees the other. */
void nextAgainstAnotherDevice(OsdHostStage &stage)
{
    sendFirst(stage);
    stage.give(deviceA());
    stage.give(deviceB());
    stage.race([&] {
        stage.sleepUntilPass(2 * pass);
        stage.answerLast();
        stage.turns(2);
        if (stage.isPlanted()) {
            biz_Osd_CMDSWork::setRetFlag(deviceB(), true);
        }
        stage.turns(2);
    });
}

template<OsdHostStage::Script Script>
Findings playOnOsdHost(RecordingChooser &chooser, bool planted)
{
    return OsdHostStage::play(Script, chooser, planted);
}

} // namespace

std::vector<Situation> osdHostSituations()
{
    using namespace finding;
    return {
        {"osd_next_against_reply", playOnOsdHost<nextAgainstReply>, 2, 3, {}, givenUpEarly},
        {"osd_next_against_clear", playOnOsdHost<nextAgainstClear>, withoutBound, withoutBound, {}, noEnd},
        {"osd_next_against_timeout", playOnOsdHost<nextAgainstTimeout>, 1, 2, {}, givenUpEarly},
        {"osd_next_against_former_host", playOnOsdHost<nextAgainstFormerHost>, withoutBound, withoutBound, {}, noEnd},
        {"osd_next_against_another_device", playOnOsdHost<nextAgainstAnotherDevice>, 2, 4, {}, givenUpEarly},
    };
}

} // namespace biz::interleavings
