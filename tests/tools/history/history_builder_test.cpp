#include <map>

#include <QtCore/QJsonArray>

#include <gtest/gtest.h>

#include <tools/history/log_lines.h>

using namespace biz::history;

namespace {

TEST(HistoryBuilder, CommandGetsItsTimesAndItsOutcome)
{
    LogLines log;
    log.start();
    log.given(5, 1);
    log.sent(20, 1);
    log.resent(360, 1);
    log.answered(400, 1, 40);
    const History history = log.history();
    const Command &command = history.devices.at(0).commands.at(0);
    EXPECT_EQ(command.givenMs, LogLines::startMs() + 5);
    EXPECT_EQ(command.sentMs, LogLines::startMs() + 20);
    EXPECT_EQ(command.resentMs, LogLines::startMs() + 360);
    EXPECT_EQ(command.endMs, LogLines::startMs() + 400);
    EXPECT_TRUE(command.isAnswered());
    EXPECT_EQ(history.names.value(command.name), QStringLiteral("get scene"));
}

TEST(HistoryBuilder, CommandsOfMoreNamesThanAreHeldAreFurtherOnesAndNotThoseOfTheLastName)
{
    constexpr int heldNames = 10000;
    LogLines log;
    log.start();
    for (int number = 1; number <= heldNames + 2; ++number) {
        log.given(number, number, QStringLiteral("scene %1").arg(number));
    }
    log.given(heldNames + 3, heldNames + 3, QStringLiteral("scene 1"));
    const History history = log.history();
    const auto nameOf = [&history](int number) {
        const std::vector<Command> &commands = history.devices.at(0).commands;
        return history.names.value(commands.at(static_cast<std::size_t>(number - 1)).name);
    };
    EXPECT_EQ(nameOf(heldNames), QStringLiteral("scene 10000"));
    EXPECT_EQ(nameOf(heldNames + 1), QStringLiteral("further commands"));
    EXPECT_EQ(nameOf(heldNames + 2), QStringLiteral("further commands"));
    EXPECT_EQ(nameOf(heldNames + 3), QStringLiteral("scene 1"));
}

TEST(HistoryBuilder, ResponseToACommandSentTwiceCountsFromTheFirstSending)
{
    LogLines log;
    log.start();
    log.given(0, 1);
    log.sent(0, 1);
    log.resent(340, 1);
    log.answered(600, 1, 260);
    EXPECT_EQ(log.history().devices.at(0).commands.at(0).responseMs(), 600.0);
}

TEST(HistoryBuilder, ClockThatIsSetBendsNothing)
{
    LogLines log;
    log.start();
    log.given(0, 1);
    log.sent(10, 1);
    log.lines.last().replace("14:00:00.010", "18:30:00.010");
    EXPECT_EQ(log.history().devices.at(0).commands.at(0).sentMs, LogLines::startMs() + 10);
}

TEST(HistoryBuilder, RotatedLogGoesOnWhereTheOneBeforeEnded)
{
    LogLines log;
    log.start();
    log.given(0, 1);
    log.sent(10, 1);
    LogLines next;
    next.gaveUp(700, 1);
    HistoryBuilder builder;
    builder.beginFile(QStringLiteral("log.1"));
    builder.readEventLine(log.lines.at(0));
    builder.readEventLine(log.lines.at(1));
    builder.readEventLine(log.lines.at(2));
    builder.beginFile(QStringLiteral("log"));
    builder.readEventLine(next.lines.at(0));
    const History history = builder.take();
    ASSERT_EQ(history.runs.size(), 1U);
    EXPECT_TRUE(history.devices.at(0).commands.at(0).isGivenUp());
}

TEST(HistoryBuilder, StartThatIsRepeatedInTheNextFileBeginsNoRun)
{
    LogLines log;
    log.start(-1);
    log.given(0, 1);
    log.start(LogLines::a2);
    log.answered(700, 1, 2);
    const History history = log.history();
    ASSERT_EQ(history.runs.size(), 1U);
    ASSERT_EQ(history.devices.size(), 1U);
    EXPECT_EQ(history.devices.at(0).model, QStringLiteral("A2")) << "settled after the log had begun";
    EXPECT_TRUE(history.devices.at(0).commands.at(0).isAnswered());
}

TEST(HistoryBuilder, LogThatBeginsInTheMiddleIsARunOfItsOwn)
{
    LogLines log;
    log.sent(5000, 17);
    log.gaveUp(5700, 17);
    const History history = log.history();
    ASSERT_EQ(history.runs.size(), 1U);
    EXPECT_EQ(history.devices.at(0).commands.size(), 1U);
}

TEST(HistoryBuilder, TornLineIsCountedAndTheRestIsRead)
{
    LogLines log;
    log.start();
    log.lines.append("{\"event\":\"sent\",\"tick");
    log.answeredCommand(0, 1, 2);
    const History history = log.history();
    EXPECT_EQ(history.sources.at(0).notUnderstood, 1U);
    EXPECT_EQ(history.sources.at(0).firstNotUnderstood, 2);
    EXPECT_EQ(tallyOf(history.devices.at(0)).answered, 1U);
}

TEST(HistoryBuilder, RefusalsOfOneClauseAreCountedTogetherWithTheFirstReply)
{
    LogLines log;
    log.start();
    log.given(0, 1);
    log.rejected(10, 1, QStringLiteral("F1/08"), "01 F1 08 03 62 01 00", 353);
    log.rejected(20, 1, QStringLiteral("F1/08"), "02 F1 08 03 62 01 00", 353);
    const History history = log.history();
    ASSERT_EQ(history.devices.at(0).refusals.size(), 1U);
    const Refusal &refusal = history.devices.at(0).refusals.at(0);
    EXPECT_EQ(refusal.count, 2U);
    EXPECT_TRUE(refusal.brokenPayload);
    EXPECT_EQ(refusal.head.at(0), 1);
}

/** The history of logs, each of which is read as a file of its own. */
History historyOf(const std::map<QString, LogLines> &logs)
{
    HistoryBuilder builder;
    for (const auto &[name, log] : logs) {
        builder.beginFile(name);
        for (const QByteArray &text : log.lines) {
            builder.readEventLine(text);
        }
    }
    return builder.take();
}

/** The log of an OSD host that gives one device commands. */
LogLines osdLog(double startAtMs, std::initializer_list<double> givenAtMs)
{
    LogLines log;
    log.line(startAtMs, {{"event", "start"}, {"channel", "osd"}});
    int ticket = 0;
    for (const double atMs : givenAtMs) {
        log.line(atMs, {{"event", "given"}, {"ticket", ++ticket}, {"device", "10.0.0.7"}});
        log.lines.last().replace("\"atMs\":", "\"unused\":");
    }
    return log;
}

TEST(HistoryBuilder, DevicesOfOneNameInTwoLogsOfOneTimeAreTwo)
{
    const History history =
        historyOf({{QStringLiteral("a.jsonl"), osdLog(0, {10, 5000})}, {QStringLiteral("b.jsonl"), osdLog(50, {60})}});
    ASSERT_EQ(history.devices.size(), 2U);
    EXPECT_EQ(history.devices.at(0).title, QStringLiteral("10.0.0.7"));
    EXPECT_EQ(history.devices.at(1).title, QStringLiteral("10.0.0.7 (b.jsonl)"));
}

TEST(HistoryBuilder, DeviceThatALaterLogNamesIsTheSame)
{
    const History history = historyOf(
        {{QStringLiteral("a.jsonl"), osdLog(0, {10, 5000})}, {QStringLiteral("b.jsonl"), osdLog(9000, {9010})}});
    EXPECT_EQ(history.devices.size(), 1U);
}

LoggedReply loggedReply(double atMs, int payloadSize)
{
    LoggedReply logged;
    logged.atMs = LogLines::startMs() + atMs;
    logged.deviceType = LogLines::a2;
    logged.model = QStringLiteral("A2");
    const unsigned char head[] = {0, 0xF1, 0x08, 0x03, 0x62, 0x01, 0};
    std::copy(std::begin(head), std::end(head), logged.reply.ucHead);
    logged.reply.baData = QByteArray(payloadSize, '\1');
    return logged;
}

TEST(HistoryBuilder, ReplyInBothLogsCountsOnce)
{
    LogLines log;
    log.start();
    log.given(0, 1);
    log.rejected(10, 1, QStringLiteral("F1/08"), "01 F1 08 03 62 01 00", 353);
    HistoryBuilder builder;
    builder.beginFile(QStringLiteral("log.jsonl"));
    for (const QByteArray &text : log.lines) {
        builder.readEventLine(text);
    }
    builder.beginFile(QStringLiteral("20260506.log"));
    builder.add(loggedReply(12, 353));
    builder.add(loggedReply(60000, 353));
    const History history = builder.take();
    ASSERT_EQ(history.devices.size(), 2U);
    EXPECT_EQ(history.devices.at(0).refusedReplies, 1U);
    EXPECT_EQ(history.devices.at(1).refusedReplies, 1U) << "the second line is a minute off";
}

TEST(HistoryBuilder, ReplyInBothLogsCountsOnceThoughTheClockWasSetMeanwhile)
{
    LogLines log;
    log.start();
    log.given(0, 1);
    log.rejected(10, 1, QStringLiteral("F1/08"), "01 F1 08 03 62 01 00", 353);
    log.lines.last().replace("14:00:00.010", "14:30:00.010");
    HistoryBuilder builder;
    builder.beginFile(QStringLiteral("log.jsonl"));
    for (const QByteArray &text : log.lines) {
        builder.readEventLine(text);
    }
    constexpr double halfAnHourMs = 30 * 60000.0;
    builder.beginFile(QStringLiteral("20260506.log"));
    builder.add(loggedReply(halfAnHourMs + 12, 353));
    EXPECT_EQ(builder.take().devices.size(), 1U);
}

TEST(HistoryBuilder, LinkSpansEndWhereTheNextBegins)
{
    LogLines log;
    log.start();
    log.link(1, QStringLiteral("up"));
    log.link(5000, QStringLiteral("lost"), QStringLiteral("closed"));
    log.link(9000, QStringLiteral("up"));
    log.end(10000);
    const std::vector<LinkSpan> spans = log.history().devices.at(0).link;
    ASSERT_EQ(spans.size(), 3U);
    EXPECT_EQ(spans.at(1).toMs - spans.at(1).fromMs, 4000.0);
    EXPECT_EQ(spans.at(2).toMs, LogLines::startMs() + 10000);
}

TEST(HistoryBuilder, NumbersThatNobodyWritesAreNone)
{
    LogLines log;
    log.start();
    log.line(1, {{"event", "given"}, {"ticket", -4.5}, {"waitMs", 1e300}, {"name", 7}});
    const History history = log.history();
    ASSERT_EQ(history.devices.at(0).commands.size(), 1U);
    EXPECT_EQ(history.devices.at(0).commands.at(0).waitMs, -1);
}

TEST(HistoryBuilder, RoundTripThatLastsLongerThanAnyRunIsNone)
{
    LogLines log;
    log.start();
    log.answered(1, 1, 1e39);
    EXPECT_EQ(log.history().devices.at(0).commands.at(0).roundTripMs, -1.0F);
}

TEST(HistoryBuilder, CommandsThatOneClearEndsAreOneClear)
{
    LogLines log;
    log.start();
    for (const int ticket : {1, 2, 3}) {
        log.given(ticket, ticket);
    }
    log.line(100, {{"event", "cleared"}, {"ticket", 1}});
    log.line(101, {{"event", "cleared"}, {"ticket", 2}});
    log.line(900, {{"event", "cleared"}, {"ticket", 3}});
    const std::vector<double> clears = log.history().devices.at(0).clears;
    ASSERT_EQ(clears.size(), 2U);
    EXPECT_EQ(clears.at(0), LogLines::startMs() + 100);
    EXPECT_EQ(clears.at(1), LogLines::startMs() + 900);
}

TEST(HistoryBuilder, LinesThatWereLostAreCounted)
{
    LogLines log;
    log.start();
    log.line(10, {{"event", "lost"}, {"lines", 12}});
    EXPECT_EQ(log.history().runs.at(0).lostLines, 12U);
}

/** How the host of one device stands, as a log tells it where it begins. */
QJsonObject standing(const QString &state, double sinceMs, const QJsonObject &counters = {})
{
    const auto since = static_cast<qint64>(LogLines::startMs() + sinceMs);
    return {{"event", "state"},
            {"state", state},
            {"since", QDateTime::fromMSecsSinceEpoch(since, Qt::UTC).toString(Qt::ISODateWithMs)},
            {"reason", "the cable is out"},
            {"counters", counters}};
}

TEST(HistoryBuilder, LinkThatWasLostBeforeTheLogBeganIsLost)
{
    LogLines log;
    log.start();
    log.line(1, standing(QStringLiteral("lost"), -60000));
    log.link(5000, QStringLiteral("up"));
    const Device device = log.history().devices.at(0);
    ASSERT_EQ(device.link.size(), 2U);
    EXPECT_EQ(device.link.at(0).state, biz::host::LinkState::Lost);
    EXPECT_EQ(device.link.at(0).fromMs, LogLines::startMs() - 60000);
    EXPECT_EQ(device.link.at(0).reason, QStringLiteral("the cable is out"));
}

TEST(HistoryBuilder, StateThatIsKnownAlreadyChangesNothing)
{
    LogLines log;
    log.start();
    log.link(100, QStringLiteral("up"));
    log.answeredCommand(200, 1, 5);
    log.line(300, standing(QStringLiteral("up"), 100, {{"answered", 1}}));
    const Device device = log.history().devices.at(0);
    EXPECT_EQ(device.link.size(), 1U);
    EXPECT_EQ(device.forgotten.commands, 0U);
}

TEST(HistoryBuilder, CommandsFromBeforeTheLogAreCountedAndToldOf)
{
    LogLines log;
    log.start();
    log.line(1, standing(QStringLiteral("up"), 0, {{"enqueued", 12}, {"answered", 7}, {"gaveUp", 2}, {"rejected", 3}}));
    log.answeredCommand(200, 8, 5);
    const History history = log.history();
    EXPECT_EQ(history.devices.at(0).forgotten.commands, 9U);
    EXPECT_EQ(history.devices.at(0).refusedReplies, 3U);
    const std::vector<Finding> findings = findingsOf(history);
    EXPECT_TRUE(std::any_of(findings.begin(), findings.end(), [](const Finding &finding) {
        return finding.sentence == QLatin1String("9 commands came before what stands here: 7 answered, 2 not.");
    }));
}

TEST(HistoryBuilder, HostThatWasNeverStartedIsNoFault)
{
    LogLines log;
    log.start();
    log.line(1, standing(QStringLiteral("closed"), 0));
    EXPECT_EQ(findingsOf(log.history()).at(0).severity, Finding::Severity::Note);
}

/** The log of an OSD host, one of whose devices had been silent for a minute. */
LogLines logWithSilentDevice()
{
    LogLines log;
    log.start(-1, QStringLiteral("osd"));
    const auto since = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(LogLines::startMs()) - 60000, Qt::UTC);
    const QJsonObject device{{"device", "10.0.0.7"}, {"silentSince", since.toString(Qt::ISODateWithMs)}};
    log.line(1, {{"event", "state"}, {"silentDevices", QJsonArray{device}}});
    return log;
}

