#include <algorithm>
#include <mutex>

#include <QtCore/QThread>

#include <biz_cmdswork/biz_cmdswork.h>
#include <host/reply_words.h>

#include "device_host_fixture.h"
#include "on_thread.h"
#include "thread_sanitizer.h"

using namespace biz::host;
using namespace biz::test;

namespace {

int deviceTypeA2()
{
    return checkedModels().first().deviceType;
}

/** The rule of this command admits an index of 15 at most. */
model_Protocoldata withIndex(model_Protocoldata reply, uchar index)
{
    reply.ucHead[3] = index;
    return reply;
}

class DeviceHost : public DeviceHostFixture
{
protected:
    void answerEverything()
    {
        link->onCommand = [this](const model_Protocoldata &command) {
            link->reply(command);
        };
    }
};

} // namespace

// --- Outcomes -------------------------------------------------------------------------

TEST_F(DeviceHost, AnAnsweredCommandEndsWithItsReplyAndRoundTrip)
{
    start();
    const Ticket ticket = enqueue(command(longWaitMs, "ask"));
    model_Protocoldata reply = nextCommand();
    EXPECT_EQ(reply.baData, QByteArray("ask"));
    reply.baData = "answer";
    link->reply(reply);

    ASSERT_TRUE(waitForEnd(ticket));
    const CommandResult result = seen.endOf(ticket);
    EXPECT_EQ(result.outcome, Outcome::Answered);
    EXPECT_EQ(result.attempts, 1);
    EXPECT_EQ(result.reply.baData, QByteArray("answer"));
    EXPECT_EQ(result.reply.nTag, 0U);
    EXPECT_GE(result.roundTripMs, 0.0);
    EXPECT_LT(result.roundTripMs, longWaitMs);
    EXPECT_EQ(seen.countFor(ticket, "sent"), 1);
}

TEST_F(DeviceHost, CommandsGoOutOneByOneInTheOrderGiven)
{
    answerEverything();
    start();
    constexpr int commands = 20;
    std::vector<Ticket> tickets;
    tickets.reserve(commands);
    for (int i = 0; i < commands; ++i) {
        tickets.push_back(enqueue(command(longWaitMs, QByteArray::number(i))));
    }
    EXPECT_EQ(host->pending(), commands);
    ASSERT_TRUE(waitFor([&] { return seen.ends().size() == tickets.size(); }));
    for (int i = 0; i < commands; ++i) {
        EXPECT_EQ(link->commands.at(static_cast<std::size_t>(i)).baData, QByteArray::number(i));
        EXPECT_EQ(seen.outcomeOf(tickets.at(static_cast<std::size_t>(i))), "answered");
    }
    EXPECT_EQ(host->counters().answered, static_cast<quint64>(commands));
    EXPECT_EQ(host->pending(), 0);
    EXPECT_EQ(host->waiting(), 0);
}

TEST_F(DeviceHost, TheSecondSilenceGivesUpAndTheNextCommandGoesOut)
{
    start();
    const Ticket silent = enqueue(shortWaitMs);
    const Ticket next = enqueue(command(longWaitMs, "next"));
    nextCommand();
    const model_Protocoldata resent = nextCommand();
    EXPECT_TRUE(resent.baData.isEmpty());

    const model_Protocoldata after = nextCommand();
    EXPECT_EQ(after.baData, QByteArray("next"));
    ASSERT_TRUE(waitForEnd(silent));
    EXPECT_EQ(seen.outcomeOf(silent), "gaveUp");
    EXPECT_EQ(seen.endOf(silent).attempts, 2);
    EXPECT_EQ(seen.countFor(silent, "sent"), 2);
    EXPECT_FALSE(seen.hasEnded(next));
    EXPECT_EQ(host->counters().resent, 1U);
}

TEST_F(DeviceHost, AGivenUpCommandEndsWithoutAnotherBehindIt)
{
    start();
    const Ticket ticket = enqueue(shortWaitMs);
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(seen.outcomeOf(ticket), "gaveUp");
}

TEST_F(DeviceHost, AReplyToTheResendAnswersTheCommand)
{
    start();
    const Ticket ticket = enqueue(300);
    nextCommand();
    link->reply(nextCommand());
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(seen.outcomeOf(ticket), "answered");
    EXPECT_EQ(seen.endOf(ticket).attempts, 2);
}

