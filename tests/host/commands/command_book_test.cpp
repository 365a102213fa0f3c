#include <limits>
#include <map>

#include <gtest/gtest.h>

#include <commands/command_book_p.h>
#include <host/support/wait_for.h>

using namespace biz::host;
using namespace biz::test;

namespace {

/** Stands for a host: hears the ends. */
struct Listener
{
    // As the signal that it stands for.
    void ended(Ticket ticket, const CommandResult &result)
    {
        order.push_back(ticket);
        ends[ticket] = result;
    }

    std::vector<Ticket> order;
    std::map<Ticket, CommandResult> ends;
};

using BookCommand = Command<model_Protocoldata, CommandResult>;
using Book = CommandBook<Listener, BookCommand>;

class CommandBookFixture : public testing::Test
{
protected:
    Ticket enter(const CommandOptions &options = {}) { return book.enter(lane, {}, options, nullptr); }

    static CommandOptions withKey(const char *key)
    {
        CommandOptions options;
        options.replaceKey = QString::fromLatin1(key);
        return options;
    }

    /** Hands the next one over, as taken by the channel. */
    BookCommand &take()
    {
        BookCommand *const command = book.handOver(lane);
        EXPECT_NE(command, nullptr);
        book.noteTaken(*command);
        return *command;
    }

    bool waitForEnds(std::size_t count)
    {
        return waitFor([&] { return listener.order.size() >= count; });
    }

    Listener listener;
    Outbox outbox{nullptr};
    TicketSource tickets;
    std::vector<Ticket> endedNow; ///< as the book's owner hears of them
    Book book{&listener, &outbox, &tickets, [this](const BookCommand &command, Outcome /*outcome*/) {
                  endedNow.push_back(command.ticket);
              }};
    Statistics share;
    Book::Lane lane{{}, 0, 0, &share};
};

} // namespace

TEST_F(CommandBookFixture, ANewCommandWaits)
{
    model_Protocoldata record;
    record.iWaitTime = 7;
    const Ticket ticket = book.enter(lane, record, {}, nullptr);
    EXPECT_NE(ticket, 0U);
    EXPECT_EQ(book.waiting(), 1);
    EXPECT_EQ(book.pending(), 1);
    EXPECT_EQ(book.find(ticket), nullptr) << "the channel has not got it";
    EXPECT_EQ(book.statistics().totals().enqueued, 1U);
    EXPECT_EQ(book.statistics().totals().queueLength, 1);
}

TEST_F(CommandBookFixture, ACommandWaitsUntilTheChannelTakesIt)
{
    const Ticket ticket = enter();
    BookCommand *const command = book.handOver(lane);
    ASSERT_NE(command, nullptr);
    EXPECT_EQ(book.find(ticket), command);
    EXPECT_EQ(book.waiting(), 1);
    book.noteTaken(*command);
    EXPECT_EQ(book.waiting(), 0);
    EXPECT_EQ(book.pending(), 1);
    EXPECT_EQ(lane.pending(), 1);
}

TEST_F(CommandBookFixture, AnEndIsToldOnceFromTheEventLoopWithReasonAndHistory)
{
    const Ticket ticket = enter();
    book.end(take(), Outcome::Cancelled, QStringLiteral("why"));
    EXPECT_TRUE(listener.order.empty());
    EXPECT_EQ(endedNow, std::vector<Ticket>{ticket});
    EXPECT_EQ(book.pending(), 0);
    ASSERT_TRUE(waitForEnds(1));
    QCoreApplication::processEvents();
    EXPECT_EQ(listener.order, std::vector<Ticket>{ticket});
    EXPECT_EQ(listener.ends[ticket].outcome, Outcome::Cancelled);
    EXPECT_EQ(listener.ends[ticket].reason, QStringLiteral("why"));
    EXPECT_EQ(listener.ends[ticket].history.last().text, QStringLiteral("cancelled: why"));
}

TEST_F(CommandBookFixture, ASupersededCommandNamesTheNewerOne)
{
    const Ticket older = enter(withKey("key"));
    const Ticket newer = enter(withKey("key"));
    ASSERT_TRUE(waitForEnds(1));
    EXPECT_EQ(listener.ends[older].outcome, Outcome::Superseded);
    EXPECT_EQ(listener.ends[older].supersededBy, newer);
    EXPECT_EQ(book.waiting(), 1);
    EXPECT_EQ(share.superseded, 1U);
}

TEST_F(CommandBookFixture, WhatHasBeenHandedOverIsNotReplaced)
{
    enter(withKey("key"));
    ASSERT_NE(book.handOver(lane), nullptr);
    enter(withKey("key"));
    EXPECT_EQ(book.pending(), 2);
    EXPECT_EQ(book.statistics().totals().superseded, 0U);
}

