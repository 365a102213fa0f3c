#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

#include "osd_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

class OsdReplies : public OsdHostFixture
{
};

/** Byte 1 of the head says what belongs together. */
class HeadMatcher : public OsdReplyMatcher
{
public:
    bool matches(const model_OsdParam &command, const model_OsdParam &reply) const override
    {
        return command.ucOsdHead[1] == reply.ucOsdHead[1];
    }
};

model_OsdParam marked(model_OsdParam record, uchar mark)
{
    record.ucOsdHead[1] = mark;
    return record;
}

} // namespace

TEST_F(OsdReplies, AnUnknownSenderIsReportedAndNotObeyed)
{
    PlayedDevice &one = device(1);
    PlayedDevice &stranger = device(2);
    one.answers = false;
    start();
    const Ticket ticket = enqueue(one, endlessWaitMs);
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    stranger.learnHostFrom(one);
    stranger.reply(one.commands.front());
    ASSERT_TRUE(waitFor([&] { return count("foreign") == 1; }));
    EXPECT_EQ(first("foreign").text, stranger.ip);
    EXPECT_EQ(ends.count(ticket), 0U);
    EXPECT_EQ(host->counters().foreign, 1U);
    one.reply(one.commands.front());
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_TRUE(waitFor([&] { return count("received") == 1; }));
    EXPECT_EQ(first("received").record.qsIp, one.ip);
}

TEST_F(OsdReplies, ADatagramThatIsNoFrameIsReported)
{
    PlayedDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket ticket = enqueue(one, endlessWaitMs);
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    one.send("garbage");
    ASSERT_TRUE(waitFor([&] { return count("refused") == 1; }));
    EXPECT_EQ(first("refused").text, one.ip);
    EXPECT_EQ(ends.count(ticket), 0U);
    EXPECT_EQ(host->counters().refusedBytes, 7U);
}

TEST_F(OsdReplies, ASecondReplyIsADuplicateAndKeptOnlyByThePolicy)
{
    PlayedDevice &one = device(1);
    for (const bool keep : {false, true}) {
        SCOPED_TRACE(keep);
        makeHost();
        host->setKeepUnmatchedReplies(keep);
        start();
        const Ticket ticket = enqueue(one);
        ASSERT_TRUE(waitForEnd(ticket));
        one.reply(command(one.ip, 0, "again"));
        ASSERT_TRUE(waitFor([&] { return count("duplicate") == 1; }));
        EXPECT_EQ(first("duplicate").ticket, ticket);
        // One more command shows what has passed the channel before its reply.
        const Ticket last = enqueue(one, answeredWaitMs, "last");
        ASSERT_TRUE(waitForEnd(last));
        const int expected = keep ? 3 : 2;
        ASSERT_TRUE(waitFor([&] { return count("received") == expected; }));
        EXPECT_EQ(events.back().record.baData, QByteArray("last"));
    }
}

TEST_F(OsdReplies, AReplyAfterTheGiveUpIsLateAndSettlesNothing)
{
    PlayedDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket ticket = enqueue(one, givenUpWaitMs);
    EXPECT_EQ(waitForOutcome(ticket), "gaveUp");
    one.reply(one.commands.front());
    ASSERT_TRUE(waitFor([&] { return count("late") == 1; }));
    EXPECT_EQ(first("late").ticket, ticket);
    EXPECT_GE(first("late").afterEndMs, 0.0);
}

// The application was busy for so long that the channel has given the first command up; its reply is here all
// the same.
TEST_F(OsdReplies, AReplyThatWaitedInTheSocketIsNotTakenForTheNextCommands)
{
    PlayedDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket first = enqueue(one, givenUpWaitMs, "first");
    const Ticket second = enqueue(one, endlessWaitMs, "second");
    const Ticket third = enqueue(one, endlessWaitMs, "third");
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    one.reply(one.commands.front());
    keepThreadBusy(givenUpWaitMs + timeoutPeriodMs);
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 2; }));
    EXPECT_EQ(waitForOutcome(first), "answered");
    EXPECT_EQ(one.commands.back().baData, QByteArray("second"));
    EXPECT_EQ(ends.count(second), 0U);

    one.reply(one.commands.back());
    ASSERT_TRUE(waitForEnd(second));
    EXPECT_EQ(ends[second].front().reply.baData, QByteArray("second"));
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 3; }));
    one.reply(one.commands.back());
    ASSERT_TRUE(waitForEnd(third));
    EXPECT_EQ(ends[third].front().reply.baData, QByteArray("third"));
}

TEST_F(OsdReplies, AFloodOfDatagramsDoesNotKeepTheEventLoop)
{
    PlayedDevice &one = device(1);
    start();
    ASSERT_TRUE(waitForEnd(enqueue(one)));
    constexpr int flood = 3000;
    for (int i = 0; i < flood; ++i) {
        one.send("junk");
    }
    EXPECT_EQ(waitForOutcome(enqueue(one)), "answered");
}

