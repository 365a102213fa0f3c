#include <biz_cmdswork/biz_cmdswork.h>

#include "device_host_fixture.h"

using namespace biz::host;
using namespace biz::test;

namespace {

using std::chrono::milliseconds;
using Payloads = QByteArrayList;

CommandOptions validFor(milliseconds time)
{
    CommandOptions options;
    options.validFor = time;
    return options;
}

CommandOptions withKey(const char *key, bool urgent = false)
{
    CommandOptions options;
    options.replaceKey = QString::fromLatin1(key);
    options.urgent = urgent;
    return options;
}

CommandOptions urgent()
{
    return withKey("", true);
}

/** What waits is steered: by validity, replace keys, urgency and cancelling. */
class DeviceHostQueue : public DeviceHostFixture
{
};

} // namespace

// --- Validity -----------------------------------------------------------------------------

TEST_F(DeviceHostQueue, ACommandExpiresWhenItsTurnComesTooLate)
{
    start();
    occupy();
    const Ticket ticket = enqueue(QByteArray("late"), validFor(milliseconds(20)));
    stayBusyFor(30);
    EXPECT_FALSE(seen.hasEnded(ticket));
    answerFromNowOn();
    ASSERT_EQ(waitForOutcome(ticket), "expired");
    EXPECT_EQ(seen.endOf(ticket).attempts, 0);
    EXPECT_EQ(written(), Payloads{"first"});
}

TEST_F(DeviceHostQueue, ACommandWhoseTurnComesInTimeIsSent)
{
    start();
    occupy();
    const Ticket limited = enqueue(QByteArray("limited"), validFor(milliseconds(longWaitMs)));
    const Ticket unlimited = enqueue(QByteArray("unlimited"), validFor(milliseconds(0)));
    stayBusyFor(30);
    answerFromNowOn();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(seen.outcomeOf(limited), "answered");
    EXPECT_EQ(seen.outcomeOf(unlimited), "answered");
}

TEST_F(DeviceHostQueue, AValidityThatWasOverWhenTheCommandWasGivenExpiresIt)
{
    start();
    answerEverything();
    EXPECT_EQ(waitForOutcome(enqueue(QByteArray("stale"), validFor(milliseconds(-1)))), "expired");
    EXPECT_EQ(written(), Payloads());
}

TEST_F(DeviceHostQueue, TheLongestValidityDoesNotExpire)
{
    answerEverything();
    start();
    EXPECT_EQ(waitForOutcome(enqueue(QByteArray("lasting"), validFor(milliseconds::max()))), "answered");
}

TEST_F(DeviceHostQueue, ValidityCountsFromTheEnqueuing)
{
    answerEverything();
    const Ticket ticket = enqueue(QByteArray("before the start"), validFor(milliseconds(20)));
    stayBusyFor(30);
    start();
    EXPECT_EQ(waitForOutcome(ticket), "expired");
    EXPECT_TRUE(link->commands.empty());
}

TEST_F(DeviceHostQueue, ValidityIsTestedOnceMoreWhenTheFirstCopyIsToBeWritten)
{
    answerEverything();
    start();
    // It is handed over at once, but the host's thread has no time to write it.
    const Ticket ticket = enqueue(QByteArray("late"), validFor(milliseconds(30)));
    const Ticket next = enqueue(QByteArray("next"));
    stayBusyFor(60);
    ASSERT_TRUE(waitForEnd(next));
    EXPECT_EQ(seen.outcomeOf(ticket), "expired");
    EXPECT_EQ(written(), Payloads{"next"});
}

TEST_F(DeviceHostQueue, AResendIsWrittenHoweverLateItIs)
{
    constexpr int waitMs = 3000; // half of it is enough for a first copy on a busy machine
    start();
    const Ticket ticket = enqueue(command(waitMs), validFor(milliseconds(waitMs / 2)));
    nextCommand();
    link->reply(nextCommand());
    ASSERT_EQ(waitForOutcome(ticket), "answered");
    EXPECT_EQ(seen.endOf(ticket).attempts, 2);
    EXPECT_GE(seen.endOf(ticket).history.last().atMs, waitMs / 2);
}

