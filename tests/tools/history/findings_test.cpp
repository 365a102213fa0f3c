#include <gtest/gtest.h>

#include <tools/history/log_lines.h>

using namespace biz::history;

namespace {

std::vector<Finding> found(const LogLines &log, Finding::Kind kind)
{
    std::vector<Finding> matching;
    for (const Finding &finding : findingsOf(log.history())) {
        if (finding.kind == kind) {
            matching.push_back(finding);
        }
    }
    return matching;
}

TEST(Findings, SilenceLastsFromTheFirstUnansweredCommandToTheNextReply)
{
    LogLines log;
    log.start();
    log.answeredCommand(0, 1, 2);
    log.unansweredCommand(1000, 2);
    log.unansweredCommand(1700, 3);
    log.answeredCommand(5000, 4, 2);
    const std::vector<Finding> silences = found(log, Finding::Kind::Silence);
    ASSERT_EQ(silences.size(), 1U);
    EXPECT_EQ(silences.at(0).fromMs, LogLines::startMs() + 1000);
    EXPECT_EQ(silences.at(0).toMs, LogLines::startMs() + 5002);
    EXPECT_TRUE(silences.at(0).sentence.contains(QStringLiteral("2 commands given up, then it replied again")));
}

TEST(Findings, RepliesBetweenDivideSilences)
{
    LogLines log;
    log.start();
    for (const int begin : {0, 10000}) {
        log.unansweredCommand(begin, begin + 1);
        log.unansweredCommand(begin + 700, begin + 2);
        log.answeredCommand(begin + 2000, begin + 3, 2);
    }
    EXPECT_EQ(found(log, Finding::Kind::Silence).size(), 2U);
}

TEST(Findings, RefusedRepliesAreNoSilence)
{
    LogLines log;
    log.start();
    for (int ticket = 1; ticket <= 3; ++ticket) {
        log.given(ticket * 1000, ticket);
        log.sent(ticket * 1000, ticket);
        log.rejected(ticket * 1000 + 5, ticket, QStringLiteral("F1/08"), "01 F1 08 03 62 01 00", 353);
        log.gaveUp(ticket * 1000 + 700, ticket);
    }
    EXPECT_TRUE(found(log, Finding::Kind::Silence).empty());
    const std::vector<Finding> refusals = found(log, Finding::Kind::Refusals);
    ASSERT_EQ(refusals.size(), 1U);
    EXPECT_TRUE(refusals.at(0).sentence.startsWith(
        QStringLiteral("3 replies of F1/08 refused: payload holds 353 bytes, needs 354")));
}

TEST(Findings, DeviceWhoseRepliesAreLateIsSlowAndNotSilent)
{
    LogLines log;
    log.start();
    for (int ticket = 1; ticket <= 4; ++ticket) {
        log.unansweredCommand(ticket * 1000, ticket);
        log.late(ticket * 1000 + 900, ticket);
    }
    const std::vector<Finding> slow = found(log, Finding::Kind::Slow);
    ASSERT_EQ(slow.size(), 1U);
    EXPECT_TRUE(slow.at(0).sentence.contains(QStringLiteral("900 ms"))) << slow.at(0).sentence.toStdString();
    EXPECT_TRUE(found(log, Finding::Kind::Silence).empty());
}

TEST(Findings, OneRepeatedCommandOfManyIsNotSlow)
{
    LogLines log;
    log.start();
    for (int ticket = 1; ticket <= 40; ++ticket) {
        log.answeredCommand(ticket * 100, ticket, 2);
    }
    log.given(5000, 41);
    log.sent(5000, 41);
    log.resent(5340, 41);
    log.answered(5350, 41, 10);
    EXPECT_TRUE(found(log, Finding::Kind::Slow).empty());
}

TEST(Findings, LostLinkIsToldWithItsTimeAndReason)
{
    LogLines log;
    log.start();
    log.link(1, QStringLiteral("up"));
    log.link(2000, QStringLiteral("lost"), QStringLiteral("the cable is out"));
    log.link(14400, QStringLiteral("up"));
    log.end(20000);
    const std::vector<Finding> lost = found(log, Finding::Kind::LinkLost);
    ASSERT_EQ(lost.size(), 1U);
    EXPECT_TRUE(lost.at(0).sentence.contains(QStringLiteral("12.4 s")));
    EXPECT_TRUE(lost.at(0).sentence.contains(QStringLiteral("the cable is out")));
}

TEST(Findings, ModelWhoseRulesAllRepliesObeyIsNamed)
{
    LogLines log;
    log.start();
    log.given(0, 1);
    log.rejected(5, 1, QStringLiteral("F1/05"), "01 F1 05 00 41 00 00", 65);
    log.rejected(6, 1, QStringLiteral("F1/0D"), "01 F1 0D 00 09 00 00", 9);
    log.answered(7, 1, 1);
    const std::vector<Finding> wrong = found(log, Finding::Kind::WrongModel);
    ASSERT_EQ(wrong.size(), 1U);
    EXPECT_TRUE(wrong.at(0).sentence.contains(QStringLiteral("A3")));
    EXPECT_TRUE(found(log, Finding::Kind::Refusals).empty()) << "they follow from the model";
}

TEST(Findings, NoModelIsNamedWhoseRulesAnAcceptedReplyBreaks)
{
    LogLines log;
    log.start();
    log.given(0, 1);
    log.rejected(5, 1, QStringLiteral("F1/05"), "01 F1 05 00 41 00 00", 65);
    log.rejected(6, 1, QStringLiteral("F1/0D"), "01 F1 0D 00 09 00 00", 9);
    log.answered(7, 1, 1, "01 F1 16 00 81 00 00", 129); // as the A2 has it, and no A3
    EXPECT_TRUE(found(log, Finding::Kind::WrongModel).empty());
}

TEST(Findings, AllWellIsSaidFirst)
{
    LogLines log;
    log.start();
    log.answeredCommand(0, 1, 2);
    log.end(10);
    const std::vector<Finding> all = findingsOf(log.history());
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all.at(0).kind, Finding::Kind::AllWell);
    EXPECT_EQ(all.at(0).sentence, QStringLiteral("All of 1 command answered."));
}

