#include <atomic>
#include <thread>

#include "osd_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

class OsdDevices : public OsdHostFixture
{
};

} // namespace

TEST_F(OsdDevices, TheStatusShowsEachDevicesShare)
{
    PlayedDevice &talker = device(1);
    PlayedDevice &silent = device(2);
    silent.answers = false;
    start();
    ASSERT_TRUE(waitForEnd(enqueue(talker)));
    enqueue(silent, endlessWaitMs);
    enqueue(silent, endlessWaitMs);
    ASSERT_TRUE(waitFor([&] { return silent.commands.size() == 1; }));
    const QVector<OsdDeviceStatus> status = host->devices();
    ASSERT_EQ(status.size(), 2);
    EXPECT_EQ(status[0].ip, talker.ip);
    EXPECT_EQ(status[0].counters.answered, 1U);
    EXPECT_EQ(status[0].counters.sent, 1U);
    EXPECT_FALSE(status[0].inFlight);
    EXPECT_EQ(status[1].ip, silent.ip);
    EXPECT_TRUE(status[1].inFlight);
    EXPECT_EQ(status[1].counters.queueLength, 1);
}

TEST_F(OsdDevices, EachDevicesCountersShowItsQueueRoundTripsAndLastSighting)
{
    PlayedDevice &talker = device(1);
    PlayedDevice &silent = device(2);
    silent.answers = false;
    enqueue(talker);
    const Ticket last = enqueue(talker);
    enqueue(silent, endlessWaitMs);
    enqueue(silent, endlessWaitMs);
    enqueue(silent, endlessWaitMs);
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

TEST_F(OsdDevices, CountersAreCopiedOnAnyThreadWhileTheHostCounts)
{
    std::atomic<bool> isOver{false};
    std::atomic<int> copies{0};
    std::atomic<int> contradictions{0};
    std::thread reader([&] {
        while (!isOver) {
            quint64 enqueued = 0;
            for (const OsdDeviceStatus &status : host->devices()) {
                enqueued += status.counters.enqueued;
                contradictions += status.counters.answered <= status.counters.enqueued ? 0 : 1;
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

TEST_F(OsdDevices, AClearKeepsTheDevicesAndTheirCounters)
{
    PlayedDevice &talker = device(1);
    PlayedDevice &silent = device(2);
    start();
    ASSERT_TRUE(waitForEnd(enqueue(talker)));
    const Ticket inFlight = occupy(silent);
    const Ticket waiting = enqueue(silent);
    host->clear();
    EXPECT_EQ(host->pending(), 0);
    ASSERT_TRUE(waitForEnd(waiting));
    EXPECT_EQ(outcomeOf(inFlight), "cleared");
    EXPECT_EQ(outcomeOf(waiting), "cleared");
    const QVector<OsdDeviceStatus> status = host->devices();
    ASSERT_EQ(status.size(), 2);
    EXPECT_EQ(status[0].counters.answered, 1U);
    EXPECT_EQ(status[0].counters.sent, 1U);
    EXPECT_EQ(status[1].counters.cleared, 2U);
    EXPECT_FALSE(status[1].inFlight);
}

TEST_F(OsdDevices, AClearedDeviceTakesItsNextCommandAtOnce)
{
    PlayedDevice &one = device(1);
    start();
    occupy(one);
    host->clear();
    one.answers = true;
    EXPECT_EQ(waitForOutcome(enqueue(one)), "answered");
}

TEST_F(OsdDevices, AClearOfOneDeviceTouchesNoOther)
{
    PlayedDevice &one = device(1);
    PlayedDevice &other = device(2);
    start();
    const Ticket cleared = occupy(one);
    const Ticket kept = occupy(other);
    host->clear(one.ip);
    host->clear("127.0.0.99"); // unknown
    EXPECT_EQ(waitForOutcome(cleared), "cleared");
    other.reply(other.commands.back());
    EXPECT_EQ(waitForOutcome(kept), "answered");
}

TEST_F(OsdDevices, AForgottenDeviceIsGoneAndTheTotalsStay)
{
    PlayedDevice &one = device(1);
    start();
    ASSERT_TRUE(waitForEnd(enqueue(one)));
    const Ticket inFlight = occupy(one);
    host->forget(one.ip);
    EXPECT_EQ(waitForOutcome(inFlight), "cleared");
    EXPECT_EQ(host->devices().size(), 0);
    EXPECT_EQ(host->counters().enqueued, 2U);
    EXPECT_EQ(host->counters().answered, 1U);
    one.reply(one.commands.back());
    ASSERT_TRUE(waitFor([this] { return count("foreign") == 1; }));

    one.answers = true;
    ASSERT_TRUE(waitForEnd(enqueue(one)));
    ASSERT_EQ(host->devices().size(), 1);
    EXPECT_EQ(host->devices()[0].counters.enqueued, 1U);
}

TEST_F(OsdDevices, ADeviceThatIsForgottenWhileACommandIsOnItsWayIsNotHeldUpLater)
{
    PlayedDevice &one = device(1);
    start();
    const Ticket forgotten = enqueue(one, endlessWaitMs, "forgotten");
    host->forget(one.ip);
    const Ticket next = enqueue(one, answeredWaitMs, "next");
    ASSERT_TRUE(waitForEnd(next));
    EXPECT_EQ(outcomeOf(forgotten), "cleared");
    EXPECT_EQ(outcomeOf(next), "answered");
    EXPECT_EQ(one.payloads(), QByteArrayList{"next"});
}

TEST_F(OsdDevices, AnotherThreadNeverSeesADeviceWithoutAnAddress)
{
    constexpr int addresses = 2000;
    std::atomic<bool> goesOn{true};
    std::atomic<int> nameless{0};
    std::thread reader([&] {
        while (goesOn) {
            for (const OsdDeviceStatus &status : host->devices()) {
                nameless += status.ip.isEmpty() ? 1 : 0;
            }
        }
    });
    for (int i = 0; i < addresses; ++i) {
        const QString ip = QStringLiteral("10.1.%1.%2").arg(i / 250).arg(i % 250 + 1);
        EXPECT_NE(host->enqueue(command(ip, answeredWaitMs)), 0U);
    }
    goesOn = false;
    reader.join();
    EXPECT_EQ(nameless, 0);
}