// --- Replace keys --------------------------------------------------------------------------

TEST_F(DeviceHostQueue, ANewerCommandTakesThePlaceOfTheOneWithItsKey)
{
    start();
    occupy();
    const Ticket older = enqueue(QByteArray("older"), withKey("key"));
    enqueue(QByteArray("other"));
    const Ticket newer = enqueue(QByteArray("newer"), withKey("key"));
    EXPECT_EQ(host->waiting(), 2);
    answerFromNowOn();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(written(), (Payloads{"first", "newer", "other"}));
    EXPECT_EQ(seen.outcomeOf(older), "superseded");
    EXPECT_EQ(seen.endOf(older).supersededBy, newer);
    EXPECT_EQ(seen.outcomeOf(newer), "answered");
    EXPECT_EQ(seen.endOf(newer).supersededBy, 0U);
}

TEST_F(DeviceHostQueue, AnUrgentCommandReplacesFromTheUrgentOnesPlace)
{
    start();
    occupy();
    enqueue(QByteArray("urgent"), urgent());
    enqueue(QByteArray("other"));
    enqueue(QByteArray("older"), withKey("key"));
    enqueue(QByteArray("newer"), withKey("key", true));
    answerFromNowOn();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(written(), (Payloads{"first", "urgent", "newer", "other"}));
}

TEST_F(DeviceHostQueue, WhatReplacesAnUrgentCommandKeepsItsPlace)
{
    start();
    occupy();
    enqueue(QByteArray("older"), withKey("key", true));
    enqueue(QByteArray("urgent"), urgent());
    enqueue(QByteArray("newer"), withKey("key"));
    answerFromNowOn();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(written(), (Payloads{"first", "newer", "urgent"}));
}

TEST_F(DeviceHostQueue, WhatHasBeenHandedOverIsNotReplaced)
{
    answerEverything();
    start();
    const Ticket handedOver = enqueue(QByteArray("handed over"), withKey("key"));
    const Ticket newer = enqueue(QByteArray("newer"), withKey("key"));
    ASSERT_TRUE(waitForEnd(newer));
    EXPECT_EQ(seen.outcomeOf(handedOver), "answered");
    EXPECT_EQ(written(), (Payloads{"handed over", "newer"}));
}

TEST_F(DeviceHostQueue, WhatIsInFlightIsNotReplaced)
{
    start();
    const Ticket inFlight = enqueue(QByteArray("in flight"), withKey("key"));
    nextCommand();
    enqueue(QByteArray("newer"), withKey("key"));
    EXPECT_EQ(host->pending(), 2);
    answerFromNowOn();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(seen.outcomeOf(inFlight), "answered");
}

// --- Urgency -------------------------------------------------------------------------------

TEST_F(DeviceHostQueue, UrgentCommandsLeaveBeforeAllOthersInOrderAmongThemselves)
{
    start();
    occupy();
    enqueue(QByteArray("1"));
    enqueue(QByteArray("urgent 1"), urgent());
    enqueue(QByteArray("2"));
    enqueue(QByteArray("urgent 2"), urgent());
    answerFromNowOn();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(written(), (Payloads{"first", "urgent 1", "urgent 2", "1", "2"}));
}

// --- Cancelling ----------------------------------------------------------------------------

TEST_F(DeviceHostQueue, AWaitingCommandIsCancelledOnceAndNotSent)
{
    start();
    occupy();
    const Ticket ticket = enqueue(QByteArray("cancelled"));
    enqueue(QByteArray("next"));
    EXPECT_TRUE(seen.quietly([&] { return host->cancel(ticket); }));
    EXPECT_FALSE(host->cancel(ticket));
    EXPECT_EQ(host->pending(), 2);
    answerFromNowOn();
    ASSERT_TRUE(waitForAllEnds());
    EXPECT_EQ(seen.outcomeOf(ticket), "cancelled");
    EXPECT_TRUE(seen.endOf(ticket).reason.contains("before it was sent"));
    EXPECT_EQ(written(), (Payloads{"first", "next"}));
}

