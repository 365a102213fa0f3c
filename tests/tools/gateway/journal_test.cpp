#include <gtest/gtest.h>

#include <QtSql/QSqlDatabase>
#include <QtSql/QSqlQuery>

#include <biz_gateway/gateway/command_desk.h>
#include <biz_gateway/journal/journal.h>
#include <support/scratch_folder.h>

#include "requirements.h"

using namespace biz::gateway;
using biz::test::ScratchFolder;

namespace {

class JournalOfCommands : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (const char *const missing = biz::test::missingForJournal()) {
            GTEST_SKIP() << missing;
        }
        open();
    }

    void open()
    {
        journal.reset();
        journal = std::make_unique<Journal>(folder.path("journal.sqlite"), settings);
    }

    qint64 add(const QString &id, const QString &client = "alice")
    {
        JournalEntry entry;
        entry.client = client;
        entry.id = id;
        entry.digest = "digest";
        entry.device = "hall-1";
        entry.reply = {"there", "mine"};
        qint64 number = 0;
        journal->commit([&] { number = journal->add(entry); });
        return number;
    }

    void end(qint64 number, const QByteArray &outcome = "answered")
    {
        journal->commit([&] { journal->setEnded(number, outcome); });
    }

    void deliver(qint64 number)
    {
        journal->commit([&] { journal->setDelivered(number); });
    }

    /** Makes an entry older and opens the journal anew, whose time begins with that of its newest entry. */
    void age(const QString &id, int hours)
    {
        journal.reset();
        const QString connection = QStringLiteral("ageing");
        {
            QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), connection);
            database.setDatabaseName(folder.path("journal.sqlite"));
            ASSERT_TRUE(database.open());
            QSqlQuery query(database);
            ASSERT_TRUE(query.exec(
                QStringLiteral("UPDATE command SET at = at - 3600 * %1 WHERE id = '%2'").arg(hours).arg(id)));
        }
        QSqlDatabase::removeDatabase(connection);
        open();
    }

    /** Adds ids with large outcomes until the journal is full; returns how many it took. */
    int fill(bool areDelivered, int most = 2000)
    {
        int added = 0;
        try {
            for (; added < most; ++added) {
                const qint64 number = add("filling-" + QString::number(added));
                end(number, QByteArray(4000, 'x'));
                if (areDelivered) {
                    deliver(number);
                }
            }
        } catch (const JournalError &) {
        }
        return added;
    }

    const ScratchFolder folder;
    JournalSettings settings;
    std::unique_ptr<Journal> journal;
};

} // namespace

TEST_F(JournalOfCommands, KnowsAnIdFromItsGivingToItsDelivery)
{
    EXPECT_FALSE(journal->find("alice", "7"));
    const qint64 number = add("7");
    EXPECT_EQ(journal->find("alice", "7")->state, JournalEntry::State::Given);
    end(number);
    EXPECT_EQ(journal->find("alice", "7")->state, JournalEntry::State::Ended);
    deliver(number);
    const auto known = journal->find("alice", "7");
    EXPECT_EQ(known->state, JournalEntry::State::Delivered);
    EXPECT_EQ(known->outcome, "answered");
    EXPECT_EQ(known->reply.correlation, "mine");
    EXPECT_FALSE(journal->find("bob", "7"));
}

TEST_F(JournalOfCommands, SaysWhereWhatItRemovesWasToBeAnswered)
{
    const qint64 number = add("7");
    ReplyPath reply;
    journal->commit([&] { reply = journal->remove(number); });
    EXPECT_EQ(reply.topic, "there");
    EXPECT_EQ(reply.correlation, "mine");
    EXPECT_FALSE(journal->find("alice", "7"));
}

TEST_F(JournalOfCommands, IsThereAfterARestart)
{
    add("given");
    end(add("ended"), "the outcome");
    open();
    ASSERT_EQ(journal->given().size(), 1);
    EXPECT_EQ(journal->given().front().id, "given");
    ASSERT_EQ(journal->undelivered(10).size(), 1);
    EXPECT_EQ(journal->undelivered(10).front().outcome, "the outcome");
}