TEST_F(DeviceHost, AClearEndsWhatWaitsAndWhatIsInFlight)
{
    start();
    const Ticket inFlight = enqueue();
    const Ticket waiting = enqueue();
    nextCommand();
    seen.quietly([&] { host->clear(); });
    EXPECT_EQ(host->pending(), 0);

    answerEverything();
    const Ticket next = enqueue();
    ASSERT_TRUE(waitForEnd(next));
    EXPECT_EQ(seen.outcomeOf(inFlight), "cleared");
    EXPECT_EQ(seen.endOf(inFlight).attempts, 1);
    EXPECT_EQ(seen.outcomeOf(waiting), "cleared");
    EXPECT_EQ(seen.endOf(waiting).attempts, 0);
    EXPECT_EQ(seen.outcomeOf(next), "answered");
}

TEST_F(DeviceHost, SkipModeEndsWaitingAndGivenCommandsButNotTheOneInFlight)
{
    start();
    const Ticket inFlight = enqueue();
    const Ticket waiting = enqueue();
    const model_Protocoldata sent = nextCommand();
    seen.quietly([&] { host->setSkipping(true); });
    const Ticket skipped = enqueue();
    ASSERT_TRUE(waitForEnd(skipped));
    EXPECT_EQ(seen.outcomeOf(waiting), "skipped");
    EXPECT_EQ(seen.outcomeOf(skipped), "skipped");

    link->reply(sent);
    ASSERT_TRUE(waitForEnd(inFlight));
    EXPECT_EQ(seen.outcomeOf(inFlight), "answered");

    answerEverything();
    host->setSkipping(false);
    const Ticket next = enqueue();
    ASSERT_TRUE(waitForEnd(next));
    EXPECT_EQ(seen.outcomeOf(next), "answered");
}

TEST_F(DeviceHost, SkipModeThatComesAndGoesLosesNoCommand)
{
    answerEverything();
    start();
    for (int i = 0; i < 300; ++i) {
        enqueue();
        host->setSkipping(true);
        host->setSkipping(false);
        enqueue();
        QCoreApplication::processEvents();
    }
    EXPECT_TRUE(waitFor([&] { return seen.ends().size() == given.size(); }));
}

TEST_F(DeviceHost, AStopEndsWhatWaitsAndWhatIsInFlight)
{
    start();
    const Ticket inFlight = enqueue();
    const Ticket waiting = enqueue();
    nextCommand();
    const StopReport report = seen.quietly([&] { return host->stop(); });
    EXPECT_TRUE(report.clean());
    EXPECT_EQ(report.pending, 2);
    ASSERT_TRUE(waitForEnd(waiting));
    EXPECT_EQ(seen.outcomeOf(inFlight), "stopped");
    EXPECT_EQ(seen.outcomeOf(waiting), "stopped");
}

TEST_F(DeviceHost, WithoutAGateManyAreInFlightAndEachIsAnsweredOrReleased)
{
    host->setSysPlan(1);
    start();
    constexpr std::size_t commands = 40;
    std::vector<Ticket> tickets;
    for (std::size_t i = 0; i < commands; ++i) {
        tickets.push_back(enqueue(command(i % 2 == 0 ? longWaitMs : shortWaitMs)));
    }
    ASSERT_TRUE(waitForCommands(commands));
    for (std::size_t i = 0; i < commands; i += 2) {
        link->reply(link->commands.at(i));
    }
    ASSERT_TRUE(waitFor([&] { return seen.ends().size() == commands; }));
    for (std::size_t i = 0; i < commands; ++i) {
        EXPECT_EQ(seen.outcomeOf(tickets[i]), i % 2 == 0 ? "answered" : "released") << i;
        EXPECT_EQ(seen.endOf(tickets[i]).attempts, 1);
    }
}

