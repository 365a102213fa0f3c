#include <serve/request_ids_p.h>

#include <gtest/gtest.h>

using biz::host::RequestIds;
using biz::host::Ticket;

TEST(RequestIdsTest, AnIdStaysUsedAfterTheEndOfItsCommand)
{
    RequestIds ids;
    ids.add(QStringLiteral("a"), 1, 0);
    ids.noteEnd(1);
    EXPECT_TRUE(ids.isUsed(QStringLiteral("a")));
    EXPECT_FALSE(ids.hasPending());
}

TEST(RequestIdsTest, AsManyEndedIdsAsAreRememberedStayUsedAndNoMore)
{
    RequestIds ids;
    ids.add(QStringLiteral("pending"), 1, 0);
    for (Ticket ticket = 2; ticket <= RequestIds::rememberedEnds + 2; ++ticket) {
        ids.add(QString::number(ticket), ticket, 0);
        ids.noteEnd(ticket);
    }
    EXPECT_FALSE(ids.isUsed(QStringLiteral("2")));
    EXPECT_TRUE(ids.isUsed(QStringLiteral("3")));
    EXPECT_TRUE(ids.isUsed(QStringLiteral("pending")));
}

TEST(RequestIdsTest, TheMostPendingCommandsAreAccepted)
{
    RequestIds ids;
    for (Ticket ticket = 1; ticket <= RequestIds::mostPending; ++ticket) {
        ASSERT_TRUE(ids.hasRoomFor(0));
        ids.add(QString::number(ticket), ticket, 0);
    }
    EXPECT_FALSE(ids.hasRoomFor(0));
    ids.noteEnd(1);
    EXPECT_TRUE(ids.hasRoomFor(0));
}

TEST(RequestIdsTest, ThePayloadThatMayBePendingIsBounded)
{
    RequestIds ids;
    ids.add(QStringLiteral("a"), 1, RequestIds::mostPendingBytes - 1);
    EXPECT_TRUE(ids.hasRoomFor(1));
    EXPECT_FALSE(ids.hasRoomFor(2));
    ids.noteEnd(1);
    EXPECT_TRUE(ids.hasRoomFor(2));
}