TEST_F(DeviceHostQueue, ACommandThatHasBeenHandedOverIsLetThroughAndNotWritten)
{
    answerEverything();
    start();
    const Ticket ticket = enqueue(QByteArray("cancelled"));
    EXPECT_TRUE(host->cancel(ticket));
    const Ticket next = enqueue(QByteArray("next"));
    ASSERT_TRUE(waitForEnd(next));
    EXPECT_EQ(seen.outcomeOf(ticket), "cancelled");
    EXPECT_EQ(seen.endOf(ticket).attempts, 0);
    EXPECT_EQ(seen.outcomeOf(next), "answered");
    EXPECT_EQ(written(), Payloads{"next"});
}

TEST_F(DeviceHostQueue, ACommandInFlightIsCancelledTheNextGoesOutAndItsReplyIsLate)
{
    start();
    const Ticket ticket = enqueue(QByteArray("cancelled"));
    const model_Protocoldata sent = nextCommand();
    const Ticket next = enqueue(QByteArray("next"));
    EXPECT_TRUE(host->cancel(ticket));
    const model_Protocoldata nextSent = nextCommand();
    EXPECT_EQ(nextSent.baData, QByteArray("next"));
    ASSERT_EQ(waitForOutcome(ticket), "cancelled");
    EXPECT_TRUE(seen.endOf(ticket).reason.contains("after it had been sent"));

    link->reply(sent);
    ASSERT_TRUE(waitFor([&] { return seen.countFor(ticket, "late") == 1; }));
    EXPECT_FALSE(seen.hasEnded(next));
    link->reply(nextSent);
    ASSERT_TRUE(waitForEnd(next));
    EXPECT_EQ(seen.endOf(next).reply.baData, QByteArray("next"));
}

TEST_F(DeviceHostQueue, OnlyCommandsThatHaveNotEndedCanBeCancelled)
{
    answerEverything();
    start();
    const Ticket ticket = enqueue();
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_FALSE(host->cancel(ticket));
    EXPECT_FALSE(host->cancel(0));
    EXPECT_FALSE(host->cancel(ticket + 1));
    EXPECT_EQ(host->counters().cancelled, 0U);
}

TEST_F(DeviceHostQueue, ACommandThatReplacedAnotherCanBeCancelled)
{
    start();
    occupy();
    enqueue(QByteArray("older"), withKey("key"));
    const Ticket newer = enqueue(QByteArray("newer"), withKey("key"));
    EXPECT_TRUE(host->cancel(newer));
    EXPECT_EQ(host->waiting(), 0);
    EXPECT_EQ(waitForOutcome(newer), "cancelled");
}

// --- The queue's size ----------------------------------------------------------------------

TEST_F(DeviceHostQueue, TheQueueSizeIsToldOncePerTurnInWhichItChanged)
{
    for (int i = 0; i < 5; ++i) {
        enqueue();
    }
    ASSERT_TRUE(waitFor([this] { return seen.count("queueSize") > 0; }));
    QCoreApplication::processEvents();
    ASSERT_EQ(seen.count("queueSize"), 1);
    EXPECT_EQ(seen.of("queueSize").front().number, 5);

    host->clear();
    enqueue();
    ASSERT_TRUE(waitFor([this] { return seen.count("queueSize") > 1; }));
    QCoreApplication::processEvents();
    ASSERT_EQ(seen.count("queueSize"), 2);
    EXPECT_EQ(seen.of("queueSize").back().number, 1);
}

// --- One key, many values --------------------------------------------------------------------