TEST_F(DeviceHost, WithoutAGateASequenceByteThatComesRoundReleasesItsFormerCommand)
{
    host->setSysPlan(1);
    start();
    constexpr std::size_t sequenceBytes = 256;
    const Ticket first = enqueue(60000);
    for (std::size_t i = 0; i < sequenceBytes; ++i) {
        enqueue(60000);
    }
    ASSERT_TRUE(waitForEnd(first));
    EXPECT_EQ(seen.outcomeOf(first), "released");
    EXPECT_EQ(link->commands.front().ucHead[0], link->commands.back().ucHead[0]);
}

// --- Events -----------------------------------------------------------------------------

TEST_F(DeviceHost, ARejectedReplyIsToldInWordsAndAGoodOneStillAnswers)
{
    host->setDeviceType(deviceTypeA2());
    start();
    const Ticket ticket = enqueue();
    const model_Protocoldata sent = nextCommand();
    link->reply(withIndex(sent, 16));
    ASSERT_TRUE(waitFor([&] { return seen.countFor(ticket, "rejected") == 1; }));
    const QString why = seen.of("rejected").front().why;
    EXPECT_TRUE(why.contains("index")) << why.toStdString();
    EXPECT_TRUE(why.contains("15")) << why.toStdString();
    EXPECT_FALSE(seen.hasEnded(ticket));

    link->reply(withIndex(sent, 15));
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(seen.outcomeOf(ticket), "answered");
    EXPECT_EQ(host->counters().rejected, 1U);
}

TEST_F(DeviceHost, TheReasonOfAGiveUpNamesTheRuleThatTheReplyBroke)
{
    host->setDeviceType(deviceTypeA2());
    link->onCommand = [this](const model_Protocoldata &command) {
        link->reply(withIndex(command, 16));
    };
    start();
    const Ticket ticket = enqueue(shortWaitMs);
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(seen.outcomeOf(ticket), "gaveUp");
    EXPECT_TRUE(seen.endOf(ticket).reason.contains(seen.of("rejected").front().why));
    EXPECT_EQ(seen.countFor(ticket, "rejected"), 2);
}

TEST_F(DeviceHost, ALateReplyNeverSettlesANewerCommand)
{
    start();
    const Ticket silent = enqueue(shortWaitMs);
    const Ticket newer = enqueue();
    const Ticket last = enqueue();
    const model_Protocoldata silentSent = nextCommand();
    nextCommand(); // the resend
    const model_Protocoldata newerSent = nextCommand();

    link->reply(silentSent);
    ASSERT_TRUE(waitFor([&] { return seen.countFor(silent, "late") == 1; }));
    EXPECT_GE(seen.of("late").front().afterEndMs, 0.0);
    // The late reply has gone through the channel once a later one of its kind has.
    link->reply(silentSent);
    ASSERT_TRUE(waitFor([&] { return seen.countFor(silent, "late") == 2 && seen.count("queueSize") > 4; }));
    EXPECT_FALSE(seen.hasEnded(newer));
    EXPECT_EQ(seen.countFor(last, "sent"), 0);

    link->reply(newerSent);
    link->reply(nextCommand());
    ASSERT_TRUE(waitForEnd(last));
    EXPECT_EQ(seen.outcomeOf(newer), "answered");
    EXPECT_EQ(seen.outcomeOf(last), "answered");
}

TEST_F(DeviceHost, RepliesAreToldApartWhereTheSequenceByteWraps)
{
    start();
    host->stop();
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        biz_CMDSWork::iSN = 0xFD;
    }
    start();
    // A start may use up numbers: come to the last one before the wrap.
    model_Protocoldata sent;
    while (sent.ucHead[0] != 0xFE) {
        const Ticket ticket = enqueue();
        sent = nextCommand();
        link->reply(sent);
        ASSERT_TRUE(waitForEnd(ticket));
    }
    const Ticket silent = enqueue(shortWaitMs);
    const Ticket wrapped = enqueue();
    const model_Protocoldata silentSent = nextCommand();
    EXPECT_EQ(silentSent.ucHead[0], 0xFF);
    nextCommand(); // the resend
    const model_Protocoldata wrappedSent = nextCommand();
    EXPECT_EQ(wrappedSent.ucHead[0], 0x00);

    link->reply(silentSent);
    ASSERT_TRUE(waitFor([&] { return seen.countFor(silent, "late") == 1; }));
    EXPECT_FALSE(seen.hasEnded(wrapped));
    link->reply(wrappedSent);
    ASSERT_TRUE(waitForEnd(wrapped));
    EXPECT_EQ(seen.outcomeOf(wrapped), "answered");
}

