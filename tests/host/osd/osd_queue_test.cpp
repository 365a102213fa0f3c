#include <atomic>

#include <QtCore/QElapsedTimer>

#include "osd_host_fixture.h"
#include <host/support/thread_sanitizer.h>

using namespace biz::host;
using namespace biz::test;

namespace {

class OsdQueue : public OsdHostFixture
{
};

CommandOptions urgent()
{
    CommandOptions options;
    options.urgent = true;
    return options;
}

CommandOptions withKey(const QString &key)
{
    CommandOptions options;
    options.replaceKey = key;
    return options;
}

CommandOptions validFor(int milliseconds)
{
    CommandOptions options;
    options.validFor = std::chrono::milliseconds(milliseconds);
    return options;
}

} // namespace

// --- Cancel ---------------------------------------------------------------------------

TEST_F(OsdQueue, ACommandThatWaitsIsCancelledAndNotWritten)
{
    PlayedDevice &one = device(1);
    start();
    occupy(one);
    const Ticket waiting = enqueue(one, answeredWaitMs, "cancelled");
    EXPECT_TRUE(host->cancel(waiting));
    EXPECT_EQ(waitForOutcome(waiting), "cancelled");
    EXPECT_TRUE(reasonOf(waiting).contains("before it was sent")) << reasonOf(waiting).toStdString();
    one.answers = true;
    one.reply(one.commands.back());
    ASSERT_TRUE(waitForEnd(enqueue(one, answeredWaitMs, "next")));
    EXPECT_EQ(one.payloads(), (QByteArrayList{"occupying", "next"}));
}

TEST_F(OsdQueue, ACommandOfAStoppedHostIsCancelled)
{
    const Ticket waiting = enqueue(device(1));
    EXPECT_TRUE(host->cancel(waiting));
    EXPECT_EQ(waitForOutcome(waiting), "cancelled");
}

// The channel has been handed it, and has perhaps announced it already.
TEST_F(OsdQueue, ACommandThatWasHandedOverIsCancelledAndNotWritten)
{
    constexpr int rounds = 20;
    PlayedDevice &one = device(1);
    start();
    for (int round = 0; round < rounds; ++round) {
        const Ticket handedOver = enqueue(one, endlessWaitMs, "cancelled");
        keepThreadBusy(round % 2 == 0 ? 0 : 10);
        EXPECT_TRUE(host->cancel(handedOver));
        const Ticket next = enqueue(one, answeredWaitMs, "next");
        ASSERT_TRUE(waitForEnd(next));
        EXPECT_EQ(outcomeOf(handedOver), "cancelled");
        EXPECT_TRUE(reasonOf(handedOver).contains("before it was sent"));
        EXPECT_EQ(outcomeOf(next), "answered");
    }
    EXPECT_FALSE(one.payloads().contains("cancelled"));
}

TEST_F(OsdQueue, ACommandInFlightIsCancelledItsReplyIsLateAndTheNextLeavesAtOnce)
{
    PlayedDevice &one = device(1);
    start();
    const Ticket inFlight = occupy(one);
    const Ticket next = enqueue(one, endlessWaitMs, "next");
    EXPECT_TRUE(host->cancel(inFlight));
    one.reply(one.commands.back());
    ASSERT_TRUE(waitFor([this] { return count("late") == 1; }));
    EXPECT_EQ(first("late").ticket, inFlight);
    EXPECT_EQ(outcomeOf(inFlight), "cancelled");
    EXPECT_TRUE(reasonOf(inFlight).contains("after it had been sent")) << reasonOf(inFlight).toStdString();
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 2; }));
    EXPECT_EQ(ends.count(next), 0U);
}

TEST_F(OsdQueue, WhatHasEndedOrNeverWasIsNotCancelled)
{
    PlayedDevice &one = device(1);
    start();
    const Ticket ticket = enqueue(one);
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_FALSE(host->cancel(ticket));
    EXPECT_FALSE(host->cancel(0));
    EXPECT_FALSE(host->cancel(ticket + 1));
    EXPECT_EQ(host->counters().cancelled, 0U);
}

