#include <random>

#include <gtest/gtest.h>

#include <commands/command_p.h>
#include <commands/command_queue_p.h>

using namespace biz::host;

namespace {

using Waiting = Command<model_Protocoldata, CommandResult>;
using Queue = CommandQueue<Waiting>;

Waiting command(Ticket ticket, const char *key = "", bool urgent = false)
{
    Waiting waiting;
    waiting.ticket = ticket;
    waiting.options.replaceKey = QString::fromLatin1(key);
    waiting.options.urgent = urgent;
    return waiting;
}

Waiting urgent(Ticket ticket, const char *key = "")
{
    return command(ticket, key, true);
}

/** The ticket of what a push replaced; 0 when it replaced nothing. */
Ticket push(Queue &queue, Waiting waiting)
{
    const auto replaced = queue.push(std::move(waiting));
    return replaced ? replaced->ticket : 0;
}

std::vector<Ticket> takeAllOneByOne(Queue &queue)
{
    std::vector<Ticket> tickets;
    while (!queue.isEmpty()) {
        tickets.push_back(queue.takeFirst().ticket);
    }
    return tickets;
}

using Tickets = std::vector<Ticket>;

} // namespace

TEST(CommandQueue, CommandsLeaveInTheOrderGiven)
{
    Queue queue;
    for (Ticket ticket = 1; ticket <= 3; ++ticket) {
        EXPECT_EQ(push(queue, command(ticket)), 0U);
    }
    EXPECT_EQ(queue.size(), 3);
    EXPECT_EQ(takeAllOneByOne(queue), (Tickets{1, 2, 3}));
}

TEST(CommandQueue, UrgentOnesLeaveBeforeAllOthersInOrderAmongThemselves)
{
    Queue queue;
    push(queue, command(1));
    push(queue, urgent(2));
    push(queue, command(3));
    push(queue, urgent(4));
    EXPECT_EQ(takeAllOneByOne(queue), (Tickets{2, 4, 1, 3}));
}

TEST(CommandQueue, ANewerCommandTakesThePlaceOfTheOneWithItsKey)
{
    Queue queue;
    push(queue, command(1));
    push(queue, command(2, "key"));
    push(queue, command(3));
    EXPECT_EQ(push(queue, command(4, "key")), 2U);
    EXPECT_EQ(push(queue, command(5, "key")), 4U);
    EXPECT_EQ(queue.size(), 3);
    EXPECT_EQ(takeAllOneByOne(queue), (Tickets{1, 5, 3}));
}

TEST(CommandQueue, OtherKeysAndNoKeyReplaceNothing)
{
    Queue queue;
    push(queue, command(1, "a"));
    EXPECT_EQ(push(queue, command(2, "b")), 0U);
    EXPECT_EQ(push(queue, command(3)), 0U);
    EXPECT_EQ(push(queue, command(4)), 0U);
    EXPECT_EQ(takeAllOneByOne(queue), (Tickets{1, 2, 3, 4}));
}

TEST(CommandQueue, AnUrgentOneReplacesFromItsOwnPlace)
{
    Queue queue;
    push(queue, urgent(1));
    push(queue, command(2, "key"));
    push(queue, urgent(3));
    EXPECT_EQ(push(queue, urgent(4, "key")), 2U);
    EXPECT_EQ(takeAllOneByOne(queue), (Tickets{1, 3, 4}));
}

TEST(CommandQueue, OneThatReplacesAnUrgentOneKeepsTheUrgentPlace)
{
    Queue queue;
    push(queue, urgent(1, "key"));
    push(queue, urgent(2));
    push(queue, command(3));
    EXPECT_EQ(push(queue, command(4, "key")), 1U);
    EXPECT_EQ(takeAllOneByOne(queue), (Tickets{4, 2, 3}));
}

TEST(CommandQueue, AKeyIsFreeOnceItsCommandHasLeft)
{
    Queue queue;
    push(queue, command(1, "key"));
    queue.takeFirst();
    EXPECT_EQ(push(queue, command(2, "key")), 0U);
    EXPECT_TRUE(queue.take(2));
    EXPECT_EQ(push(queue, command(3, "key")), 0U);
    queue.takeAll();
    EXPECT_EQ(push(queue, command(4, "key")), 0U);
    EXPECT_EQ(queue.size(), 1);
}

TEST(CommandQueue, AnyCommandIsTakenByItsTicketAlsoFromThePlaceOfAnother)
{
    Queue queue;
    push(queue, command(1, "key"));
    push(queue, urgent(2));
    push(queue, command(3, "key"));
    EXPECT_FALSE(queue.take(1)) << "it was replaced";
    EXPECT_FALSE(queue.take(4));
    ASSERT_TRUE(queue.take(3));
    EXPECT_FALSE(queue.take(3));
    EXPECT_TRUE(queue.take(2));
    EXPECT_TRUE(queue.isEmpty());
}