// The receive loop takes one in 5 ms, so replies can come faster than it takes them.
TEST_F(OsdReplies, WhatWaitsForReceivedIsBoundedAndWhatIsDroppedIsCounted)
{
    constexpr std::size_t mostWaiting = 100000;
    constexpr std::size_t beyond = 1000;
    PlayedDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket ticket = enqueue(one);
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    {
        const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::receiveHexCmdlock);
        biz_Osd_CMDSWork::receivequeueHexCmd = {};
        for (std::size_t i = 0; i < mostWaiting + beyond; ++i) {
            biz_Osd_CMDSWork::receivequeueHexCmd.push(command(one.ip, 0, "older"));
        }
    }
    one.reply(one.commands.front());
    EXPECT_EQ(waitForOutcome(ticket), "answered");
    {
        const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::receiveHexCmdlock);
        EXPECT_LE(biz_Osd_CMDSWork::receivequeueHexCmd.size(), mostWaiting);
        EXPECT_NE(biz_Osd_CMDSWork::receivequeueHexCmd.back().baData, QByteArray("older")) << "the newest is kept";
    }
    EXPECT_GT(host->counters().dropped, 0U);
    EXPECT_LE(host->counters().dropped, beyond + 1);
}

TEST_F(OsdReplies, ANewHostDoesNotHearWhatTheFormerOneLeftToBeReceived)
{
    constexpr int leftOver = 100;
    PlayedDevice &one = device(1);
    start();
    ASSERT_TRUE(waitForEnd(enqueue(one)));
    {
        const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::receiveHexCmdlock);
        for (int i = 0; i < leftOver; ++i) {
            biz_Osd_CMDSWork::receivequeueHexCmd.push(command(one.ip, 0, "of the former host"));
        }
    }
    makeHost();
    start();
    ASSERT_TRUE(waitForEnd(enqueue(one, answeredWaitMs, "of this one")));
    ASSERT_TRUE(waitFor([this] { return count("received") > 0; }));
    EXPECT_EQ(first("received").record.baData, QByteArray("of this one"));
}

TEST_F(OsdReplies, AMatcherTakesOnlyTheDatagramThatBelongsToTheCommand)
{
    PlayedDevice &one = device(1);
    one.answers = false;
    ASSERT_TRUE(host->setReplyMatcher(std::make_unique<HeadMatcher>()));
    start();
    const Ticket first = enqueue(marked(command(one.ip, answeredWaitMs), 7));
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    one.reply(marked(one.commands.front(), 9));
    ASSERT_TRUE(waitFor([this] { return count("foreign") == 1; }));
    EXPECT_EQ(outcomeOf(first), "none");
    one.reply(one.commands.front());
    EXPECT_EQ(waitForOutcome(first), "answered");

    // A further reply to the first is told from the reply to the second.
    const Ticket second = enqueue(marked(command(one.ip, answeredWaitMs), 8));
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 2; }));
    one.reply(one.commands.front());
    ASSERT_TRUE(waitFor([this] { return count("duplicate") == 1; }));
    EXPECT_EQ(this->first("duplicate").ticket, first);
    EXPECT_EQ(outcomeOf(second), "none");
    one.reply(one.commands.back());
    ASSERT_EQ(waitForOutcome(second), "answered");
    QStringList texts;
    for (const CommandEvent &event : ends[second].front().history) {
        texts.append(event.text);
    }
    EXPECT_TRUE(texts.contains(QStringLiteral("a datagram came that is not its reply")));
}

TEST_F(OsdReplies, TheMatcherStaysWhileTheHostRuns)
{
    start();
    EXPECT_FALSE(host->setReplyMatcher(std::make_unique<HeadMatcher>()));
    EXPECT_EQ(host->error(), Error::AlreadyRunning);
    EXPECT_TRUE(host->errorString().contains(QStringLiteral("reply matcher"))) << host->errorString().toStdString();
}

TEST_F(OsdReplies, WithAMatcherALateReplyIsToldFromTheReplyInFlight)
{
    PlayedDevice &one = device(1);
    one.answers = false;
    ASSERT_TRUE(host->setReplyMatcher(std::make_unique<HeadMatcher>()));
    start();
    const Ticket first = enqueue(marked(command(one.ip, givenUpWaitMs), 7));
    EXPECT_EQ(waitForOutcome(first), "gaveUp");
    const Ticket second = enqueue(marked(command(one.ip, endlessWaitMs), 8));
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 2; }));
    one.reply(one.commands.front());
    ASSERT_TRUE(waitFor([this] { return count("late") == 1; }));
    EXPECT_EQ(this->first("late").ticket, first);
    EXPECT_EQ(outcomeOf(second), "none");
}