// --- Replace keys -----------------------------------------------------------------------

TEST_F(OsdQueue, OfCommandsWithOneKeyTheNewestTakesThePlaceOfTheOneThatWaits)
{
    PlayedDevice &one = device(1);
    start();
    occupy(one);
    const Ticket older = enqueue(one, "older", withKey("brightness"));
    enqueue(one, "between", {});
    const Ticket newer = enqueue(one, "newer", withKey("brightness"));
    ASSERT_EQ(waitForOutcome(older), "superseded");
    EXPECT_EQ(ends[older].front().supersededBy, newer);
    one.answers = true;
    one.reply(one.commands.back());
    ASSERT_TRUE(waitForEnd(newer));
    ASSERT_TRUE(waitFor([&] { return ends.size() == given.size(); }));
    EXPECT_EQ(one.payloads(), (QByteArrayList{"occupying", "newer", "between"}));
}

TEST_F(OsdQueue, EachDeviceHasKeysOfItsOwn)
{
    PlayedDevice &one = device(1);
    PlayedDevice &other = device(2);
    start();
    occupy(one);
    occupy(other);
    const Ticket ofOne = enqueue(one, "x", withKey("brightness"));
    const Ticket ofOther = enqueue(other, "x", withKey("brightness"));
    EXPECT_EQ(host->counters().superseded, 0U);
    EXPECT_EQ(host->waiting(), 2);
    EXPECT_EQ(ends.count(ofOne) + ends.count(ofOther), 0U);
}

TEST_F(OsdQueue, WhatIsInFlightIsNotReplaced)
{
    PlayedDevice &one = device(1);
    one.answers = false;
    start();
    const Ticket inFlight = enqueue(one, "in flight", withKey("brightness"));
    ASSERT_TRUE(waitFor([&] { return one.commands.size() == 1; }));
    enqueue(one, "newer", withKey("brightness"));
    one.reply(one.commands.back());
    EXPECT_EQ(waitForOutcome(inFlight), "answered");
}

// --- Urgency ------------------------------------------------------------------------------

TEST_F(OsdQueue, UrgentCommandsLeaveBeforeTheOthersInOrder)
{
    PlayedDevice &one = device(1);
    start();
    occupy(one);
    enqueue(one, "a", {});
    enqueue(one, "b", urgent());
    enqueue(one, "c", {});
    enqueue(one, "d", urgent());
    one.answers = true;
    one.reply(one.commands.back());
    ASSERT_TRUE(waitFor([&] { return ends.size() == given.size(); }));
    EXPECT_EQ(one.payloads(), (QByteArrayList{"occupying", "b", "d", "a", "c"}));
}

// --- Validity --------------------------------------------------------------------------------

TEST_F(OsdQueue, ACommandWhoseTimeHasPassedIsNotWritten)
{
    PlayedDevice &one = device(1);
    start();
    occupy(one);
    const Ticket expired = enqueue(one, "expired", validFor(1));
    const Ticket valid = enqueue(one, "valid", validFor(endlessWaitMs));
    keepThreadBusy(2);
    one.answers = true;
    one.reply(one.commands.back());
    ASSERT_TRUE(waitForEnd(valid));
    EXPECT_EQ(outcomeOf(expired), "expired");
    EXPECT_EQ(outcomeOf(valid), "answered");
    EXPECT_EQ(one.payloads(), (QByteArrayList{"occupying", "valid"}));
}

TEST_F(OsdQueue, ValidityIsLookedAtWhenTheCommandIsToBeWritten)
{
    constexpr int validMs = 20;
    PlayedDevice &one = device(1);
    start();
    const Ticket expired = enqueue(one, "expired", validFor(validMs));
    keepThreadBusy(2 * validMs); // it is announced meanwhile
    const Ticket next = enqueue(one, answeredWaitMs, "next");
    ASSERT_TRUE(waitForEnd(next));
    EXPECT_EQ(outcomeOf(expired), "expired");
    EXPECT_EQ(one.payloads(), QByteArrayList{"next"});
}

