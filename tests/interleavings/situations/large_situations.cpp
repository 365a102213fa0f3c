#include <interleavings/situations/device_stage.h>
#include <interleavings/situations/osd_stage.h>
#include <interleavings/situations/situation.h>

namespace biz::interleavings {

namespace {

/** Two workers, a producer, prompt replies and both clears. Planted: as in a take against a clear. */
void crowdOnDevice(DeviceStage &stage)
{
    constexpr int waitMs = 15; // over at the next pass

    stage.onAccepted = [&stage](int number) {
        stage.settle(number);
    };
    biz_CMDSWork &worker = stage.startWorker();
    stage.startReceiveLoop(worker);
    stage.startWorker();
    const int first = stage.push(waitMs);
    int announcedBefore = 0;
    bool isReported = false;
    stage.race([&] {
        stage.beside("producer", [&stage] {
            stage.sleepUntil(sendPass);
            stage.push(longWaitMs);
            stage.sleepUntil(2 * sendPass);
            stage.push(longWaitMs);
        });
        stage.sleepUntil(sendPass);
        isReported = stage.isPlanted() && !biz_CMDSWork::queueHexCmd.empty();
        announcedBefore = stage.timesAnnounced(first);
        stage.clear(worker);
        stage.sleepUntil(2 * sendPass);
        stage.deliverReply(first);
        stage.timeoutClear(worker);
    });
    stage.require(!isReported || stage.timesAnnounced(first) == announcedBefore, finding::twoFates);
    stage.answerAll();
}

/** Two objects, two devices, replies, a device that is held, a clear. Planted: as in a dispatch against a clear. */
void crowdOnOsd(OsdStage &stage)
{
    constexpr milliseconds allLoopsPass{15};
    constexpr int waitMs = 5000;
    const QString deviceA = QStringLiteral("10.0.0.1");
    const QString deviceB = QStringLiteral("10.0.0.2");

    bool isForgotten = false;
    int first = 0;
    stage.onAnnounced = [&](int number) {
        stage.require(number != first || !isForgotten, finding::forgottenIsSent);
    };
    biz_Osd_CMDSWork &worker = stage.startWorker();
    stage.startReceiveLoop(worker);
    stage.startWorker();
    stage.sleepUntil(allLoopsPass - milliseconds(1));
    first = stage.push(deviceA, waitMs);
    stage.race([&] {
        stage.beside("producer", [&] {
            stage.sleepUntil(allLoopsPass);
            stage.push(deviceB, waitMs);
            stage.reply(stage.push(deviceA, waitMs));
        });
        stage.sleepUntil(allLoopsPass);
        biz_Osd_CMDSWork::setRetFlag(deviceB, false);
        stage.clear(worker);
        isForgotten = stage.isPlanted();
        biz_Osd_CMDSWork::setRetFlag(deviceB, true);
        stage.push(deviceA, waitMs);
    });
    stage.answerAll();
}

} // namespace

std::vector<LargeSituation> largeSituations()
{
    return {
        {{"device_crowd",
          [](RecordingChooser &chooser, bool planted) { return DeviceStage::play(crowdOnDevice, chooser, planted); },
          0,
          0,
          {finding::gateStaysShut, finding::twoInFlight},
          finding::twoFates},
         {3, 5, 100, 5000, 100000}},
        {{"osd_crowd",
          [](RecordingChooser &chooser, bool planted) { return OsdStage::play(crowdOnOsd, chooser, planted); },
          0,
          0,
          {finding::twoToOneDevice},
          finding::forgottenIsSent},
         {3, 7, 70, 5000, 100000}},
    };
}

} // namespace biz::interleavings
