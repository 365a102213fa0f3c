#include <atomic>
#include <thread>
#include <vector>

#include "osd_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

class OsdHostSettings : public OsdHostFixture
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

TEST_F(OsdHostSettings, AMatcherTakesOnlyTheDatagramThatBelongsToTheCommand)
{
    OsdDevice &one = device(1);
    one.answers = false;
    host->setReplyMatcher(std::make_unique<HeadMatcher>());
    start();
    const Ticket first = enqueue(marked(command(one.ip, answeredWaitMs), 7));
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    one.reply(marked(one.commands.front(), 9));
    ASSERT_TRUE(waitFor([this] { return count("foreign") == 1; }));
    EXPECT_EQ(outcomeOf(first), "none");
    one.reply(one.commands.front());
    ASSERT_TRUE(waitForEnd(first));
    EXPECT_EQ(outcomeOf(first), "answered");

    // A further reply to the first is told from the reply to the second.
    const Ticket second = enqueue(marked(command(one.ip, answeredWaitMs), 8));
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 2; }));
    one.reply(one.commands.front());
    ASSERT_TRUE(waitFor([this] { return count("duplicate") == 1; }));
    EXPECT_EQ(this->first("duplicate").ticket, first);
    EXPECT_EQ(outcomeOf(second), "none");
    one.reply(one.commands.back());
    ASSERT_TRUE(waitForEnd(second));
    EXPECT_EQ(outcomeOf(second), "answered");
    QStringList texts;
    for (const CommandEvent &event : ends[second].front().history) {
        texts.append(event.text);
    }
    EXPECT_TRUE(texts.contains(QStringLiteral("a datagram came that is not its reply")));
}

TEST_F(OsdHostSettings, TheMatcherStaysWhileTheHostRuns)
{
    start();
    host->setReplyMatcher(std::make_unique<HeadMatcher>());
    EXPECT_TRUE(host->errorString().contains(QStringLiteral("reply matcher"))) << host->errorString().toStdString();
}

TEST_F(OsdHostSettings, TheHistoryTellsWhatHappenedInOrder)
{
    OsdDevice &one = device(1);
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
    EXPECT_EQ(ends[second].front().history.first().text, QStringLiteral("queued behind 1 of its device"));
}

TEST_F(OsdHostSettings, CountersAreCopiedOnAnyThreadWhileTheHostCounts)
{
    std::atomic<bool> isOver{false};
    std::atomic<int> copies{0};
    std::atomic<int> contradictions{0};
    std::thread reader([&] {
        while (!isOver) {
            quint64 enqueued = 0;
            for (const biz_OsdHost::DeviceStatus &status : host->devices()) {
                enqueued += status.counters.enqueued;
                contradictions += status.waiting == status.counters.queueLength ? 0 : 1;
            }
            // The totals are copied later, and count what was enqueued meanwhile.
            contradictions += enqueued <= host->counters().enqueued ? 0 : 1;
            ++copies;
        }
    });
    start();
    std::vector<Ticket> tickets;
    for (int i = 1; i <= 20; ++i) {
        tickets.push_back(enqueue(device(i)));
        tickets.push_back(enqueue(device(i)));
    }
    EXPECT_TRUE(waitFor([&] { return ends.size() == tickets.size(); }));
    isOver = true;
    reader.join();
    EXPECT_GT(copies, 0);
    EXPECT_EQ(contradictions, 0);
}

TEST_F(OsdHostSettings, EachDevicesCountersShowItsQueueRoundTripsAndLastSighting)
{
    OsdDevice &talker = device(1);
    OsdDevice &silent = device(2);
    silent.answers = false;
    enqueue(talker);
    const Ticket last = enqueue(talker);
    enqueue(silent, 60000);
    enqueue(silent, 60000);
    enqueue(silent, 60000);
    start();
    ASSERT_TRUE(waitForEnd(last));
    ASSERT_TRUE(waitFor([&] { return silent.commands.size() == 1; }));

    const Counters talked = host->devices()[0].counters;
    EXPECT_EQ(talked.queueLength, 0);
    EXPECT_EQ(talked.queueLengthMax, 2);
    EXPECT_GT(talked.lastSeenUtcMs, 0);
    EXPECT_GE(talked.roundTripMinMs, 0.0);
    EXPECT_GE(talked.roundTripP99Ms, talked.roundTripMedianMs);
    EXPECT_GE(talked.roundTripMaxMs, talked.roundTripP99Ms);
    const Counters unheard = host->devices()[1].counters;
    EXPECT_EQ(unheard.queueLength, 2);
    EXPECT_EQ(unheard.queueLengthMax, 3);
    EXPECT_EQ(unheard.lastSeenUtcMs, 0);
    EXPECT_LT(unheard.roundTripMinMs, 0.0);
    const Counters all = host->counters();
    EXPECT_EQ(all.queueLength, 2);
    EXPECT_EQ(all.queueLengthMax, 5);
    EXPECT_DOUBLE_EQ(all.roundTripMaxMs, talked.roundTripMaxMs);
}