// A slider that is dragged: the device sees the newest position soon, and no more than it can take.
TEST_F(DeviceHostQueue, OfAThousandValuesOfOneKeyTheNewestIsAlwaysSoonOnTheWire)
{
    constexpr int values = 1000;
    constexpr int periodMs = 10;
    constexpr int deviceMs = 50;
    constexpr double passesMs = 1000.0; // of the loops, and of a busy machine; values that pile up wait for 40 s
    QElapsedTimer clock;
    std::vector<double> givenAt;
    std::vector<double> staleFor; // of each write: since when a newer value had been there
    link->onCommand = [&](const model_Protocoldata &command) {
        const auto next = static_cast<std::size_t>(command.baData.toInt()) + 1;
        staleFor.push_back(next < givenAt.size() ? static_cast<double>(clock.elapsed()) - givenAt[next] : 0.0);
        QTimer::singleShot(deviceMs, Qt::PreciseTimer, link, [this, command] { link->reply(command); });
    };
    start();
    clock.start();
    QTimer pulse;
    pulse.setTimerType(Qt::PreciseTimer);
    QObject::connect(&pulse, &QTimer::timeout, &pulse, [&] {
        givenAt.push_back(static_cast<double>(clock.elapsed()));
        enqueue(QByteArray::number(static_cast<int>(givenAt.size()) - 1), withKey("position"));
        if (givenAt.size() == values) {
            pulse.stop();
        }
    });
    pulse.start(periodMs);
    ASSERT_TRUE(waitFor([&] { return givenAt.size() == values; }, 6 * values * periodMs));
    const double seconds = static_cast<double>(clock.elapsed()) / 1000.0;
    ASSERT_TRUE(waitForAllEnds());

    EXPECT_EQ(link->commands.back().baData, QByteArray::number(values - 1));
    // At most 21 a second, whatever a busy machine makes of the ten that are meant.
    EXPECT_LE(static_cast<double>(link->commands.size()), 21.0 * seconds);
    const double roundTripMs = std::max<double>(deviceMs, host->counters().roundTripMaxMs);
    EXPECT_LE(*std::max_element(staleFor.begin(), staleFor.end()), 2.0 * roundTripMs + passesMs);
    EXPECT_EQ(host->counters().superseded + host->counters().answered, static_cast<quint64>(values));
}

// --- Holding writes back --------------------------------------------------------------------

TEST_F(DeviceHostQueue, ACommandWaitsUntilItMayBeWritten)
{
    bool mayWrite = false;
    int asked = 0;
    host->setMayWrite([&] {
        ++asked;
        return mayWrite;
    });
    start();
    answerEverything();
    const Ticket first = enqueue(QByteArray("first"));
    const Ticket second = enqueue(QByteArray("second"));
    EXPECT_TRUE(waitFor([&] { return asked > 2; }));
    EXPECT_EQ(written(), Payloads());
    EXPECT_EQ(host->pending(), 2);

    mayWrite = true;
    ASSERT_TRUE(waitForEnd(first));
    ASSERT_TRUE(waitForEnd(second));
    EXPECT_EQ(written(), (Payloads{"first", "second"}));
    EXPECT_EQ(seen.outcomeOf(first), "answered");
}

TEST_F(DeviceHostQueue, AResendThatMayNotBeWrittenIsLeftOut)
{
    int asked = 0;
    host->setMayWrite([&] { return ++asked == 1; });
    start();
    const Ticket ticket = enqueue(command(shortWaitMs));
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(link->commands.size(), 1U);
    EXPECT_EQ(seen.outcomeOf(ticket), "gaveUp");
    EXPECT_EQ(asked, 2);
}

TEST_F(DeviceHostQueue, WritesThatAreHeldBackUseUpNoSequenceNumbers)
{
    constexpr int pause = 40; // questions: as many passes would use up as many numbers
    int asked = 0;
    start();
    answerEverything();
    ASSERT_TRUE(waitForEnd(enqueue(QByteArray("before"))));
    host->setMayWrite([&] { return ++asked > pause; });
    ASSERT_TRUE(waitForEnd(enqueue(QByteArray("after"))));
    const auto used = static_cast<quint8>(link->commands[1].ucHead[0] - link->commands[0].ucHead[0]);
    constexpr int takes = 2; // the one that the first no concerned, and the one that was written
    EXPECT_LE(used, takes);
}