TEST(HistoryBuilder, OsdDeviceThatWasSilentBeforeTheLogBeganIsSilent)
{
    const std::vector<Finding> findings = findingsOf(logWithSilentDevice().history());
    EXPECT_EQ(findings.at(0).kind, Finding::Kind::Silence);
    EXPECT_EQ(findings.at(0).fromMs, LogLines::startMs() - 60000);
    EXPECT_TRUE(findings.at(0).sentence.startsWith("10.0.0.7 had been silent since"));
}

TEST(HistoryBuilder, CommandsThatAnOlderSilenceSwallowsAreOfIt)
{
    LogLines log = logWithSilentDevice();
    log.line(100, {{"event", "given"}, {"ticket", 1}, {"device", "10.0.0.7"}});
    log.line(100, {{"event", "sent"}, {"ticket", 1}, {"device", "10.0.0.7"}});
    log.line(900, {{"event", "gaveUp"}, {"ticket", 1}, {"device", "10.0.0.7"}});
    const std::vector<Silence> silences = silencesOf(log.history().devices.at(0));
    ASSERT_EQ(silences.size(), 1U);
    EXPECT_EQ(silences.at(0).givenUp, 1U);
    EXPECT_FALSE(silences.at(0).isOver);
}

TEST(HistoryBuilder, OlderSilenceEndsWithTheFirstReply)
{
    LogLines log = logWithSilentDevice();
    log.line(100, {{"event", "given"}, {"ticket", 1}, {"device", "10.0.0.7"}});
    log.line(100, {{"event", "sent"}, {"ticket", 1}, {"device", "10.0.0.7"}});
    log.line(130, {{"event", "answered"}, {"ticket", 1}, {"device", "10.0.0.7"}, {"roundTripMs", 30}});
    const std::vector<Silence> silences = silencesOf(log.history().devices.at(0));
    ASSERT_EQ(silences.size(), 1U);
    EXPECT_TRUE(silences.at(0).isOver);
    EXPECT_EQ(silences.at(0).toMs, LogLines::startMs() + 130);
}

