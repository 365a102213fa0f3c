#include <random>

#include <gtest/gtest.h>

#include <commands/command_history_p.h>
#include <commands/statistics_p.h>

using namespace biz::host;

namespace {

/** What a percentile may be off by: half a class of the histogram. */
constexpr double precision = 0.022;

/** The time that `percent` of the times did not exceed, by sorting them all. */
double truePercentile(std::vector<double> times, std::size_t percent)
{
    std::sort(times.begin(), times.end());
    return times[(times.size() * percent + 99) / 100 - 1];
}

} // namespace

TEST(RoundTrips, NoneYetIsNegative)
{
    const RoundTrips none;
    EXPECT_LT(none.median(), 0.0);
    EXPECT_LT(none.max(), 0.0);
}

TEST(RoundTrips, AFewOutliersMoveTheMaximumAndNotTheMedian)
{
    RoundTrips trips;
    trips.add(1000.0);
    for (int i = 0; i < 1000; ++i) {
        trips.add(5.0);
    }
    EXPECT_NEAR(trips.median(), 5.0, precision * 5.0);
    EXPECT_DOUBLE_EQ(trips.max(), 1000.0);
}

TEST(RoundTrips, OneTimeIsAllOfThem)
{
    RoundTrips trips;
    trips.add(7.3);
    EXPECT_DOUBLE_EQ(trips.min(), 7.3);
    EXPECT_DOUBLE_EQ(trips.median(), 7.3);
    EXPECT_DOUBLE_EQ(trips.percentile(99), 7.3);
    EXPECT_DOUBLE_EQ(trips.max(), 7.3);
}

TEST(RoundTrips, PercentilesAreWithinTheDocumentedPrecision)
{
    RoundTrips trips;
    std::vector<double> times;
    std::mt19937 random(4711); // the same run each time
    std::lognormal_distribution<double> spread(2.0, 1.5);
    for (int i = 0; i < 20000; ++i) {
        times.push_back(spread(random));
        trips.add(times.back());
    }
    for (const int percent : {1, 50, 90, 99}) {
        const double expected = truePercentile(times, static_cast<std::size_t>(percent));
        EXPECT_NEAR(trips.percentile(percent), expected, precision * expected) << percent;
    }
    EXPECT_DOUBLE_EQ(trips.min(), *std::min_element(times.begin(), times.end()));
    EXPECT_DOUBLE_EQ(trips.max(), *std::max_element(times.begin(), times.end()));
}

TEST(RoundTrips, APercentileOfFewIsTheFirstThatReachesIt)
{
    RoundTrips trips;
    for (const double ms : {1.0, 10.0, 100.0}) {
        trips.add(ms);
    }
    EXPECT_NEAR(trips.median(), 10.0, 10.0 * precision);
    EXPECT_NEAR(trips.percentile(99), 100.0, 100.0 * precision);
}

TEST(RoundTrips, TimesBeyondTheClassesAreCountedAtTheirEnds)
{
    RoundTrips trips;
    trips.add(0.0);
    trips.add(1e9);
    EXPECT_DOUBLE_EQ(trips.min(), 0.0);
    EXPECT_LT(trips.percentile(50), 0.01);
    EXPECT_GT(trips.percentile(100), 1e6);
    EXPECT_DOUBLE_EQ(trips.max(), 1e9);
}

TEST(RoundTrips, OfTwoThatArePutTogetherNothingIsLost)
{
    RoundTrips fast;
    RoundTrips slow;
    RoundTrips all;
    for (int i = 1; i <= 3000; ++i) {
        fast.add(i * 0.001);
        all.add(i * 0.001);
        slow.add(i);
        all.add(i);
    }
    fast += slow;

    EXPECT_EQ(fast.count(), all.count());
    EXPECT_DOUBLE_EQ(fast.min(), all.min());
    EXPECT_DOUBLE_EQ(fast.max(), all.max());
    for (const int percent : {1, 50, 99}) {
        EXPECT_DOUBLE_EQ(fast.percentile(percent), all.percentile(percent)) << percent;
    }
}

TEST(RoundTrips, OfTwoThatArePutTogetherTheFastestIsThatOfEither)
{
    RoundTrips fast;
    RoundTrips slow;
    fast.add(1.0);
    slow.add(5.0);
    slow += fast;
    EXPECT_DOUBLE_EQ(slow.min(), 1.0);
}

TEST(RoundTrips, OfNoneAddNothing)
{
    RoundTrips trips;
    trips.add(2.0);
    trips += RoundTrips();
    EXPECT_DOUBLE_EQ(trips.min(), 2.0);
}