TEST_F(CommandBookFixture, WhatIsPutBackIsSupersededByANewerOneOfItsKey)
{
    const Ticket older = enter(withKey("key"));
    BookCommand &taken = take();
    const Ticket newer = enter(withKey("key"));
    book.putBack(taken);
    ASSERT_TRUE(waitForEnds(1));
    EXPECT_EQ(listener.ends[older].supersededBy, newer);
    EXPECT_EQ(book.waiting(), 1);
    EXPECT_EQ(book.pending(), 1);
}

TEST_F(CommandBookFixture, WhatIsPutBackWaitsAgainInFront)
{
    const Ticket first = enter();
    enter();
    book.putBack(take());
    EXPECT_EQ(book.waiting(), 2);
    EXPECT_EQ(book.pending(), 2);
    EXPECT_EQ(book.find(first), nullptr);
    EXPECT_EQ(take().ticket, first);
    EXPECT_EQ(book.find(first)->attempts, 0);
}

TEST_F(CommandBookFixture, ExpiredCommandsEndWhenTheyWouldBeHandedOver)
{
    CommandOptions options;
    options.validFor = std::chrono::milliseconds(1);
    const Ticket expired = enter(options);
    const Ticket endless = enter();
    const TimePoint before = Clock::now();
    ASSERT_TRUE(waitFor([&] { return Clock::now() - before > options.validFor; }));
    EXPECT_TRUE(listener.order.empty());
    EXPECT_EQ(take().ticket, endless);
    EXPECT_EQ(book.waiting(), 0);
    EXPECT_EQ(book.pending(), 1);
    ASSERT_TRUE(waitForEnds(1));
    EXPECT_EQ(listener.ends[expired].outcome, Outcome::Expired);
}

TEST_F(CommandBookFixture, ACommandHasExpiredOnceItsValidityHasPassed)
{
    using std::chrono::milliseconds;
    BookCommand command;
    command.options.validFor = milliseconds(5);
    EXPECT_FALSE(command.isExpired(command.history.enqueuedAt() + milliseconds(4)));
    EXPECT_TRUE(command.isExpired(command.history.enqueuedAt() + milliseconds(5)));
}

TEST_F(CommandBookFixture, OnlyAnswersAreRoundTrips)
{
    enter();
    book.end(take(), Outcome::GaveUp, QStringLiteral("why"));
    EXPECT_EQ(share.roundTrips.count(), 0U);
    enter();
    book.end(take(), Outcome::Answered, {});
    EXPECT_EQ(share.roundTrips.count(), 1U);
}

TEST_F(CommandBookFixture, ManyThatEndTogetherAreCountedAtOnceAndToldOneByOne)
{
    constexpr std::size_t count = 1000;
    for (std::size_t i = 0; i < count; ++i) {
        enter();
    }
    book.endWaiting(lane, Outcome::Skipped, QStringLiteral("why"));
    EXPECT_EQ(book.waiting(), 0);
    EXPECT_EQ(book.statistics().totals().skipped, count);
    EXPECT_EQ(share.skipped, count);
    EXPECT_EQ(share.queueLength, 0);
    std::size_t mostAtOnce = 0;
    while (listener.order.size() < count) {
        const std::size_t before = listener.order.size();
        QCoreApplication::sendPostedEvents(&outbox);
        mostAtOnce = std::max(mostAtOnce, listener.order.size() - before);
        ASSERT_GT(listener.order.size(), before);
    }
    EXPECT_EQ(mostAtOnce, 1U);
    EXPECT_TRUE(std::is_sorted(listener.order.begin(), listener.order.end()));
}

TEST_F(CommandBookFixture, OneOfManyEndsByItsTicket)
{
    enter();
    const Ticket ticket = enter();
    EXPECT_TRUE(book.endWaiting(lane, ticket, Outcome::Cancelled, QStringLiteral("why")));
    EXPECT_FALSE(book.endWaiting(lane, ticket, Outcome::Cancelled, QStringLiteral("why")));
    ASSERT_TRUE(waitForEnds(1));
    EXPECT_EQ(listener.order, std::vector<Ticket>{ticket});
    EXPECT_EQ(book.waiting(), 1);
}

// The channel carries 32 bits of a ticket, of which 0 says that there is none.
TEST(TicketSource, NoTicketHasTheTagThatStandsForNone)
{
    constexpr Ticket lastTag = std::numeric_limits<quint32>::max();
    TicketSource tickets(lastTag - 1);
    const Ticket last = tickets.next();
    const Ticket afterTheWrap = tickets.next();
    EXPECT_EQ(tagOf(last), lastTag);
    EXPECT_EQ(tagOf(afterTheWrap), 1U);
    EXPECT_GT(afterTheWrap, last);
}