TEST(HistoryBuilder, FleetTellsOfEachDeviceByItsName)
{
    LogLines log;
    log.start(-1, QStringLiteral("fleet"));
    log.line(
        1, {{"event", "state"},
            {"devices", QJsonObject{{"hall", QJsonObject{{"state", "up"}, {"counters", QJsonObject{{"answered", 4}}}}},
                                    {"lobby", QJsonObject{{"state", "lost"}}}}}});
    const History history = log.history();
    ASSERT_EQ(history.devices.size(), 2U);
    EXPECT_EQ(history.devices.at(0).title, QStringLiteral("hall"));
    EXPECT_EQ(history.devices.at(0).forgotten.answered, 4U);
    EXPECT_EQ(history.devices.at(1).link.at(0).state, biz::host::LinkState::Lost);
}

TEST(HistoryBuilder, LinkOfAFleetsDeviceEndsWithItsRun)
{
    LogLines log;
    log.start(-1, QStringLiteral("fleet"));
    log.line(100, {{"event", "linkStateChanged"}, {"device", "hall"}, {"state", "lost"}});
    log.line(3600000, {{"event", "start"}, {"channel", "fleet"}});
    EXPECT_EQ(log.history().devices.at(0).link.at(0).toMs, LogLines::startMs() + 100);
}

} // namespace
