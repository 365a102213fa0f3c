#include <QtCore/QVariant>

#include <gtest/gtest.h>

#include <host/command_result.h>

using biz::host::CommandResult;
using biz::host::OsdCommandResult;
using biz::host::Outcome;
using biz::host::StopReport;

TEST(CommandResult, OutcomesCarryTheNamesThatSessionsExpect)
{
    EXPECT_EQ(biz::host::outcomeName(Outcome::Answered), QStringLiteral("answered"));
    EXPECT_EQ(biz::host::outcomeName(Outcome::GaveUp), QStringLiteral("gaveUp"));
    EXPECT_EQ(biz::host::outcomeName(Outcome::Cleared), QStringLiteral("cleared"));
    EXPECT_EQ(biz::host::outcomeName(Outcome::Skipped), QStringLiteral("skipped"));
    EXPECT_EQ(biz::host::outcomeName(Outcome::Stopped), QStringLiteral("stopped"));
    EXPECT_EQ(biz::host::outcomeName(Outcome::Released), QStringLiteral("released"));
    EXPECT_EQ(biz::host::outcomeName(Outcome::Expired), QStringLiteral("expired"));
    EXPECT_EQ(biz::host::outcomeName(Outcome::Superseded), QStringLiteral("superseded"));
    EXPECT_EQ(biz::host::outcomeName(Outcome::Cancelled), QStringLiteral("cancelled"));
    EXPECT_EQ(biz::host::outcomeName(Outcome::Unreachable), QStringLiteral("unreachable"));
    EXPECT_EQ(biz::host::outcomeName(Outcome::Interrupted), QStringLiteral("interrupted"));
    EXPECT_EQ(biz::host::outcomeNames().size(), 11);
}

TEST(CommandResult, LinkStatesCarryTheNamesThatToolsPrint)
{
    using biz::host::LinkState;
    EXPECT_EQ(biz::host::linkStateName(LinkState::Closed), QStringLiteral("closed"));
    EXPECT_EQ(biz::host::linkStateName(LinkState::Connecting), QStringLiteral("connecting"));
    EXPECT_EQ(biz::host::linkStateName(LinkState::Up), QStringLiteral("up"));
    EXPECT_EQ(biz::host::linkStateName(LinkState::Lost), QStringLiteral("lost"));
}

TEST(CommandResult, EveryNameLeadsBackToItsOutcome)
{
    const QStringList names = biz::host::outcomeNames();
    for (const QString &name : names) {
        Outcome outcome = Outcome::Stopped;
        EXPECT_TRUE(biz::host::outcomeFromName(name, &outcome)) << qPrintable(name);
        EXPECT_EQ(biz::host::outcomeName(outcome), name);
    }
}

TEST(CommandResult, AnUnknownNameLeavesTheOutcomeAlone)
{
    for (const QString &name :
         {QString(), QStringLiteral("Answered"), QStringLiteral("answered "), QStringLiteral("lost")}) {
        Outcome outcome = Outcome::Cleared;
        EXPECT_FALSE(biz::host::outcomeFromName(name, &outcome)) << qPrintable(name);
        EXPECT_EQ(outcome, Outcome::Cleared);
    }
}

TEST(CommandResult, ResultsAndRecordsTravelAsVariants)
{
    CommandResult result;
    result.outcome = Outcome::Answered;
    result.reply.baData = "reply";
    result.reason = QStringLiteral("why");
    OsdCommandResult osdResult;
    osdResult.ip = QStringLiteral("127.0.0.2");

    const auto back = QVariant::fromValue(result).value<CommandResult>();

    EXPECT_EQ(back.outcome, Outcome::Answered);
    EXPECT_EQ(back.reply.baData, QByteArray("reply"));
    EXPECT_EQ(back.reason, QStringLiteral("why"));
    EXPECT_EQ(QVariant::fromValue(osdResult).value<OsdCommandResult>().ip, QStringLiteral("127.0.0.2"));
    EXPECT_TRUE(QVariant::fromValue(model_Protocoldata()).isValid());
    EXPECT_TRUE(QVariant::fromValue(model_OsdParam()).isValid());
}

TEST(CommandResult, AStopWithSlowThreadsIsNotClean)
{
    StopReport report;
    report.pending = 3;
    EXPECT_TRUE(report.clean());

    report.slowSteps.append(QStringLiteral("send loop"));
    EXPECT_FALSE(report.clean());
}
