#include <algorithm>
#include <random>

#include "osd_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

class OsdOutcomes : public OsdHostFixture
{
};

} // namespace

TEST_F(OsdOutcomes, AnAnsweredCommandEndsWithItsReplyAndRoundTrip)
{
    PlayedDevice &one = device(1);
    start();
    const Ticket ticket = enqueue(one, answeredWaitMs, "shown");
    ASSERT_TRUE(waitForEnd(ticket));
    const OsdCommandResult result = ends[ticket].front();
    EXPECT_EQ(result.outcome, Outcome::Answered);
    EXPECT_EQ(result.ip, one.ip);
    EXPECT_EQ(result.attempts, 1);
    EXPECT_EQ(result.reply.baData, QByteArray("shown"));
    EXPECT_EQ(result.reply.qsIp, one.ip);
    EXPECT_GE(result.roundTripMs, 0.0);
    EXPECT_TRUE(waitFor([&] { return count("received") == 1; }));
}

TEST_F(OsdOutcomes, TheLargestPayloadGoesThereAndBack)
{
    const QByteArray largest(OsdDatagramCodec::maxPayload, 'x');
    PlayedDevice &one = device(1);
    start();
    for (int round = 0; round < 2; ++round) {
        const Ticket ticket = enqueue(one, answeredWaitMs, largest);
        ASSERT_EQ(waitForOutcome(ticket), "answered");
        EXPECT_EQ(ends[ticket].front().reply.baData, largest);
    }
}

TEST_F(OsdOutcomes, CommandsOfOneDeviceGoOutOneByOneInTheOrderGiven)
{
    PlayedDevice &one = device(1);
    start();
    constexpr std::size_t commands = 20;
    for (std::size_t i = 0; i < commands; ++i) {
        enqueue(one, answeredWaitMs, QByteArray::number(static_cast<int>(i)));
    }
    ASSERT_TRUE(waitFor([&] { return ends.size() == commands; }));
    for (std::size_t i = 0; i < commands; ++i) {
        EXPECT_EQ(one.commands.at(i).baData, QByteArray::number(static_cast<int>(i)));
    }
    EXPECT_EQ(host->counters().answered, commands);
}

TEST_F(OsdOutcomes, ASilentDevicesCommandIsGivenUpAndItsNextGoesOut)
{
    PlayedDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket silent = enqueue(one, givenUpWaitMs, "silent");
    const Ticket next = enqueue(one, answeredWaitMs, "next");
    EXPECT_EQ(waitForOutcome(silent), "gaveUp");
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 2; }));
    one.reply(one.commands.back());
    EXPECT_EQ(waitForOutcome(next), "answered");
}

TEST_F(OsdOutcomes, AGivenUpCommandEndsWithoutAnotherBehindIt)
{
    PlayedDevice &one = device(1);
    one.answers = false;
    start();
    EXPECT_EQ(waitForOutcome(enqueue(one, givenUpWaitMs)), "gaveUp");
}

TEST_F(OsdOutcomes, SilentDevicesDelayNoOther)
{
    constexpr int devicesEach = 10;
    constexpr int commandsEach = 5;
    for (int i = 0; i < 2 * devicesEach; ++i) {
        device(i).answers = i % 2 == 0;
    }
    start();
    std::set<Ticket> toAnswer;
    for (int round = 0; round < commandsEach; ++round) {
        for (int i = 0; i < 2 * devicesEach; ++i) {
            const Ticket ticket = enqueue(device(i), endlessWaitMs);
            if (i % 2 == 0) {
                toAnswer.insert(ticket);
            }
        }
    }
    const auto areAllAnswered = [&] {
        return std::all_of(toAnswer.begin(), toAnswer.end(), [&](Ticket ticket) { return ends.count(ticket) != 0; });
    };
    ASSERT_TRUE(waitFor(areAllAnswered));
    EXPECT_EQ(host->counters().answered, toAnswer.size());
    EXPECT_EQ(ends.size(), toAnswer.size());
}

TEST_F(OsdOutcomes, AStopEndsEverything)
{
    PlayedDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket inFlight = enqueue(one, endlessWaitMs);
    const Ticket waiting = enqueue(one, endlessWaitMs);
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    const StopReport report = host->stop();
    EXPECT_TRUE(report.clean());
    EXPECT_EQ(report.pending, 2);
    ASSERT_TRUE(waitForEnd(waiting));
    EXPECT_EQ(outcomeOf(inFlight), "stopped");
    EXPECT_EQ(outcomeOf(waiting), "stopped");
}