TEST_F(JournalOfCommands, OutcomesOfAKilledGatewayWaitForRoomInAFullOne)
{
    settings.mostMebibytes = 1;
    open();
    constexpr int given = 100;
    for (int id = 0; id < given; ++id) {
        add(QString::number(id));
    }
    constexpr bool areDelivered = false;
    fill(areDelivered);
    SiteDevices devices(folder.path("devices"));
    BrokerSession session({}, {});
    Outbox outbox(journal.get(), &session);
    CommandDesk desk(journal.get(), &devices, &outbox, {});
    desk.endInterrupted();
    EXPECT_EQ(desk.pending(), given);
    EXPECT_EQ(journal->given().size(), given);
}

TEST_F(JournalOfCommands, KeepsNothingOfARoundThatFails)
{
    EXPECT_THROW(journal->commit([this] {
        JournalEntry entry;
        entry.id = "7";
        entry.digest = "digest";
        entry.device = "hall-1";
        entry.reply.topic = "there";
        journal->add(entry);
        journal->add(entry); // the id stands already
    }),
                 JournalError);
    EXPECT_FALSE(journal->find({}, "7"));
    add("8");
    EXPECT_TRUE(journal->find("alice", "8"));
}

TEST_F(JournalOfCommands, ForgetsTheOldestWhenItIsFull)
{
    settings.mostMebibytes = 1;
    open();
    EXPECT_EQ(fill(true), 2000);
    EXPECT_FALSE(journal->find("alice", "filling-0"));
    EXPECT_TRUE(journal->find("alice", "filling-1999"));
    EXPECT_TRUE(journal->hasRoom());
}

TEST_F(JournalOfCommands, ForgetsNoOutcomeThatTheBrokerDoesNotHave)
{
    settings.mostMebibytes = 1;
    open();
    const int taken = fill(false);
    EXPECT_GT(taken, 10);
    EXPECT_LT(taken, 2000);
    EXPECT_TRUE(journal->find("alice", "filling-0"));
    EXPECT_THROW(add(QString(5000, 'y')), JournalError);
    EXPECT_FALSE(journal->hasRoom());
}

TEST_F(JournalOfCommands, ForgetsWhatIsTooOldAndDelivered)
{
    settings.keepHours = -1; // everything is too old at once
    open();
    add("given");
    end(add("ended"));
    const qint64 delivered = add("delivered");
    end(delivered);
    deliver(delivered);
    journal->commit([this] { journal->forgetOld(); });
    EXPECT_TRUE(journal->find("alice", "given"));
    EXPECT_TRUE(journal->find("alice", "ended"));
    EXPECT_FALSE(journal->find("alice", "delivered"));
}

TEST_F(JournalOfCommands, ForgetsNothingThatIsYoungEnough)
{
    const qint64 number = add("7");
    end(number);
    deliver(number);
    journal->commit([this] { journal->forgetOld(); });
    EXPECT_TRUE(journal->find("alice", "7"));
}

TEST_F(JournalOfCommands, KeepsWhatIsDeliveredForItsHours)
{
    settings.keepHours = 3;
    const qint64 old = add("old");
    end(old);
    deliver(old);
    add("new");
    ASSERT_NO_FATAL_FAILURE(age("old", 2));
    journal->commit([this] { journal->forgetOld(); });
    EXPECT_TRUE(journal->find("alice", "old"));
    ASSERT_NO_FATAL_FAILURE(age("old", 2));
    journal->commit([this] { journal->forgetOld(); });
    EXPECT_FALSE(journal->find("alice", "old"));
}

TEST_F(JournalOfCommands, ServesOneGatewayAtATime)
{
    try {
        const Journal second(folder.path("journal.sqlite"), settings);
        FAIL() << "a second gateway has the journal";
    } catch (const JournalError &error) {
        EXPECT_TRUE(error.text().contains("another gateway")) << error.what();
    }
}

TEST_F(JournalOfCommands, SaysWhyAFileIsNone)
{
    journal.reset();
    QFile file(folder.path("journal.sqlite"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QByteArray(10000, 'z'));
    file.close();
    EXPECT_THROW(open(), JournalError);
}