// --- Callbacks ----------------------------------------------------------------------------------

TEST_F(OsdQueue, ACallbackHearsTheEndOfItsCommandBeforeEnded)
{
    PlayedDevice &one = device(1);
    QObject context;
    int endedBefore = -1;
    OsdCommandResult heard;
    const Ticket ticket =
        host->enqueue(command(one.ip, answeredWaitMs), {}, &context, [&](Ticket, const OsdCommandResult &result) {
            endedBefore = count("ended");
            heard = result;
        });
    given.insert(ticket);
    start();
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_EQ(endedBefore, 0);
    EXPECT_EQ(heard.outcome, Outcome::Answered);
    EXPECT_EQ(heard.ip, one.ip);
}

TEST_F(OsdQueue, ACallbackWhoseContextIsGoneIsNotCalled)
{
    bool isCalled = false;
    auto context = std::make_unique<QObject>();
    const Ticket ticket = host->enqueue(command(device(1).ip, answeredWaitMs), {}, context.get(),
                                        [&](Ticket, const OsdCommandResult &) { isCalled = true; });
    given.insert(ticket);
    context.reset();
    start();
    ASSERT_TRUE(waitForEnd(ticket));
    EXPECT_FALSE(isCalled);
}

TEST_F(OsdQueue, ACallbackRunsOnTheThreadOfItsContext)
{
    if (isUnderThreadSanitizer) {
        GTEST_SKIP() << "Qt hands the call from thread to thread under locks that the sanitizer does not see";
    }
    QThread thread;
    QObject context;
    context.moveToThread(&thread);
    thread.start();
    std::atomic<QThread *> ranOn{nullptr};
    given.insert(host->enqueue(command(device(1).ip, answeredWaitMs), {}, &context,
                               [&](Ticket, const OsdCommandResult &) { ranOn = QThread::currentThread(); }));
    start();
    EXPECT_TRUE(waitFor([&] { return ranOn.load() != nullptr; }));
    EXPECT_EQ(ranOn, &thread);
    thread.quit();
    thread.wait();
}

// --- Clears ------------------------------------------------------------------------------------------

TEST_F(OsdQueue, EndsAreToldOnePerEventInBetweenOtherEvents)
{
    constexpr int commands = 5;
    PlayedDevice &one = device(1);
    start();
    occupy(one);
    for (int i = 0; i < commands; ++i) {
        enqueue(one);
    }
    int otherEvents = 0;
    QTimer otherWork; // ready whenever the event loop is
    QObject::connect(&otherWork, &QTimer::timeout, [&otherEvents] { ++otherEvents; });
    otherWork.start(0);
    int seenAtLastEnd = -1;
    int endsWithoutAnotherBetween = 0;
    onSignal = [&](const Event &event) {
        if (event.signal == "ended") {
            endsWithoutAnotherBetween += otherEvents == seenAtLastEnd ? 1 : 0;
            seenAtLastEnd = otherEvents;
        }
    };
    host->clear();
    ASSERT_TRUE(waitFor([&] { return ends.size() == given.size(); }));
    EXPECT_EQ(endsWithoutAnotherBetween, 0);
}

TEST_F(OsdQueue, AClearTakesNoLongerTheMoreCommandsWait)
{
    constexpr int commands = 100000;
    constexpr int atOnceMs = 50;
    PlayedDevice &one = device(1);
    start();
    occupy(one);
    for (int i = 0; i < commands; ++i) {
        enqueue(one);
    }
    QElapsedTimer clock;
    clock.start();
    host->clear();
    EXPECT_LT(clock.elapsed(), atOnceMs);
    EXPECT_EQ(host->pending(), 0);
    constexpr int toldMs = 120000;
    ASSERT_TRUE(waitFor([&] { return ends.size() == given.size(); }, toldMs));
    EXPECT_EQ(host->counters().cleared, static_cast<quint64>(commands) + 1);
}
