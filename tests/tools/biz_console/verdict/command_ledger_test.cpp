#include <gtest/gtest.h>

#include <biz_console/verdict/command_ledger.h>

using namespace biz::console;
using biz::host::EventKind;
using biz::host::Outcome;

namespace {

Expectation expecting(Outcome outcome, Events events = {})
{
    Expectation expected;
    expected.outcome = outcome;
    expected.events = events;
    return expected;
}

std::string only(const QStringList &lines)
{
    return lines.size() == 1 ? lines.first().toStdString() : std::to_string(lines.size()) + " lines";
}

TEST(ConsoleLedger, AnAnsweredCommandIsAsExpectedByDefault)
{
    CommandLedger ledger;
    ledger.setTotal(1);
    ledger.add(1, "get volume", {}, Expectation());
    ledger.note(1, EventKind::Sent);
    EXPECT_FALSE(ledger.allAsExpected());
    EXPECT_EQ(ledger.pending(), 1);

    ledger.end(1, Outcome::Answered, {});

    EXPECT_TRUE(ledger.allAsExpected());
    EXPECT_EQ(ledger.pending(), 0);
    EXPECT_TRUE(ledger.mismatches().isEmpty());
}

TEST(ConsoleLedger, ASecondEndEndsNoOtherCommand)
{
    CommandLedger ledger;
    ledger.setTotal(2);
    ledger.add(1, "get volume", {}, Expectation());
    ledger.add(2, "get volume", {}, Expectation());
    ledger.end(1, Outcome::Answered, {});
    ledger.end(1, Outcome::Answered, {});
    EXPECT_EQ(ledger.pending(), 1);
}

TEST(ConsoleLedger, AnotherOutcomeIsAMismatchWithItsReason)
{
    CommandLedger ledger;
    ledger.add(1, "get volume", "2 of 3", Expectation());
    ledger.note(1, EventKind::Resent);
    ledger.end(1, Outcome::GaveUp, "no reply came");
    EXPECT_FALSE(ledger.allAsExpected());
    EXPECT_EQ(only(ledger.mismatches()), "get volume (2 of 3): expected answered without events, was gaveUp with "
                                         "resent (no reply came)");
}

TEST(ConsoleLedger, AnEventMoreThanExpectedIsAMismatch)
{
    CommandLedger ledger;
    ledger.add(1, "get volume", {}, Expectation());
    ledger.note(1, EventKind::Rejected, "length 3, not 4");
    ledger.note(1, EventKind::Resent);
    ledger.end(1, Outcome::Answered, {});
    EXPECT_EQ(only(ledger.mismatches()), "get volume: expected answered without events, was answered with resent, "
                                         "rejected (length 3, not 4)");
}

TEST(ConsoleLedger, AnEventLessThanExpectedIsAMismatch)
{
    CommandLedger ledger;
    ledger.add(1, "get volume", {}, expecting(Outcome::Answered, {EventKind::Resent}));
    ledger.end(1, Outcome::Answered, {});
    EXPECT_EQ(only(ledger.mismatches()), "get volume: expected answered with resent, was answered without events");
}

TEST(ConsoleLedger, ACommandThatNeverEndedIsAMismatch)
{
    CommandLedger ledger;
    ledger.add(1, "get volume", {}, Expectation());
    EXPECT_EQ(only(ledger.mismatches()), "get volume: expected answered without events, did not end");
}

TEST(ConsoleLedger, AwaitsLateRepliesFromTheEndOfTheCommandOn)
{
    CommandLedger ledger;
    ledger.add(1, "get volume", {}, expecting(Outcome::GaveUp, {EventKind::Late}));
    EXPECT_FALSE(ledger.awaitsEvents());
    ledger.end(1, Outcome::GaveUp, {});
    EXPECT_TRUE(ledger.awaitsEvents());
    ledger.note(1, EventKind::Late);
    EXPECT_FALSE(ledger.awaitsEvents());
    EXPECT_TRUE(ledger.allAsExpected());
}

TEST(ConsoleLedger, AResendThatIsMissingAtTheEndIsNotAwaited)
{
    CommandLedger ledger;
    ledger.add(1, "get volume", {}, expecting(Outcome::Answered, {EventKind::Resent}));
    ledger.end(1, Outcome::Answered, {});
    EXPECT_FALSE(ledger.awaitsEvents());
}

TEST(ConsoleLedger, StoppedCommandsAreListedOnceByNameAndAreNoMismatch)
{
    CommandLedger ledger;
    for (biz::host::Ticket ticket = 1; ticket <= 3; ++ticket) {
        ledger.add(ticket, ticket == 3 ? "get source" : "get volume", {}, Expectation());
        ledger.end(ticket, Outcome::Stopped, "the host was stopped");
    }
    EXPECT_EQ(ledger.stoppedCommands(), QStringList({"get volume (2 times)", "get source"}));
    EXPECT_TRUE(ledger.mismatches().isEmpty());
    EXPECT_FALSE(ledger.allAsExpected());
}

TEST(ConsoleLedger, WhatNeverReachedTheHostIsListedWithTheStopped)
{
    CommandLedger ledger;
    ledger.setTotal(9);
    ledger.add(1, "get volume", "1 of 5", Expectation());
    ledger.stopRest("the host was stopped");
    ledger.addNeverGiven("get volume", 4);
    ledger.addNeverGiven("get source", 4);
    EXPECT_EQ(ledger.pending(), 0);
    EXPECT_EQ(ledger.stoppedCommands(), QStringList({"get volume (5 times)", "get source (4 times)"}));
    EXPECT_FALSE(ledger.allAsExpected());
    EXPECT_TRUE(ledger.mismatches().isEmpty());
}

TEST(ConsoleLedger, ARunThatNeverGaveACommandIsNotAsExpectedThoughAllThatItGaveAre)
{
    CommandLedger ledger;
    ledger.setTotal(2);
    ledger.add(1, "get volume", {}, Expectation());
    ledger.end(1, Outcome::Answered, {});
    EXPECT_TRUE(ledger.allAsExpected());
    ledger.addNeverGiven("get source", 1);
    EXPECT_FALSE(ledger.allAsExpected());
}

TEST(ConsoleLedger, UnknownTicketsChangeNothing)
{
    CommandLedger ledger;
    ledger.note(7, EventKind::Late);
    ledger.end(7, Outcome::Answered, {});
    EXPECT_EQ(ledger.given(), 0);
    EXPECT_EQ(ledger.pending(), 0);
    EXPECT_EQ(ledger.find(7), nullptr);
}

TEST(ConsoleLedger, AMillionCommandsThatEndAsExpectedAreCountedAndForgotten)
{
    CommandLedger ledger;
    ledger.setTotal(1'000'000);
    for (biz::host::Ticket ticket = 1; ticket <= 1'000'000; ++ticket) {
        ledger.add(ticket, "get volume", {}, Expectation());
        ledger.end(ticket, Outcome::Answered, {});
    }
    EXPECT_EQ(ledger.given(), 1'000'000);
    EXPECT_EQ(ledger.pending(), 0);
    EXPECT_TRUE(ledger.allAsExpected());
    EXPECT_EQ(ledger.find(1), nullptr);
    EXPECT_NE(ledger.find(1'000'000), nullptr);
}

TEST(ConsoleLedger, MismatchesAreRememberedWhateverCameAfterThem)
{
    CommandLedger ledger;
    ledger.setTotal(100);
    ledger.remember(10);
    for (biz::host::Ticket ticket = 1; ticket <= 100; ++ticket) {
        ledger.add(ticket, "get volume", {}, Expectation());
        ledger.end(ticket, ticket == 1 ? Outcome::GaveUp : Outcome::Answered, {});
    }
    EXPECT_FALSE(ledger.allAsExpected());
    EXPECT_EQ(ledger.mismatchCount(), 1);
    EXPECT_EQ(only(ledger.mismatches()), "get volume: expected answered without events, was gaveUp without events");
}

TEST(ConsoleLedger, OfTooManyMismatchesTheRestIsCounted)
{
    CommandLedger ledger;
    ledger.setTotal(3000);
    ledger.remember(10);
    for (biz::host::Ticket ticket = 1; ticket <= 3000; ++ticket) {
        ledger.add(ticket, "get volume", {}, Expectation());
        ledger.end(ticket, Outcome::GaveUp, {});
    }
    EXPECT_EQ(ledger.mismatchCount(), 3000);
    EXPECT_EQ(ledger.mismatches().size(), 1011);
    EXPECT_EQ(ledger.mismatches().last().toStdString(), "and 1990 commands more");
}

TEST(ConsoleLedger, AForgottenCommandThatAwaitedAnEventIsAwaitedNoMore)
{
    CommandLedger ledger;
    ledger.setTotal(3000);
    ledger.remember(10);
    for (biz::host::Ticket ticket = 1; ticket <= 3000; ++ticket) {
        ledger.add(ticket, "get volume", {},
                   expecting(Outcome::GaveUp, ticket <= 2000 ? Events{EventKind::Late} : Events()));
        ledger.end(ticket, Outcome::GaveUp, {});
    }
    for (biz::host::Ticket ticket = 1; ticket <= 1000; ++ticket) {
        EXPECT_TRUE(ledger.awaitsEvents());
        ledger.note(ticket, EventKind::Late);
    }
    EXPECT_FALSE(ledger.awaitsEvents());
}

} // namespace
