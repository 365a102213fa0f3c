#include <limits>

#include <gtest/gtest.h>

#include <device/device_tickets_p.h>

using namespace biz::host;

namespace {

constexpr Ticket lastTag = std::numeric_limits<quint32>::max();

/** A command that is in flight under a sequence byte. */
Ticket inFlight(DeviceTickets *tickets, quint8 sequence, bool gated = true)
{
    const Ticket ticket = tickets->add({});
    tickets->markInFlight(*tickets->find(ticket), sequence, gated);
    return ticket;
}

} // namespace

TEST(DeviceTickets, ANewCommandWaits)
{
    DeviceTickets tickets;
    model_Protocoldata record;
    record.iWaitTime = 7;
    const Ticket ticket = tickets.add(record);
    EXPECT_NE(ticket, 0U);
    EXPECT_EQ(tickets.waiting(), 1);
    EXPECT_EQ(tickets.pending(), 1);
    ASSERT_NE(tickets.find(ticket), nullptr);
    EXPECT_EQ(tickets.find(ticket)->attempts, 0);
    EXPECT_EQ(tickets.find(ticket)->record.iWaitTime, 7);
    EXPECT_EQ(tickets.gatedInFlight(), nullptr);
}

TEST(DeviceTickets, ACommandInFlightIsFoundByItsSequenceByte)
{
    DeviceTickets tickets;
    const Ticket ticket = inFlight(&tickets, 200);
    EXPECT_EQ(tickets.waiting(), 0);
    EXPECT_EQ(tickets.pending(), 1);
    ASSERT_NE(tickets.inFlight(200), nullptr);
    EXPECT_EQ(tickets.inFlight(200)->ticket, ticket);
    EXPECT_EQ(tickets.inFlight(200)->record.ucHead[0], 200);
    EXPECT_EQ(tickets.inFlight(201), nullptr);
    EXPECT_EQ(tickets.gatedInFlight(), tickets.find(ticket));
}

TEST(DeviceTickets, ACommandWithoutAGateIsNotTheGatedOne)
{
    DeviceTickets tickets;
    inFlight(&tickets, 1, false);
    EXPECT_EQ(tickets.gatedInFlight(), nullptr);
    EXPECT_EQ(tickets.allInFlight().size(), 1U);
}

TEST(DeviceTickets, AnEndedCommandIsRememberedUnderItsSequenceByte)
{
    DeviceTickets tickets;
    EXPECT_EQ(tickets.lastEnded(9).ticket, 0U);
    const Ticket ticket = inFlight(&tickets, 9);
    tickets.end(ticket, Outcome::GaveUp);
    EXPECT_EQ(tickets.find(ticket), nullptr);
    EXPECT_EQ(tickets.inFlight(9), nullptr);
    EXPECT_EQ(tickets.gatedInFlight(), nullptr);
    EXPECT_EQ(tickets.lastEnded(9).ticket, ticket);
    EXPECT_EQ(tickets.lastEnded(9).outcome, Outcome::GaveUp);
    EXPECT_EQ(tickets.pending(), 0);
}

TEST(DeviceTickets, ACommandThatWasNeverSentLeavesNoMemory)
{
    DeviceTickets tickets;
    const Ticket ticket = tickets.add({});
    tickets.end(ticket, Outcome::Cleared);
    EXPECT_EQ(tickets.waiting(), 0);
    EXPECT_EQ(tickets.lastEnded(0).ticket, 0U);
}

TEST(DeviceTickets, AReusedSequenceByteNamesTheOlderCommandAndStaysWithTheNewer)
{
    DeviceTickets tickets;
    const Ticket older = inFlight(&tickets, 3, false);
    const Ticket newer = tickets.add({});
    EXPECT_EQ(tickets.markInFlight(*tickets.find(newer), 3, false), older);
    tickets.end(older, Outcome::Released);
    ASSERT_NE(tickets.inFlight(3), nullptr);
    EXPECT_EQ(tickets.inFlight(3)->ticket, newer);
}

TEST(DeviceTickets, ASecondEndOfOneCommandChangesNothing)
{
    DeviceTickets tickets;
    const Ticket ticket = inFlight(&tickets, 4);
    tickets.end(ticket, Outcome::Answered);
    tickets.end(ticket, Outcome::Stopped);
    EXPECT_EQ(tickets.lastEnded(4).outcome, Outcome::Answered);
    EXPECT_EQ(tickets.waiting(), 0);
}

TEST(DeviceTickets, AllAreNamedOldestFirst)
{
    DeviceTickets tickets;
    const Ticket first = tickets.add({});
    const Ticket second = tickets.add({});
    const Ticket third = tickets.add({});
    tickets.end(second, Outcome::Cleared);
    EXPECT_EQ(tickets.all(), (std::vector<Ticket>{first, third}));
}

// The channel carries 32 bits of a ticket, of which 0 says that there is none.
TEST(DeviceTickets, NoTicketHasTheTagThatStandsForNone)
{
    DeviceTickets tickets(lastTag - 1);
    const Ticket last = tickets.add({});
    const Ticket afterTheWrap = tickets.add({});
    EXPECT_EQ(DeviceTickets::tagOf(last), lastTag);
    EXPECT_EQ(DeviceTickets::tagOf(afterTheWrap), 1U);
    EXPECT_GT(afterTheWrap, last);
    EXPECT_EQ(tickets.gatedInFlight(), nullptr);
    EXPECT_EQ(tickets.inFlight(0), nullptr);
}
