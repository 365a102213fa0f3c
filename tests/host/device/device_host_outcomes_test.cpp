#include "device_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

class DeviceHostOutcomes : public DeviceHostFixture
{
};

} // namespace

TEST_F(DeviceHostOutcomes, AnAnsweredCommandEndsWithItsReplyAndRoundTrip)
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

TEST_F(DeviceHostOutcomes, CommandsGoOutOneByOneInTheOrderGiven)
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

TEST_F(DeviceHostOutcomes, TheSecondSilenceGivesUpAndTheNextCommandGoesOut)
{
    start();
    const Ticket silent = enqueue(shortWaitMs);
    const Ticket next = enqueue(command(longWaitMs, "next"));
    nextCommand();
    const model_Protocoldata resent = nextCommand();
    EXPECT_TRUE(resent.baData.isEmpty());

    const model_Protocoldata after = nextCommand();
    EXPECT_EQ(after.baData, QByteArray("next"));
    ASSERT_EQ(waitForOutcome(silent), "gaveUp");
    EXPECT_EQ(seen.endOf(silent).attempts, 2);
    EXPECT_EQ(seen.countFor(silent, "sent"), 2);
    EXPECT_FALSE(seen.hasEnded(next));
    EXPECT_EQ(host->counters().resent, 1U);
}

TEST_F(DeviceHostOutcomes, AGivenUpCommandEndsWithoutAnotherBehindIt)
{
    start();
    EXPECT_EQ(waitForOutcome(enqueue(shortWaitMs)), "gaveUp");
}

TEST_F(DeviceHostOutcomes, AReplyToTheResendAnswersTheCommand)
{
    start();
    const Ticket ticket = enqueue(300);
    nextCommand();
    link->reply(nextCommand());
    ASSERT_EQ(waitForOutcome(ticket), "answered");
    EXPECT_EQ(seen.endOf(ticket).attempts, 2);
}

TEST_F(DeviceHostOutcomes, AResendIsToldAsTheSecondAttempt)
{
    constexpr int waitMs = 600; // a first copy that is written later than this has no resend
    start();
    ASSERT_TRUE(waitForEnd(enqueue(waitMs)));
    const auto sent = seen.of("sent");
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent.front().attempt, 1);
    EXPECT_EQ(sent.back().attempt, 2);
}

TEST_F(DeviceHostOutcomes, AClearEndsWhatWaitsAndWhatIsInFlight)
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

TEST_F(DeviceHostOutcomes, SkipModeEndsWaitingAndGivenCommandsButNotTheOneInFlight)
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
    EXPECT_EQ(waitForOutcome(inFlight), "answered");

    answerEverything();
    host->setSkipping(false);
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

TEST_F(DeviceHostOutcomes, SkipModeThatComesAndGoesLosesNoCommand)
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

TEST_F(DeviceHostOutcomes, AStopEndsWhatWaitsAndWhatIsInFlight)
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

TEST_F(DeviceHostOutcomes, WithoutAGateManyAreInFlightAndEachIsAnsweredOrReleased)
{
    host->setPipelined(true);
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

TEST_F(DeviceHostOutcomes, WithoutAGateASequenceByteThatComesRoundReleasesItsFormerCommand)
{
    host->setPipelined(true);
    start();
    constexpr std::size_t sequenceBytes = 256;
    const Ticket first = enqueue(60000);
    for (std::size_t i = 0; i < sequenceBytes; ++i) {
        enqueue(60000);
    }
    EXPECT_EQ(waitForOutcome(first), "released");
    EXPECT_EQ(link->commands.front().ucHead[0], link->commands.back().ucHead[0]);
}

// --- What is enqueued ---------------------------------------------------------------------

TEST_F(DeviceHostOutcomes, ACommandThatFitsNoFrameIsRefusedAtOnceAndTheNextGoesOut)
{
    answerEverything();
    start();
    EXPECT_EQ(host->enqueue(command(longWaitMs, QByteArray(DemoFrameCodec::maxPayload + 1, 'x'))), 0U);
    EXPECT_EQ(host->error(), Error::CannotEncode);
    EXPECT_TRUE(host->errorString().contains("frame")) << host->errorString().toStdString();
    EXPECT_EQ(host->pending(), 0);
    EXPECT_EQ(host->counters().enqueued, 0U);

    EXPECT_EQ(waitForOutcome(enqueue(command(longWaitMs, QByteArray(DemoFrameCodec::maxPayload, 'x')))), "answered");
}

TEST_F(DeviceHostOutcomes, ACommandThatFitsNoDatagramIsRefusedAsSuch)
{
    ASSERT_TRUE(host->setLink(QUrl(QStringLiteral("udp://127.0.0.1:15700"))));
    EXPECT_EQ(host->enqueue(command(longWaitMs, QByteArray(DemoDatagramCodec::maxPayload + 1, 'x'))), 0U);
    EXPECT_TRUE(host->errorString().endsWith("does not fit into a datagram")) << host->errorString().toStdString();
}

TEST_F(DeviceHostOutcomes, CommandsGivenBeforeTheStartGoOutInOrderAfterIt)
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

TEST_F(DeviceHostOutcomes, ACommandWithoutAWaitGetsTheDefault)
{
    ASSERT_TRUE(host->setDefaultWaitTime(shortWaitMs));
    start();
    const Ticket none = enqueue(0);
    const Ticket negative = enqueue(-1);
    ASSERT_TRUE(waitForEnd(negative));
    EXPECT_EQ(seen.outcomeOf(none), "gaveUp");
    for (const DeviceHostRecorder::Event &sent : seen.of("sent")) {
        EXPECT_EQ(sent.record.iWaitTime, shortWaitMs);
    }
}

TEST_F(DeviceHostOutcomes, TheApplicationsTagComesBackUnchanged)
{
    start();
    model_Protocoldata own = command(longWaitMs);
    own.nTag = 4711;
    const Ticket ticket = enqueue(own);
    nextCommand();
    ASSERT_TRUE(waitFor([&] { return seen.countFor(ticket, "sent") == 1; }));
    EXPECT_EQ(seen.of("sent").front().record.nTag, 4711U);
}