TEST_F(DeviceHost, ASecondReplyIsADuplicate)
{
    start();
    const Ticket ticket = enqueue();
    const model_Protocoldata sent = nextCommand();
    link->reply(sent);
    ASSERT_TRUE(waitForEnd(ticket));
    link->reply(sent);
    ASSERT_TRUE(waitFor([&] { return seen.countFor(ticket, "duplicate") == 1; }));
    EXPECT_EQ(host->counters().duplicate, 1U);
}

TEST_F(DeviceHost, TwoRepliesAtOnceAreAnAnswerAndADuplicate)
{
    start();
    const Ticket ticket = enqueue();
    const model_Protocoldata sent = nextCommand();
    link->reply(sent);
    link->reply(sent);
    ASSERT_TRUE(waitFor([&] { return seen.countFor(ticket, "duplicate") == 1; }));
    EXPECT_EQ(seen.outcomeOf(ticket), "answered");
}

TEST_F(DeviceHost, AReplyToNoCommandIsForeign)
{
    start();
    const Ticket ticket = enqueue();
    model_Protocoldata reply = nextCommand();
    reply.ucHead[0] = static_cast<uchar>(reply.ucHead[0] + 100);
    link->reply(reply);
    ASSERT_TRUE(waitFor([&] { return seen.count("foreign") == 1; }));
    EXPECT_FALSE(seen.hasEnded(ticket));
}

TEST_F(DeviceHost, AnAnswerPassesAFloodOfRepliesThatAnswerNothing)
{
    constexpr std::size_t flood = 5000; // half a minute of the receive loop's pace
    start();
    const Ticket ticket = enqueue();
    const model_Protocoldata answer = nextCommand();
    model_Protocoldata stray = answer;
    stray.ucHead[0] = static_cast<uchar>(answer.ucHead[0] + 100);
    for (std::size_t i = 0; i < flood; ++i) {
        link->reply(stray);
    }
    link->reply(answer);
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(seen.outcomeOf(ticket), "answered");
    EXPECT_EQ(seen.endOf(ticket).attempts, 1);
}

TEST_F(DeviceHost, AFloodOfRepliesTakesBoundedRoomAndIsAccountedFor)
{
    constexpr std::size_t flood = 5000;
    start();
    enqueue();
    const model_Protocoldata answer = nextCommand();
    std::size_t mostWaiting = 0;
    for (std::size_t i = 0; i < flood; ++i) {
        link->reply(answer); // the first of them is the answer
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
        mostWaiting = std::max(mostWaiting, biz_CMDSWork::receivequeueHexCmd.size());
    }
    EXPECT_LE(mostWaiting, 1001U);
    EXPECT_GE(host->counters().dropped, flood - 2000);
    ASSERT_TRUE(waitFor([&] { return host->counters().duplicate == flood - 1; }));
    EXPECT_EQ(host->counters().answered, 1U);
}

TEST_F(DeviceHost, BytesThatAreNoFrameAreReported)
{
    start();
    Q_EMIT link->received(QByteArray("garbage", 8)); // with the zero that ends it
    ASSERT_TRUE(waitFor([&] { return seen.count("refused") > 0; }));
    EXPECT_FALSE(seen.of("refused").front().why.isEmpty());
    EXPECT_EQ(host->counters().refusedFrames, static_cast<quint64>(seen.count("refused")));
    EXPECT_EQ(host->counters().bytesIn, 8U);
}

TEST_F(DeviceHost, AnAnswerInsideTheWriteIsAnAnswer)
{
    answerEverything();
    start();
    const Ticket ticket = enqueue();
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(seen.outcomeOf(ticket), "answered");
}

// A slow link lets the answer to the first attempt be judged while the resend is written.
TEST_F(DeviceHost, AnAnswerThatIsJudgedWhileTheResendIsWrittenHarmsNothing)
{
    link->onCommand = [this](const model_Protocoldata &command) {
        if (link->commands.size() == 1) {
            return;
        }
        link->reply(command);
        QThread::msleep(30); // no synchronisation: a write that takes its time
        link->reply(command);
    };
    start();
    const Ticket ticket = enqueue(shortWaitMs);
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(seen.outcomeOf(ticket), "answered");
    EXPECT_EQ(seen.endOf(ticket).attempts, 2);
}

