#include <gtest/gtest.h>

#include <device/device_commands_p.h>

using namespace biz::host;

namespace {

/** The commands of a host that hears nothing of their ends. */
class DeviceCommandsFixture : public testing::Test
{
protected:
    Ticket give()
    {
        const Ticket ticket = commands.enter(commands.lane(), {}, {}, nullptr);
        EXPECT_NE(commands.handOver(commands.lane()), nullptr);
        return ticket;
    }

    /** A command that is in flight under a sequence byte. */
    Ticket inFlight(quint8 sequence, bool closedGate = true)
    {
        const Ticket ticket = give();
        model_Protocoldata record;
        record.ucHead[0] = sequence;
        commands.markInFlight(*commands.find(ticket), record, closedGate);
        return ticket;
    }

    void end(Ticket ticket, Outcome outcome) { commands.end(*commands.find(ticket), outcome, QStringLiteral("why")); }

    Outbox outbox{nullptr};
    TicketSource tickets;
    DeviceCommands commands{nullptr, &outbox, &tickets};
};

} // namespace

TEST_F(DeviceCommandsFixture, ACommandInFlightIsFoundByItsSequenceByte)
{
    const Ticket ticket = inFlight(200);
    ASSERT_NE(commands.inFlight(200), nullptr);
    EXPECT_EQ(commands.inFlight(200)->ticket, ticket);
    EXPECT_EQ(commands.inFlight(200)->record.ucHead[0], 200);
    EXPECT_EQ(commands.inFlight(201), nullptr);
    ASSERT_NE(commands.gated(), nullptr);
    EXPECT_EQ(commands.gated()->ticket, ticket);
}

TEST_F(DeviceCommandsFixture, ACommandWithoutAGateIsNotTheGatedOne)
{
    inFlight(1, false);
    EXPECT_EQ(commands.gated(), nullptr);
    EXPECT_EQ(commands.allInFlight().size(), 1U);
}

TEST_F(DeviceCommandsFixture, WhatHasBeenHandedOverIsNotInFlightBeforeItIsTaken)
{
    give();
    EXPECT_TRUE(commands.allInFlight().empty());
    EXPECT_EQ(commands.active().size(), 1U);
    EXPECT_EQ(commands.waiting(), 1);
}

TEST_F(DeviceCommandsFixture, AnEndedCommandIsRememberedUnderItsSequenceByte)
{
    EXPECT_EQ(commands.lastEnded(9).ticket, 0U);
    const Ticket ticket = inFlight(9);
    end(ticket, Outcome::GaveUp);
    EXPECT_EQ(commands.find(ticket), nullptr);
    EXPECT_EQ(commands.inFlight(9), nullptr);
    EXPECT_EQ(commands.gated(), nullptr);
    EXPECT_EQ(commands.lastEnded(9).ticket, ticket);
    EXPECT_EQ(commands.lastEnded(9).outcome, Outcome::GaveUp);
    EXPECT_EQ(commands.latestEnded().ticket, ticket);
    EXPECT_EQ(commands.pending(), 0);
}

TEST_F(DeviceCommandsFixture, ACommandThatWasNeverTakenLeavesNoMemory)
{
    end(give(), Outcome::Cleared);
    EXPECT_EQ(commands.lastEnded(0).ticket, 0U);
    EXPECT_EQ(commands.latestEnded().ticket, 0U);
}

TEST_F(DeviceCommandsFixture, AReusedSequenceByteReleasesTheOlderCommandAndStaysWithTheNewer)
{
    const Ticket older = inFlight(3, false);
    const Ticket newer = inFlight(3, false);
    EXPECT_EQ(commands.find(older), nullptr);
    EXPECT_EQ(commands.lastEnded(3).ticket, older);
    EXPECT_EQ(commands.lastEnded(3).outcome, Outcome::Released);
    ASSERT_NE(commands.inFlight(3), nullptr);
    EXPECT_EQ(commands.inFlight(3)->ticket, newer);
}

TEST_F(DeviceCommandsFixture, ACommandThatWaitsAgainIsNeitherGatedNorInFlight)
{
    const Ticket ticket = inFlight(7);
    commands.putBack(*commands.find(ticket));
    EXPECT_EQ(commands.waiting(), 1);
    EXPECT_EQ(commands.gated(), nullptr);

    // Nor is it once it has been handed over anew: the channel has yet to take it.
    ASSERT_NE(commands.handOver(commands.lane()), nullptr);
    EXPECT_EQ(commands.gated(), nullptr);
    EXPECT_EQ(commands.inFlight(7), nullptr);
}

// What was never taken has the sequence byte that its record came with, which may be in use.
TEST_F(DeviceCommandsFixture, ACommandThatWaitsAgainFreesTheSequenceByteOfNoOther)
{
    constexpr quint8 ofNewRecords = 0;
    const Ticket taken = inFlight(ofNewRecords, false);
    commands.putBack(*commands.find(give()));
    ASSERT_NE(commands.inFlight(ofNewRecords), nullptr);
    EXPECT_EQ(commands.inFlight(ofNewRecords)->ticket, taken);
}

TEST_F(DeviceCommandsFixture, OnlyWhatWasWrittenAndHeardNothingIsToldAsUnanswered)
{
    int unanswered = 0;
    commands.setWhenUnanswered([&] { ++unanswered; });
    end(inFlight(1), Outcome::Cancelled);
    EXPECT_EQ(unanswered, 0);

    const Ticket answered = inFlight(2);
    commands.find(answered)->isWritten = true;
    commands.endAnswered(*commands.find(answered), {}, Clock::now());
    EXPECT_EQ(unanswered, 0);

    const Ticket silent = inFlight(3);
    commands.find(silent)->isWritten = true;
    end(silent, Outcome::GaveUp);
    EXPECT_EQ(unanswered, 1);
}

TEST_F(DeviceCommandsFixture, TheEndOfAllSaysOfEachWhetherItHadBeenSent)
{
    inFlight(1);
    commands.find(inFlight(2, false))->isWritten = true;
    give();
    commands.enter(commands.lane(), {}, {}, nullptr);
    EXPECT_EQ(commands.endAll(Outcome::Cleared, {QStringLiteral("sent"), QStringLiteral("not sent")}), 4);
    EXPECT_EQ(commands.pending(), 0);
    EXPECT_EQ(commands.waiting(), 0);
    EXPECT_EQ(commands.statistics().totals().cleared, 4U);
}