TEST_F(OsdOutcomes, CommandsGivenBeforeTheStartGoOutAfterIt)
{
    PlayedDevice &one = device(1);
    const Ticket ticket = enqueue(one);
    EXPECT_EQ(host->waiting(), 1);
    start();
    EXPECT_EQ(waitForOutcome(ticket), "answered");
}

TEST_F(OsdOutcomes, ACommandWithoutAWaitGetsTheDefault)
{
    PlayedDevice &one = device(1);
    constexpr int own = 3000;
    ASSERT_TRUE(host->setDefaultWaitTime(own));
    start();
    const Ticket ticket = enqueue(one, 0);
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(first("sent").record.iWaitTime, own);
}

TEST_F(OsdOutcomes, TheDefaultWaitIsTheOneOfTheHeader)
{
    PlayedDevice &one = device(1);
    start();
    ASSERT_TRUE(waitForEnd(enqueue(one, 0)));
    EXPECT_EQ(first("sent").record.iWaitTime, OsdHost::defaultWaitMs);
}

TEST_F(OsdOutcomes, ADefaultWaitOfNothingIsRefused)
{
    EXPECT_FALSE(host->setDefaultWaitTime(0));
    EXPECT_EQ(host->error(), Error::OutOfRange);
    EXPECT_FALSE(host->setDefaultWaitTime(-1));
}

TEST_F(OsdOutcomes, TheHistoryTellsWhatHappenedInOrder)
{
    PlayedDevice &one = device(1);
    start();
    const Ticket first = enqueue(one);
    const Ticket second = enqueue(one);
    ASSERT_TRUE(waitForEnd(first));
    ASSERT_TRUE(waitForEnd(second));
    const OsdCommandResult result = ends[first].front();
    ASSERT_EQ(result.history.size(), 3);
    EXPECT_EQ(result.history[0].text, QStringLiteral("queued with nothing before it"));
    EXPECT_EQ(result.history[1].text, QStringLiteral("sent"));
    EXPECT_EQ(result.history[2].text, QStringLiteral("answered: ") + result.reason);
    EXPECT_NEAR(result.history[2].atMs - result.history[1].atMs, result.roundTripMs, 5.0);
    EXPECT_EQ(ends[second].front().history.first().text, QStringLiteral("queued behind 1"));
}

TEST_F(OsdOutcomes, TwentyThousandSeededCommandsEndOnceEachHoweverTheyAreSteered)
{
    // The fixture looks at each ticket's one end, and that no command which has ended is written.
    constexpr unsigned seed = 20;
    constexpr int commands = 20000;
    constexpr int deviceCount = 20;
    std::mt19937 random(seed);
    const auto pick = [&random](int below) {
        return std::uniform_int_distribution<int>(0, below - 1)(random);
    };
    for (int i = 0; i < deviceCount; ++i) {
        device(i).answers = i % 5 != 0;
    }
    int writtenAfterEnd = 0;
    onSignal = [&](const Event &event) {
        writtenAfterEnd += event.signal == "sent" && ends.count(event.ticket) != 0 ? 1 : 0;
    };
    start();
    std::vector<Ticket> tickets;
    for (int i = 0; i < commands; ++i) {
        CommandOptions options;
        options.urgent = pick(8) == 0;
        options.validFor = std::chrono::milliseconds(pick(4) == 0 ? 1 + pick(20) : 0);
        options.replaceKey = pick(3) == 0 ? QString::number(pick(4)) : QString();
        PlayedDevice &to = device(pick(deviceCount));
        tickets.push_back(enqueue(command(to.ip, answeredWaitMs), options));
        if (pick(10) == 0) {
            host->cancel(tickets[static_cast<std::size_t>(pick(static_cast<int>(tickets.size())))]);
        }
        if (pick(400) == 0) {
            host->clear(device(pick(deviceCount)).ip);
        }
        if (pick(4000) == 0) {
            EXPECT_TRUE(host->stop().clean());
            start();
        }
        if (pick(20) == 0) {
            QCoreApplication::processEvents();
        }
    }
    host->clear();
    ASSERT_TRUE(waitFor([this] { return ends.size() == given.size(); }));
    EXPECT_EQ(writtenAfterEnd, 0);
    const Counters all = host->counters();
    EXPECT_EQ(all.enqueued, static_cast<quint64>(commands));
    EXPECT_EQ(all.answered + all.gaveUp + all.cleared + all.stopped + all.expired + all.superseded + all.cancelled,
              static_cast<quint64>(commands));
}