// --- Commands -----------------------------------------------------------------------------

TEST_F(DeviceHost, ACommandThatFitsNoFrameIsGivenUpAndTheNextGoesOut)
{
    start();
    const Ticket tooLong = enqueue(command(shortWaitMs, QByteArray(DemoFrameCodec::maxPayload + 1, 'x')));
    answerEverything();
    const Ticket next = enqueue();
    ASSERT_TRUE(waitForEnd(next));
    EXPECT_EQ(seen.outcomeOf(tooLong), "gaveUp");
    EXPECT_TRUE(seen.endOf(tooLong).reason.contains("frame")) << seen.endOf(tooLong).reason.toStdString();
    EXPECT_EQ(seen.countFor(tooLong, "sent"), 0);
    EXPECT_EQ(seen.outcomeOf(next), "answered");
}

TEST_F(DeviceHost, CommandsGivenBeforeTheStartGoOutInOrderAfterIt)
{
    answerEverything();
    const Ticket first = enqueue(command(longWaitMs, "1"));
    const Ticket second = enqueue(command(longWaitMs, "2"));
    EXPECT_EQ(host->waiting(), 2);
    start();
    ASSERT_TRUE(waitForEnd(second));
    EXPECT_EQ(seen.outcomeOf(first), "answered");
    EXPECT_EQ(link->commands.at(0).baData, QByteArray("1"));
    EXPECT_EQ(link->commands.at(1).baData, QByteArray("2"));
}

TEST_F(DeviceHost, ACommandWithoutAWaitGetsTheDefault)
{
    host->setDefaultWaitTime(shortWaitMs);
    start();
    const Ticket none = enqueue(0);
    const Ticket negative = enqueue(-1);
    ASSERT_TRUE(waitForEnd(negative));
    EXPECT_EQ(seen.outcomeOf(none), "gaveUp");
    for (const DeviceHostRecorder::Event &sent : seen.of("sent")) {
        EXPECT_EQ(sent.record.iWaitTime, shortWaitMs);
    }
}

TEST_F(DeviceHost, TheApplicationsTagComesBackUnchanged)
{
    start();
    model_Protocoldata own = command(longWaitMs);
    own.nTag = 4711;
    const Ticket ticket = enqueue(own);
    nextCommand();
    ASSERT_TRUE(waitFor([&] { return seen.countFor(ticket, "sent") == 1; }));
    EXPECT_EQ(seen.of("sent").front().record.nTag, 4711U);
}

// The channel judges a reply some milliseconds after the kit has: the rules may be others by
// then, and a reply that it refuses on its own must not hold back the ones that follow.
TEST_F(DeviceHost, AChangeOfTheDeviceTypeWhileAReplyWaitsWedgesNothing)
{
    start();
    bool answers = false;
    link->onCommand = [&](const model_Protocoldata &command) {
        if (answers) {
            link->reply(command);
        }
    };
    for (int round = 0; round < 5; ++round) {
        answers = false;
        host->setDeviceType(-1);
        const std::size_t before = link->commands.size();
        const Ticket ticket = enqueue(300);
        ASSERT_TRUE(waitForCommands(before + 1));
        link->reply(withIndex(link->commands.back(), 16));
        host->setDeviceType(deviceTypeA2());
        answers = true;
        ASSERT_TRUE(waitForEnd(ticket));
        EXPECT_EQ(seen.outcomeOf(ticket), "answered") << round;
    }
}

// --- The link -------------------------------------------------------------------------------

TEST_F(DeviceHost, ALinkThatFailsToOpenIsToldAndCommandsStillEnd)
{
    link->opening = FakeLink::Opening::Fails;
    const Ticket before = enqueue(shortWaitMs);
    ASSERT_TRUE(host->start());
    ASSERT_TRUE(waitFor([&] { return seen.count("linkClosed") == 1; }));
    EXPECT_EQ(seen.of("linkClosed").front().why, "nobody is there");
    EXPECT_TRUE(host->isRunning());
    const Ticket after = enqueue(shortWaitMs);
    ASSERT_TRUE(waitForEnd(after));
    EXPECT_EQ(seen.outcomeOf(before), "gaveUp");
    EXPECT_EQ(seen.outcomeOf(after), "gaveUp");
    EXPECT_TRUE(seen.endOf(after).reason.contains("link")) << seen.endOf(after).reason.toStdString();
}

