#include <tools/biz_monitor/window_fixture.h>

#include <QtWidgets/QTabWidget>
#include <QtWidgets/QTextBrowser>

#include <biz_monitor/window/report_saver.h>

namespace {

enum ListColumn { Name, State, Waiting, RoundTrip, NotAnswered, Refused };

TEST_F(WindowTest, FollowedLogFillsTheListAndThePage)
{
    log.start();
    log.answeredCommand(10, 1, 5);
    log.given(20, 2);
    write();
    watch();
    // The last line; a machine that is busy reads the log in several pieces.
    ASSERT_TRUE(comesTrue([this] {
        return cell("Devices", 0, Waiting) == QLatin1String("1") && textOf("Queue") == QLatin1String("1 waiting");
    }));
    EXPECT_EQ(cell("Devices", 0, Name), QStringLiteral("A2 at tcp://10.0.0.1:15700"));
    EXPECT_EQ(cell("Devices", 0, State), QStringLiteral("answers"));
    EXPECT_EQ(cell("Devices", 0, RoundTrip), QStringLiteral("5.00 ms"));
    EXPECT_EQ(textOf("Device"), QStringLiteral("A2 at tcp://10.0.0.1:15700"));
}

TEST_F(WindowTest, LinesThatComeLaterAreShown)
{
    log.start();
    log.answeredCommand(10, 1, 5);
    write();
    watch();
    ASSERT_TRUE(comesTrue([this] { return cell("Devices", 0, State) == QLatin1String("answers"); }));
    log.unansweredCommand(1000, 2);
    log.unansweredCommand(2000, 3);
    write();
    EXPECT_TRUE(comesTrue([this] { return cell("Devices", 0, State) == QLatin1String("silent"); }));
    EXPECT_EQ(cell("Devices", 0, NotAnswered), QStringLiteral("2"));
}

TEST_F(WindowTest, CommandInFlightIsNamed)
{
    log.start();
    log.given(1, 1, QStringLiteral("get scene"));
    log.sent(2, 1);
    write();
    watch();
    EXPECT_TRUE(comesTrue([this] { return textOf("Command in flight").startsWith(QLatin1String("get scene, for ")); }));
    EXPECT_TRUE(textOf("Command in flight").endsWith(QStringLiteral("of 500 ms")));
}

TEST_F(WindowTest, RefusedReplyShowsItsClauseAndItsMarkedBytes)
{
    log.start();
    log.given(1, 1);
    log.sent(2, 1);
    // The index, byte 3 of the head, is too great.
    log.rejected(5, 1, QStringLiteral("F1/08"), "01 F1 08 10 62 01 00", 354, QStringLiteral("index 16, at most 15"));
    write();
    watch();
    ASSERT_TRUE(comesTrue([this] { return rows("Refused replies") == 1; }));
    EXPECT_EQ(cell("Refused replies", 0, 3), QStringLiteral("index 16, at most 15"));
    const auto *const reply = part<QTextBrowser>("The refused reply that is chosen");
    part<QAbstractItemView>("Refused replies")
        ->setCurrentIndex(part<QAbstractItemView>("Refused replies")->model()->index(0, 0));
    EXPECT_TRUE(reply->toPlainText().contains(QStringLiteral("01 F1 08 [10] 62 01 00")))
        << qPrintable(reply->toPlainText());
    EXPECT_TRUE(reply->toPlainText().contains(QStringLiteral("index at most 15, then length 354")));
}

TEST_F(WindowTest, HostileTextsAreShownAsTheyAre)
{
    log.start();
    log.given(1, 1, QStringLiteral("<b>bold</b>"));
    log.sent(2, 1);
    log.rejected(5, 1, QStringLiteral("F1/08"), "01 F1 08 10 62 01 00", 354, QStringLiteral("<img src=x>"));
    write();
    watch();
    ASSERT_TRUE(comesTrue([this] { return rows("Refused replies") == 1; }));
    part<QAbstractItemView>("Refused replies")
        ->setCurrentIndex(part<QAbstractItemView>("Refused replies")->model()->index(0, 0));
    EXPECT_TRUE(
        part<QTextBrowser>("The refused reply that is chosen")->toPlainText().contains(QStringLiteral("<img src=x>")));
    EXPECT_TRUE(textOf("Command in flight").startsWith(QStringLiteral("<b>bold</b>")));
    EXPECT_EQ(part<QLabel>("Command in flight")->textFormat(), Qt::PlainText);
    const QModelIndex clause = part<QAbstractItemView>("Refused replies")->model()->index(0, 3);
    EXPECT_TRUE(clause.data(Qt::ToolTipRole).toString().contains(QStringLiteral("&lt;img src=x&gt;")));
}

TEST_F(WindowTest, ChosenRefusalStaysChosenWhenAnotherComesBeforeIt)
{
    log.start();
    log.given(1, 1);
    for (const char *const clause : {"the first", "the second"}) {
        log.rejected(5 + log.lines.size(), 1, QStringLiteral("F1/08"), "01 F1 08 10 62 01 00", 354,
                     QString::fromLatin1(clause));
    }
    write();
    watch();
    ASSERT_TRUE(comesTrue([this] { return rows("Refused replies") == 2; }));
    auto *const table = part<QAbstractItemView>("Refused replies");
    table->setCurrentIndex(table->model()->index(0, 3));
    ASSERT_EQ(table->currentIndex().data().toString(), QStringLiteral("the second"));
    log.rejected(1000, 1, QStringLiteral("F1/08"), "01 F1 08 10 62 01 00", 354, QStringLiteral("the first"));
    write();
    ASSERT_TRUE(comesTrue([this] { return cell("Refused replies", 0, 3) == QLatin1String("the first"); }));
    EXPECT_EQ(table->currentIndex().data().toString(), QStringLiteral("the second"));
}

TEST_F(WindowTest, EndOfARunIsShownInTheListAsOnThePage)
{
    log.start();
    log.link(10, QStringLiteral("lost"));
    log.given(20, 1);
    write();
    watch();
    ASSERT_TRUE(comesTrue([this] { return cell("Devices", 0, State) == QLatin1String("link lost"); }));
    log.end(5000);
    write();
    EXPECT_TRUE(comesTrue([this] { return cell("Devices", 0, State) == QLatin1String("no command"); }));
    EXPECT_EQ(cell("Devices", 0, Waiting), QStringLiteral("–"));
}

TEST_F(WindowTest, CommandsWhoseEndsWereLostWaitNoLonger)
{
    log.start();
    log.given(10, 1);
    log.line(20, {{"event", "lost"}, {"lines", 7}});
    write();
    watch();
    ASSERT_TRUE(comesTrue([this] { return textOf("Queue") == QLatin1String("1 waiting"); }));
    log.line(5000, {{"event", "state"}, {"state", "up"}, {"pending", 0}});
    write();
    EXPECT_TRUE(comesTrue([this] { return textOf("Queue") == QLatin1String("empty"); }));
    EXPECT_TRUE(comesTrue([this] { return textOf("Log").contains(QLatin1String("7 lines")); }));
}

TEST_F(WindowTest, LogWhoseClockWasSetIsShownAtItsOwnTime)
{
    log.start();
    log.answeredCommand(10, 1, 5);
    const QString now = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    log.lines.last().replace("2026-05-06T14:00:00.015Z", now.toUtf8());
    write();
    biz::monitor::WatchedLog watched(std::make_unique<biz::monitor::FileSource>(path()));
    ASSERT_TRUE(biz::test::waitFor([&] { return watched.isLive(); }));
    constexpr double minuteMs = 60000.0;
    EXPECT_LT(watched.nowMs() - LogLines::startMs(), minuteMs);
}

TEST_F(WindowTest, FileThatIsNoLogIsSaidToBeNone)
{
    log.lines << "what is this";
    write();
    watch();
    EXPECT_TRUE(comesTrue([this] { return textOf("Log").contains(QLatin1String("an event log or a recording")); }));
}

TEST_F(WindowTest, DevicesOfOneLogStandInTheOrderOfTheirNumbers)
{
    log.start(-1, QStringLiteral("osd"));
    for (const char *const address : {"10.0.0.10", "10.0.0.2", "10.0.0.1"}) {
        log.line(1, {{"event", "given"}, {"ticket", 1 + written + log.lines.size()}, {"device", address}});
    }
    write();
    watch();
    ASSERT_TRUE(comesTrue([this] { return rows("Devices") == 3; }));
    EXPECT_EQ(cell("Devices", 0, Name), QStringLiteral("10.0.0.1"));
    EXPECT_EQ(cell("Devices", 1, Name), QStringLiteral("10.0.0.2"));
    EXPECT_EQ(cell("Devices", 2, Name), QStringLiteral("10.0.0.10"));
}

TEST_F(WindowTest, OneCallSavesAReportBesideTheLog)
{
    log.start();
    log.answeredCommand(10, 1, 5);
    write();
    watch();
    ASSERT_TRUE(comesTrue([this] { return rows("Devices") == 1; }));
    QString saved;
    QObject::connect(&window, &biz::monitor::MonitorWindow::reportSaved, &window,
                     [&saved](const QString &file) { saved = file; });
    window.saveReport();
    ASSERT_TRUE(biz::test::waitFor([&saved] { return !saved.isEmpty(); }));
    EXPECT_TRUE(saved.startsWith(folder.path())) << qPrintable(saved);
    QFile page(saved);
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    EXPECT_TRUE(page.readAll().contains("A2 at tcp://10.0.0.1:15700"));
}

TEST(ReportSaver, MakesEveryReportThatIsAskedForMeanwhile)
{
    const biz::test::ScratchFolder folder;
    LogLines log;
    log.start();
    log.answeredCommand(10, 1, 5);
    const biz::history::History history = log.history();
    QStringList saved;
    biz::monitor::ReportSaver saver;
    QObject::connect(&saver, &biz::monitor::ReportSaver::saved, &saver,
                     [&saved](const QString &path) { saved.append(path); });
    const QStringList asked{folder.path("first.html"), folder.path("second.html"), folder.path("third.html")};
    for (const QString &path : asked) {
        saver.save(history, path);
    }
    EXPECT_TRUE(biz::test::waitFor([&] { return saved == asked; })) << qPrintable(saved.join(' '));
}

TEST(ReportSaver, MakesWhatIsWaitingBeforeItsEnd)
{
    const biz::test::ScratchFolder folder;
    {
        biz::monitor::ReportSaver saver;
        saver.save({}, folder.path("first.html"));
        saver.save({}, folder.path("second.html"));
    }
    EXPECT_TRUE(QFile::exists(folder.path("second.html")));
}

} // namespace