TEST(CommandQueue, WhatIsPutBackStandsWhereItWasTakenFrom)
{
    Queue queue;
    push(queue, command(1));
    push(queue, command(2));
    push(queue, urgent(3));
    EXPECT_FALSE(queue.putBack(queue.takeFirst()));
    push(queue, urgent(4));
    Waiting first = queue.takeFirst();
    EXPECT_EQ(first.ticket, 3U);
    EXPECT_EQ(takeAllOneByOne(queue), (Tickets{4, 1, 2}));
}

TEST(CommandQueue, WhatIsPutBackYieldsToANewerOneOfItsKey)
{
    Queue queue;
    push(queue, command(1, "key"));
    Waiting older = queue.takeFirst();
    push(queue, command(2, "key"));
    const auto replacement = queue.putBack(std::move(older));
    ASSERT_TRUE(replacement);
    EXPECT_EQ(replacement->newer, 2U);
    EXPECT_EQ(replacement->older.ticket, 1U);
    EXPECT_EQ(takeAllOneByOne(queue), (Tickets{2}));
}

TEST(CommandQueue, WhatIsPutBackReplacesAnOlderOneOfItsKey)
{
    Queue queue;
    push(queue, command(1, "key"));
    Waiting older = queue.takeFirst();
    push(queue, command(2, "key"));
    Waiting newer = queue.takeFirst();
    EXPECT_FALSE(queue.putBack(std::move(older)));
    const auto replacement = queue.putBack(std::move(newer));
    ASSERT_TRUE(replacement);
    EXPECT_EQ(replacement->newer, 2U);
    EXPECT_EQ(replacement->older.ticket, 1U);
    EXPECT_EQ(takeAllOneByOne(queue), (Tickets{2}));
}

TEST(CommandQueue, OnlyWhatWasPutBackIsOlderThanWhatHasBeenTaken)
{
    Queue queue;
    push(queue, command(1));
    push(queue, command(2));
    push(queue, command(3));
    Waiting first = queue.takeFirst();
    const Waiting second = queue.takeFirst();
    push(queue, urgent(4));
    EXPECT_FALSE(queue.hasOlder(second));
    EXPECT_FALSE(queue.putBack(std::move(first)));
    EXPECT_TRUE(queue.hasOlder(second));
}

TEST(CommandQueue, AllAtOnceAreTheUrgentOnesAndTheOthers)
{
    Queue queue;
    push(queue, command(1));
    push(queue, urgent(2));
    push(queue, command(3));
    const auto [urgents, others] = queue.takeAll();
    EXPECT_TRUE(queue.isEmpty());
    EXPECT_EQ(urgents.size(), 1U);
    EXPECT_EQ(others.size(), 2U);
}

// What a plain list does in linear time, the queue does as well.
TEST(CommandQueue, RandomCallsDoWhatAPlainListWouldDo)
{
    struct Entry
    {
        Ticket ticket;
        int key;
        bool isUrgent;
    };
    std::mt19937 random(4711); // the same run each time
    const auto number = [&](int most) {
        return std::uniform_int_distribution<int>(0, most)(random);
    };
    Queue queue;
    std::vector<Entry> list; // in the order in which they leave
    const auto firstOther = [&] {
        return std::find_if(list.begin(), list.end(), [](const Entry &entry) { return !entry.isUrgent; });
    };
    const auto giveToList = [&](Entry entry) {
        const auto same = std::find_if(
            list.begin(), list.end(), [&](const Entry &waiting) { return entry.key != 0 && waiting.key == entry.key; });
        if (same != list.end() && (same->isUrgent || !entry.isUrgent)) {
            entry.isUrgent = same->isUrgent;
            *same = entry;
            return;
        }
        if (same != list.end()) {
            list.erase(same);
        }
        list.insert(entry.isUrgent ? firstOther() : list.end(), entry);
    };

    constexpr Ticket calls = 20000;
    for (Ticket ticket = 1; ticket <= calls; ++ticket) {
        const int what = number(9);
        if (what < 6) {
            const Entry entry{ticket, number(5), number(3) == 0};
            push(queue, command(ticket, entry.key == 0 ? "" : std::to_string(entry.key).c_str(), entry.isUrgent));
            giveToList(entry);
        } else if (what < 9 && !list.empty()) {
            ASSERT_EQ(queue.takeFirst().ticket, list.front().ticket);
            list.erase(list.begin());
        } else if (!list.empty()) {
            const auto any = list.begin() + number(static_cast<int>(list.size()) - 1);
            ASSERT_TRUE(queue.take(any->ticket));
            list.erase(any);
        }
        ASSERT_EQ(static_cast<std::size_t>(queue.size()), list.size());
    }
    for (const Entry &entry : list) {
        ASSERT_EQ(queue.takeFirst().ticket, entry.ticket);
    }
}