TEST_F(DeviceHost, ALinkThatClosesLeavesItsCommandsToTheirTimeOuts)
{
    start();
    const Ticket inFlight = enqueue(shortWaitMs);
    nextCommand();
    link->breakDown("pulled out");
    const Ticket later = enqueue(shortWaitMs);
    ASSERT_TRUE(waitForEnd(later));
    EXPECT_EQ(seen.of("linkClosed").front().why, "pulled out");
    EXPECT_EQ(seen.outcomeOf(inFlight), "gaveUp");
    EXPECT_EQ(seen.outcomeOf(later), "gaveUp");
    EXPECT_EQ(seen.countFor(later, "sent"), 0);
}

TEST_F(DeviceHost, AStopAndAStartOpenAClosedLinkAgain)
{
    start();
    link->breakDown("pulled out");
    ASSERT_TRUE(waitFor([&] { return seen.count("linkClosed") == 1; }));
    host->stop();
    answerEverything();
    start();
    const Ticket ticket = enqueue();
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(seen.outcomeOf(ticket), "answered");
}

TEST_F(DeviceHost, LinkAndCodecStayWhileItRuns)
{
    start();
    host->setLink(std::make_unique<FakeLink>());
    EXPECT_FALSE(host->errorString().isEmpty());
    host->setCodec(std::make_unique<DemoFrameCodec>());
    answerEverything();
    const Ticket ticket = enqueue();
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(seen.outcomeOf(ticket), "answered");
}

TEST_F(DeviceHost, ANullCodecIsRefused)
{
    host->setCodec(nullptr);
    EXPECT_TRUE(host->errorString().contains("codec"));
    answerEverything();
    start();
    const Ticket ticket = enqueue();
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(seen.outcomeOf(ticket), "answered");
}

TEST_F(DeviceHost, AStartWithoutALinkIsRefused)
{
    host->setLink(nullptr);
    EXPECT_FALSE(host->start());
    EXPECT_TRUE(host->errorString().contains("link"));
    EXPECT_FALSE(host->isRunning());
}

TEST_F(DeviceHost, ASecondStartIsRefused)
{
    start();
    EXPECT_FALSE(host->start());
    EXPECT_TRUE(host->errorString().contains("runs already"));
}

// --- One per process ----------------------------------------------------------------------------

TEST_F(DeviceHost, ASecondHostIsRefusedAndChangesNothing)
{
    host->setDeviceType(deviceTypeA2());
    {
        biz_DeviceHost second;
        EXPECT_FALSE(second.isValid());
        EXPECT_TRUE(second.errorString().contains("held")) << second.errorString().toStdString();
        second.setLink(std::make_unique<FakeLink>());
        EXPECT_FALSE(second.start());
        EXPECT_EQ(second.enqueue(command(longWaitMs)), 0U);
        second.setDeviceType(-1);
        second.setSysPlan(1);
        second.clear();
        second.setSkipping(true);
        EXPECT_TRUE(second.stop().clean());
    }
    EXPECT_TRUE(host->isValid());
    EXPECT_EQ(biz_CMDSWork::deviceType, deviceTypeA2());
    EXPECT_EQ(biz_CMDSWork::nSysPlan, 0);
    answerEverything();
    start();
    const Ticket ticket = enqueue();
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(seen.outcomeOf(ticket), "answered");
}

TEST_F(DeviceHost, ANewHostBeginsWithTheDefaults)
{
    host->setDeviceType(deviceTypeA2());
    host->setSysPlan(1);
    host.reset();
    makeHost();
    EXPECT_TRUE(host->isValid());
    EXPECT_EQ(biz_CMDSWork::deviceType, -1);
    EXPECT_EQ(biz_CMDSWork::nSysPlan, 0);
}

// --- Signals ----------------------------------------------------------------------------------