TEST(Counters, ArePutTogetherByEveryRowOfTheirTable)
{
    Counters share;
    for (const CounterRow &row : counterRows) {
        share.*row.value = 2;
    }
    share.rejectedByRule.insert(QStringLiteral("F1/08: length is 354"), 2);
    share.queueLength = 3;
    share.lastSeenUtcMs = 5;
    Counters total = share;
    total.lastSeenUtcMs = 7;
    total += share;

    for (const CounterRow &row : counterRows) {
        EXPECT_EQ(total.*row.value, 4U) << row.name;
    }
    EXPECT_EQ(total.rejectedByRule.first(), 4U);
    EXPECT_EQ(total.queueLength, 6);
    EXPECT_EQ(total.lastSeenUtcMs, 7);
    EXPECT_LT(total.roundTripMedianMs, 0.0);
}

TEST(Statistics, ASnapshotHoldsQueueRoundTripsAndTheLastSighting)
{
    Statistics statistics;
    EXPECT_LT(statistics.snapshot().roundTripMinMs, 0.0);
    EXPECT_EQ(statistics.snapshot().lastSeenUtcMs, 0);

    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    statistics.noteSeen();
    statistics.setWaiting(3);
    statistics.setWaiting(2);
    for (int i = 1; i <= 100; ++i) {
        statistics.noteRoundTrip(i);
    }
    const Counters copy = statistics.snapshot();
    EXPECT_GE(copy.lastSeenUtcMs, before);
    EXPECT_LE(copy.lastSeenUtcMs, QDateTime::currentMSecsSinceEpoch());
    EXPECT_EQ(copy.queueLength, 2);
    EXPECT_EQ(copy.queueLengthMax, 3);
    EXPECT_DOUBLE_EQ(copy.roundTripMinMs, 1.0);
    EXPECT_NEAR(copy.roundTripMedianMs, 50.0, 50.0 * precision);
    EXPECT_NEAR(copy.roundTripP99Ms, 99.0, 99.0 * precision);
    EXPECT_DOUBLE_EQ(copy.roundTripMaxMs, 100.0);
}

TEST(Statistics, RefusedBytesAddUp)
{
    Statistics statistics;
    statistics.noteRefused(3);
    statistics.noteRefused(4);
    EXPECT_EQ(statistics.snapshot().refusedFrames, 2U);
    EXPECT_EQ(statistics.snapshot().refusedBytes, 7U);
}

TEST(Statistics, RulesBeyondTheBoundAreCountedTogether)
{
    Statistics statistics;
    constexpr int rules = 200;
    for (int i = 0; i < rules; ++i) {
        statistics.noteRejected(QString::number(i));
        statistics.noteRejected(QStringLiteral("0"));
    }
    EXPECT_EQ(statistics.rejected, 2U * rules);
    EXPECT_EQ(statistics.rejectedByRule.size(), maxRejectedRules);
    EXPECT_EQ(statistics.rejectedByRule.value(QStringLiteral("0")), rules + 1U);
    quint64 sum = 0;
    for (const quint64 count : statistics.rejectedByRule) {
        sum += count;
    }
    EXPECT_EQ(sum, statistics.rejected);
}

TEST(CommandHistory, EventsCarryTheirTimesSinceTheEnqueuing)
{
    CommandHistory history;
    const TimePoint now = Clock::now();
    history.note(QStringLiteral("first"), now + std::chrono::milliseconds(100));
    history.note(QStringLiteral("second"), now + std::chrono::milliseconds(250));
    const QVector<CommandEvent> events = history.events();
    ASSERT_EQ(events.size(), 3);
    EXPECT_EQ(events[0].text, QStringLiteral("queued with nothing before it"));
    EXPECT_EQ(events[0].atMs, 0.0);
    EXPECT_EQ(events[1].text, QStringLiteral("first"));
    EXPECT_GE(events[1].atMs, 100.0);
    EXPECT_NEAR(events[2].atMs - events[1].atMs, 150.0, 0.001);
}

TEST(CommandHistory, ALongOneKeepsItsBeginningAndItsEndAndSaysWhatIsLeftOut)
{
    CommandHistory history(7);
    constexpr int many = 1000;
    for (int i = 0; i < many; ++i) {
        history.note(QString::number(i));
    }
    const QVector<CommandEvent> events = history.events();
    ASSERT_EQ(events.size(), maxCommandEvents);
    EXPECT_EQ(events.first().text, QStringLiteral("queued behind 7"));
    EXPECT_EQ(events[1].text, QStringLiteral("0"));
    EXPECT_EQ(events[events.size() - 2].text, QStringLiteral("998"));
    EXPECT_EQ(events.last().text, QStringLiteral("999"));
    EXPECT_EQ(events[maxCommandEvents / 2].text,
              QStringLiteral("%1 events are left out").arg(many - (maxCommandEvents - 2)));
    for (int i = 1; i < events.size(); ++i) {
        EXPECT_GE(events[i].atMs, events[i - 1].atMs);
    }
}
