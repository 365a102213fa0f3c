#include <algorithm>
#include <mutex>

#include <biz_cmdswork/biz_cmdswork.h>

#include "device_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

/** The rule of this command admits an index of 15 at most. */
model_Protocoldata withIndex(model_Protocoldata reply, uchar index)
{
    reply.ucHead[3] = index;
    return reply;
}

class DeviceHostReplies : public DeviceHostFixture
{
};

} // namespace

TEST_F(DeviceHostReplies, ARejectedReplyIsToldInWordsAndAGoodOneStillAnswers)
{
    ASSERT_TRUE(host->setModel("A2"));
    start();
    const Ticket ticket = enqueue();
    const model_Protocoldata sent = nextCommand();
    link->reply(withIndex(sent, 16));
    ASSERT_TRUE(waitFor([&] { return seen.countFor(ticket, "rejected") == 1; }));
    const ReplyJudgement judgement = seen.of("rejected").front().judgement;
    EXPECT_TRUE(judgement.broken.contains("index")) << judgement.broken.toStdString();
    EXPECT_TRUE(judgement.broken.contains("16")) << judgement.broken.toStdString();
    EXPECT_TRUE(judgement.rule.contains("15")) << judgement.rule.toStdString();
    EXPECT_EQ(judgement.brokenHeadBytes, QVector<int>{3});
    EXPECT_FALSE(seen.hasEnded(ticket));

    link->reply(withIndex(sent, 15));
    EXPECT_EQ(waitForOutcome(ticket), "answered");
    EXPECT_EQ(host->counters().rejected, 1U);
}

TEST_F(DeviceHostReplies, TheReasonOfAGiveUpNamesTheRuleThatTheReplyBroke)
{
    ASSERT_TRUE(host->setModel("A2"));
    link->onCommand = [this](const model_Protocoldata &command) {
        link->reply(withIndex(command, 16));
    };
    start();
    const Ticket ticket = enqueue(shortWaitMs);
    ASSERT_EQ(waitForOutcome(ticket), "gaveUp");
    EXPECT_TRUE(seen.endOf(ticket).reason.contains(seen.of("rejected").front().why));
    EXPECT_EQ(seen.countFor(ticket, "rejected"), 2);
}

TEST_F(DeviceHostReplies, ALateReplyNeverSettlesANewerCommand)
{
    start();
    const Ticket silent = enqueue(shortWaitMs);
    const Ticket newer = enqueue(QByteArray("newer"));
    const model_Protocoldata silentSent = nextCommand();
    nextCommand(); // the resend
    const model_Protocoldata newerSent = nextCommand();

    link->reply(silentSent);
    ASSERT_TRUE(waitFor([&] { return seen.countFor(silent, "late") == 1; }));
    EXPECT_GE(seen.of("late").front().afterEndMs, 0.0);
    EXPECT_FALSE(seen.hasEnded(newer));

    // The channel hands on in order: the late reply has gone through it before this one.
    link->reply(newerSent);
    ASSERT_EQ(waitForOutcome(newer), "answered");
    EXPECT_EQ(seen.endOf(newer).reply.baData, QByteArray("newer"));
}

TEST_F(DeviceHostReplies, RepliesAreToldApartWhereTheSequenceByteWraps)
{
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        biz_CMDSWork::iSN = 0xFF;
    }
    start();
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
    EXPECT_EQ(waitForOutcome(wrapped), "answered");
}

TEST_F(DeviceHostReplies, ASecondReplyIsADuplicate)
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

TEST_F(DeviceHostReplies, TwoRepliesAtOnceAreAnAnswerAndADuplicate)
{
    start();
    const Ticket ticket = enqueue();
    const model_Protocoldata sent = nextCommand();
    link->reply(sent);
    link->reply(sent);
    ASSERT_TRUE(waitFor([&] { return seen.countFor(ticket, "duplicate") == 1; }));
    EXPECT_EQ(seen.outcomeOf(ticket), "answered");
}

TEST_F(DeviceHostReplies, AReplyToNoCommandIsForeign)
{
    start();
    const Ticket ticket = enqueue();
    model_Protocoldata reply = nextCommand();
    reply.ucHead[0] = static_cast<uchar>(reply.ucHead[0] + 100);
    link->reply(reply);
    ASSERT_TRUE(waitFor([&] { return seen.count("foreign") == 1; }));
    EXPECT_FALSE(seen.hasEnded(ticket));
}

TEST_F(DeviceHostReplies, AnAnswerPassesAFloodOfRepliesThatAnswerNothing)
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
    ASSERT_EQ(waitForOutcome(ticket), "answered");
    EXPECT_EQ(seen.endOf(ticket).attempts, 1);
}

TEST_F(DeviceHostReplies, AFloodOfRepliesTakesBoundedRoomAndIsAccountedFor)
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

TEST_F(DeviceHostReplies, BytesThatAreNoFrameAreReported)
{
    start();
    link->sendGarbage();
    ASSERT_TRUE(waitFor([&] { return seen.count("refused") > 0; }));
    EXPECT_FALSE(seen.of("refused").front().why.isEmpty());
    EXPECT_EQ(host->counters().refusedFrames, static_cast<quint64>(seen.count("refused")));
    EXPECT_EQ(host->counters().bytesIn, 8U);
}

TEST_F(DeviceHostReplies, AnAnswerInsideTheWriteIsAnAnswer)
{
    answerEverything();
    start();
    EXPECT_EQ(waitForOutcome(enqueue()), "answered");
}

// A slow link lets the answer to the first attempt be judged while the resend is written.
TEST_F(DeviceHostReplies, AnAnswerThatIsJudgedWhileTheResendIsWrittenHarmsNothing)
{
    link->onCommand = [this](const model_Protocoldata &command) {
        if (link->commands.size() == 1) {
            return;
        }
        link->reply(command);
        stayBusyFor(30); // a write that takes its time
        link->reply(command);
    };
    start();
    const Ticket ticket = enqueue(shortWaitMs);
    ASSERT_EQ(waitForOutcome(ticket), "answered");
    EXPECT_EQ(seen.endOf(ticket).attempts, 2);
}

// The channel judges a reply some milliseconds after the kit has: the rules may be others by
// then, and a reply that it refuses on its own must not hold back the ones that follow.
TEST_F(DeviceHostReplies, AChangeOfTheDeviceTypeWhileAReplyWaitsWedgesNothing)
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
        ASSERT_TRUE(host->setModel("A2"));
        answers = true;
        ASSERT_TRUE(waitForEnd(ticket));
        EXPECT_EQ(seen.outcomeOf(ticket), "answered") << round;
    }
}
