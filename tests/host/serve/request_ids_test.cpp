#include <serve/request_ids_p.h>

#include <gtest/gtest.h>

using biz::host::RequestIds;
using biz::host::Ticket;

TEST(RequestIdsTest, AnIdStaysUsedAfterTheEndOfItsCommand)
{
    RequestIds ids;
    ids.add(QStringLiteral("a"), 1);
    ids.noteEnd(1);
    EXPECT_TRUE(ids.isUsed(QStringLiteral("a")));
    EXPECT_EQ(ids.idOf(1), QStringLiteral("a"));
}

TEST(RequestIdsTest, AsManyEndedIdsAsAreRememberedStayUsedAndNoMore)
{
    RequestIds ids;
    ids.add(QStringLiteral("pending"), 1);
    for (Ticket ticket = 2; ticket <= RequestIds::rememberedEnds + 2; ++ticket) {
        ids.add(QString::number(ticket), ticket);
        ids.noteEnd(ticket);
    }
    EXPECT_FALSE(ids.isUsed(QStringLiteral("2")));
    EXPECT_TRUE(ids.isUsed(QStringLiteral("3")));
    EXPECT_TRUE(ids.isUsed(QStringLiteral("pending")));
}