TEST(Findings, LogThatIsMostlyUnreadableIsNotWell)
{
    LogLines log;
    log.start();
    log.answeredCommand(0, 1, 2);
    log.end(10);
    log.lines.append({"torn", "torn"});
    const Finding gravest = findingsOf(log.history()).at(0);
    EXPECT_EQ(gravest.severity, Finding::Severity::Warning);
    EXPECT_TRUE(gravest.sentence.startsWith(QStringLiteral("2 lines of log.jsonl, the first of them line 6")))
        << gravest.sentence.toStdString();
}

TEST(Findings, DeviceThatRepliedBeforeTheLogBeganHasNotNeverReplied)
{
    LogLines log;
    log.start();
    log.line(1, {{"event", "state"}, {"state", "up"}, {"counters", QJsonObject{{"answered", 5000}}}});
    log.unansweredCommand(1000, 1);
    log.unansweredCommand(2000, 2);
    const std::vector<Finding> silences = found(log, Finding::Kind::Silence);
    ASSERT_EQ(silences.size(), 1U);
    EXPECT_TRUE(silences.at(0).sentence.contains(QStringLiteral("was silent for")))
        << silences.at(0).sentence.toStdString();
}

TEST(Findings, ManyDevicesWithTheSameFaultAreToldTogether)
{
    LogLines log;
    log.start(-1, QStringLiteral("osd"));
    for (int device = 1; device <= 30; ++device) {
        const QString address = QStringLiteral("127.1.0.%1").arg(device);
        log.line(0, {{"event", "given"}, {"ticket", device}, {"device", address}, {"waitMs", 2000}});
        log.line(0, {{"event", "sent"}, {"ticket", device}, {"device", address}});
        log.line(2000, {{"event", "gaveUp"}, {"ticket", device}, {"device", address}});
    }
    const std::vector<Finding> silences = found(log, Finding::Kind::Silence);
    int sentences = 0;
    for (const Finding &finding : silences) {
        sentences += finding.sentence.isEmpty() ? 0 : 1;
    }
    EXPECT_EQ(sentences, 7) << "six, and one for the others";
    EXPECT_TRUE(silences.back().sentence.contains(QStringLiteral("and 4 more")));
}

WaitAdvice adviceFor(double roundTripMs)
{
    LogLines log;
    log.start();
    for (int ticket = 1; ticket <= 10; ++ticket) {
        log.answeredCommand(ticket * 1000, ticket, roundTripMs);
    }
    return waitAdviceOf(log.history().devices.at(0)).at(0);
}

TEST(WaitAdvice, ComparesTheSlowestRepliesWithTwoThirdsOfTheWait)
{
    EXPECT_EQ(adviceFor(249).verdict, WaitAdvice::Verdict::Enough);
    EXPECT_EQ(adviceFor(251).verdict, WaitAdvice::Verdict::Tight);
    EXPECT_EQ(adviceFor(333).verdict, WaitAdvice::Verdict::Tight);
    EXPECT_EQ(adviceFor(334).verdict, WaitAdvice::Verdict::TooShort);
}

TEST(WaitAdvice, AdvisedWaitWouldBeEnough)
{
    LogLines log;
    log.start();
    log.given(0, 1, QStringLiteral("x"), adviceFor(334).advisedMs);
    log.line(0, {{"event", "sent"}, {"ticket", 1}});
    log.answered(334, 1, 334);
    EXPECT_EQ(waitAdviceOf(log.history().devices.at(0)).at(0).verdict, WaitAdvice::Verdict::Enough);
}

} // namespace
