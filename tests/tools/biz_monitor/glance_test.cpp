#include <QtCore/QJsonArray>

#include <gtest/gtest.h>

#include <biz_monitor/watch/glance.h>
#include <tools/history/log_lines.h>

namespace {

using namespace biz::monitor;
using biz::history::HistoryBuilder;

class GlanceTest : public testing::Test
{
protected:
    /** After the lines that have been added to the log. */
    Glance glance()
    {
        for (; read < log.lines.size(); ++read) {
            builder.readEventLine(log.lines.at(read));
        }
        return glanceOf(builder.soFar(), 0);
    }

    void SetUp() override
    {
        builder.beginFile(QStringLiteral("log.jsonl"));
        log.start();
    }

    int read = 0;
    HistoryBuilder builder;
    LogLines log;
};

TEST_F(GlanceTest, DeviceWithoutACommandIsUnused)
{
    EXPECT_EQ(glance().health, Health::Unused);
}

TEST_F(GlanceTest, DeviceThatAnswersAnswers)
{
    log.answeredCommand(10, 1, 5);
    log.answeredCommand(20, 2, 7);
    const Glance seen = glance();
    EXPECT_EQ(seen.health, Health::Answering);
    EXPECT_NEAR(seen.longestMs, 7.0, 0.001);
}

TEST_F(GlanceTest, OneCommandWithoutAReplyIsTroubleAndTwoAreSilence)
{
    log.answeredCommand(10, 1, 5);
    log.unansweredCommand(1000, 2);
    EXPECT_EQ(glance().health, Health::Troubled);
    log.unansweredCommand(2000, 3);
    EXPECT_EQ(glance().health, Health::Silent);
}

TEST_F(GlanceTest, SilenceBeganWithTheFirstCommandThatGotNoReply)
{
    log.answeredCommand(10, 1, 5);
    for (int i = 0; i < 50; ++i) {
        log.unansweredCommand(1000 + i * 1000, 2 + i);
    }
    EXPECT_TRUE(glance().sentence.endsWith(QStringLiteral("no reply to the last 50 commands.")))
        << qPrintable(glance().sentence);
}

TEST_F(GlanceTest, DeviceThatWasSilentOnceAnswersAgainAfterEnoughReplies)
{
    log.unansweredCommand(0, 1);
    log.unansweredCommand(1000, 2);
    log.answeredCommand(2000, 3, 5);
    EXPECT_EQ(glance().health, Health::Troubled);
    for (int i = 0; i < 20; ++i) {
        log.answeredCommand(3000 + i * 10, 4 + i, 5);
    }
    EXPECT_EQ(glance().health, Health::Answering);
}

TEST_F(GlanceTest, OsdDeviceThatWasSilentBeforeTheLogBeganIsSilentUntilItReplies)
{
    log.lines.clear();
    log.start(-1, QStringLiteral("osd"));
    const QJsonObject device{{"device", "10.0.0.7"}, {"silentSince", "2026-05-06T13:59:00.000Z"}};
    log.line(1, {{"event", "state"}, {"silentDevices", QJsonArray{device}}});
    EXPECT_EQ(glance().health, Health::Silent);
    EXPECT_TRUE(glance().sentence.endsWith(QStringLiteral("before the log began.")));
    log.line(100, {{"event", "given"}, {"ticket", 1}, {"device", "10.0.0.7"}});
    log.line(130, {{"event", "answered"}, {"ticket", 1}, {"device", "10.0.0.7"}, {"roundTripMs", 30}});
    EXPECT_EQ(glance().health, Health::Answering);
}

TEST_F(GlanceTest, CommandsThatFailedSinceTheirRepliesBrokeARuleAreRefused)
{
    log.given(0, 1);
    log.sent(1, 1);
    log.rejected(5, 1, QStringLiteral("F1/08"), "01 F1 08 03 62 01 00", 353);
    log.gaveUp(700, 1);
    EXPECT_EQ(glance().health, Health::Refused);
    EXPECT_EQ(glance().refused, 1U);
}

TEST_F(GlanceTest, LostLinkComesBeforeEverythingElse)
{
    log.link(1, QStringLiteral("up"));
    log.answeredCommand(10, 1, 5);
    log.link(100, QStringLiteral("lost"), QStringLiteral("the device closed it"));
    const Glance seen = glance();
    EXPECT_EQ(seen.health, Health::LinkLost);
    EXPECT_TRUE(seen.sentence.contains(QStringLiteral("the device closed it")));
}

TEST_F(GlanceTest, CommandsThatWaitAndTheOneInFlightAreTold)
{
    log.given(1, 1, QStringLiteral("get scene"));
    log.given(2, 2);
    log.given(3, 3);
    log.sent(4, 1);
    const Glance seen = glance();
    EXPECT_EQ(seen.waiting, 2);
    EXPECT_EQ(seen.inFlight, 1);
    EXPECT_EQ(seen.inFlightName, QStringLiteral("get scene"));
    EXPECT_EQ(seen.inFlightWaitMs, 500);
}

} // namespace