TEST_F(DeviceHost, QueuedConnectionsToAnotherThreadCarryTheValues)
{
    if (isUnderThreadSanitizer) {
        GTEST_SKIP() << "the copy of the result goes from thread to thread by a lock inside Qt";
    }
    QThread thread;
    QObject receiver;
    receiver.moveToThread(&thread);
    std::atomic<Ticket> heard{0};
    std::atomic<bool> onItsThread{false};
    QObject::connect(host.get(), &biz_DeviceHost::ended, &receiver, [&](Ticket ticket, const CommandResult &result) {
        onItsThread = QThread::currentThread() == &thread && result.reply.baData == "payload";
        heard = ticket;
    });
    std::atomic<bool> threadRuns{false};
    QObject::connect(
        &thread, &QThread::started, &thread, [&] { threadRuns = true; }, Qt::DirectConnection);
    thread.start();
    ASSERT_TRUE(waitFor([&] { return threadRuns.load(); }));
    answerEverything();
    start();
    const Ticket ticket = enqueue(command(longWaitMs, "payload"));
    EXPECT_TRUE(waitFor([&] { return heard == ticket; }));
    EXPECT_TRUE(onItsThread);
    thread.quit();
    thread.wait();
}

TEST_F(DeviceHost, TheTypedSignalsCanBeQueuedByName)
{
    // Connected by name, Qt looks the types up by the text of the signature.
    QObject::connect(host.get(), SIGNAL(ended(biz::host::Ticket, biz::host::CommandResult)), host.get(),
                     SIGNAL(linkOpened()), Qt::QueuedConnection);
    EXPECT_NE(QMetaType::type("biz::host::Ticket"), 0);
    EXPECT_NE(QMetaType::type("biz::host::CommandResult"), 0);
    EXPECT_NE(QMetaType::type("model_Protocoldata"), 0);
}

TEST_F(DeviceHost, AHostThatIsMovedToAnotherThreadSpeaksThere)
{
    QThread thread;
    thread.start();
    answerEverything();
    host->moveToThread(&thread);
    QObject context;
    context.moveToThread(&thread);
    std::atomic<bool> answered{false};
    QObject::connect(
        host.get(), &biz_DeviceHost::ended, host.get(),
        [&](Ticket, const CommandResult &result) {
            answered = QThread::currentThread() == &thread && result.outcome == Outcome::Answered;
        },
        Qt::DirectConnection);
    // From here on the host is called on its own thread only.
    runOnThreadOf(&context, [&] {
        EXPECT_TRUE(host->start());
        given.insert(host->enqueue(command(longWaitMs)));
    });
    EXPECT_TRUE(waitFor([&] { return answered.load(); }));
    runOnThreadOf(&context, [&] { host.reset(); });
    thread.quit();
    thread.wait();
}

TEST_F(DeviceHost, ASlotThatAlwaysBringsAboutTheNextSignalLeavesTheEventLoopItsTurn)
{
    constexpr std::size_t farTooMany = 20000;
    bool timerHadItsTurn = false;
    const auto enqueueNext = [&] {
        if (!timerHadItsTurn && given.size() < farTooMany) {
            given.insert(host->enqueue(command(longWaitMs))); // skipped at once, which is told
        }
    };
    seen.onSignal = [&](const DeviceHostRecorder::Event & /*event*/) {
        enqueueNext();
    };
    host->setSkipping(true);
    enqueueNext();
    QTimer::singleShot(0, [&] { timerHadItsTurn = true; });
    ASSERT_TRUE(waitFor([&] { return timerHadItsTurn; }));
    EXPECT_LT(given.size(), farTooMany);
    seen.onSignal = nullptr;
}

TEST_F(DeviceHost, ASlotMayRunAnEventLoopOfItsOwn)
{
    answerEverything();
    start();
    bool heardInside = false;
    QObject::connect(host.get(), &biz_DeviceHost::linkClosed, host.get(), [&] {
        // A dialogue, say: what ends meanwhile is heard inside it.
        const Ticket ticket = enqueue();
        heardInside = waitForEnd(ticket);
    });
    Q_EMIT link->closed("for the test");
    EXPECT_TRUE(waitFor([&] { return heardInside; }));
}
