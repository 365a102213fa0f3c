#include <gtest/gtest.h>

#include <ctime>
#include <iostream>

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

#include <report/drawing/html.h>
#include <report/report_page.h>
#include <support/process_use.h>
#include <tools/history/log_lines.h>
#include <tools/support/memory_use.h>

using namespace biz;

namespace {

QString pageOf(const history::History &history)
{
    return QString::fromUtf8(report::reportPage(history, history::findingsOf(history), {QStringLiteral("test"), 0.0}));
}

/** Texts as somebody would send them who wants to take over the reader's page. */
const char *const hostileTexts[] = {
    "<script>alert(1)</script>",
    "\"><img src=x onerror=alert(1)>",
    "'/><svg onload=alert(1)>",
    "</style><link rel=stylesheet href=http://example.invalid/x.css>",
    "</title></desc></text><iframe src=http://example.invalid/>",
    "&lt;b&gt; &amp;",
    "]]><!-- --><a href=javascript:alert(1)>x</a>",
};

TEST(ReportPage, HoldsNothingOfAHostileTextButTheText)
{
    for (const char *hostile : hostileTexts) {
        const QString text = QString::fromLatin1(hostile);
        LogLines log;
        log.line(0, {{"event", "start"},
                     {"channel", "device"},
                     {"deviceType", LogLines::a2},
                     {"link", text},
                     {"tool", text},
                     {"library", text},
                     {"environment", text}});
        log.given(1, 1, text);
        log.sent(2, 1);
        log.rejected(3, 1, text, "01 F1 08 03 62 01 00", 353, text);
        log.line(4, {{"event", "refused"}, {"reason", text}, {"bytes", 3}});
        log.link(5, QStringLiteral("lost"), text);
        log.gaveUp(6, 1);
        log.line(7, {{"event", "problem"}, {"reason", text}});
        const QString page = pageOf(log.history());
        EXPECT_FALSE(page.contains(text)) << hostile;
        EXPECT_TRUE(page.contains(report::escaped(text))) << hostile;
        const QRegularExpression alien(
            QStringLiteral("<(script|img|iframe|link|a href=.?[^#\"]|object|embed)|<[^>]* on[a-z]+="));
        EXPECT_FALSE(alien.match(page).hasMatch()) << alien.match(page).captured().toStdString();
    }
}

TEST(ReportPage, CharactersThatTurnOrHideATextAreShown)
{
    EXPECT_EQ(report::escaped(QStringLiteral("a\u202Eb")), QStringLiteral("a[U+202E]b"));
    EXPECT_EQ(report::escaped(QString(QChar(0))), QStringLiteral("[U+0000]"));
    EXPECT_EQ(report::escaped(QStringLiteral("\n")), QStringLiteral("[U+000A]"));
    EXPECT_EQ(report::escaped(QString(QChar(0xD800))), QStringLiteral("[U+D800]"));
    EXPECT_EQ(report::escaped(QStringLiteral("Bühne \U0001F600")), QStringLiteral("Bühne \U0001F600"));
}

TEST(ReportPage, ClearIsAMarkOnTheTimelineWithItsNameInTheLegend)
{
    LogLines log;
    log.start();
    log.given(1, 1);
    log.given(2, 2);
    log.line(100, {{"event", "cleared"}, {"ticket", 1}});
    log.line(101, {{"event", "cleared"}, {"ticket", 2}});
    const QString page = pageOf(log.history());
    EXPECT_EQ(page.count(QStringLiteral("<title>cleared ")), 1);
    EXPECT_TRUE(page.contains(QStringLiteral("cleared by the host")));
}

TEST(ReportPage, NamesNoAddressThatABrowserWouldFetch)
{
    LogLines log;
    log.start();
    log.answeredCommand(0, 1, 2);
    const QString page = pageOf(log.history());
    EXPECT_FALSE(page.contains(QStringLiteral("http")) && !page.contains(QStringLiteral("http-equiv")));
    EXPECT_FALSE(QRegularExpression(QStringLiteral("(src|href)=\"[^#]|url\\([^#]|@import")).match(page).hasMatch());
    EXPECT_TRUE(page.contains(QStringLiteral("default-src 'none'")));
}

TEST(ReportPage, DrawingsHaveATitleAndADescription)
{
    LogLines log;
    log.start();
    log.answeredCommand(0, 1, 2);
    const QString page = pageOf(log.history());
    const auto drawings = page.count(QStringLiteral("<svg class=\"drawing\" role=\"img\""));
    EXPECT_GE(drawings, 5);
    EXPECT_EQ(page.count(QRegularExpression(
                  QStringLiteral("<svg class=\"drawing\"[^>]*><title>[^<]+</title>\\s*<desc>[^<]+"))),
              drawings);
}

TEST(ReportPage, BytesThatBrokeTheRuleAreMarked)
{
    LogLines log;
    log.start();
    log.given(0, 1);
    log.rejected(1, 1, QStringLiteral("F1/08"), "01 F1 08 10 62 01 00", 354);
    EXPECT_TRUE(pageOf(log.history()).contains(QStringLiteral("<code>01 F1 08 <mark>10</mark> 62 01 00</code>")));
}

TEST(ReportPage, PayloadOfTheWrongSizeIsMarked)
{
    LogLines log;
    log.start();
    log.given(0, 1);
    log.rejected(1, 1, QStringLiteral("F1/08"), "01 F1 08 03 62 01 00", 353);
    EXPECT_TRUE(pageOf(log.history()).contains(QStringLiteral("<mark>353 bytes</mark>")));
}

/** A day of commands, some of which fail, on devices without number. */
QList<QByteArray> longRun(int commands, int devices)
{
    LogLines log;
    log.start(-1, devices == 1 ? QStringLiteral("device") : QStringLiteral("osd"));
    for (int ticket = 1; ticket <= commands; ++ticket) {
        const double atMs = ticket * 850.0;
        QJsonObject command{{"ticket", ticket}, {"name", "get scene"}, {"command", "F1/08"}, {"waitMs", 2000}};
        if (devices > 1) {
            command.insert(QStringLiteral("device"),
                           QStringLiteral("10.0.%1.%2").arg(ticket % devices / 250).arg(ticket % devices % 250 + 1));
        }
        const auto add = [&log, &command](const char *event, double ms) {
            command.insert(QStringLiteral("event"), QString::fromLatin1(event));
            log.line(ms, command);
        };
        add("given", atMs);
        add("sent", atMs + 3);
        command.insert(QStringLiteral("roundTripMs"), 2.0 + ticket % 97);
        add(ticket % 20 == 0 ? "gaveUp" : "answered", atMs + 5 + ticket % 97);
    }
    return log.lines;
}

history::History historyOf(const QList<QByteArray> &lines)
{
    history::HistoryBuilder builder;
    builder.beginFile(QStringLiteral("long.jsonl"));
    for (const QByteArray &line : lines) {
        builder.readEventLine(line);
    }
    return builder.take();
}

TEST(ReportPage, LongRunHasLinkedStretchesAndSaysThatItIsThinned)
{
    const QString page = pageOf(historyOf(longRun(20000, 1)));
    const auto links = page.count(QStringLiteral("<a href=\"#stretch-"));
    EXPECT_GT(links, 3);
    EXPECT_EQ(page.count(QStringLiteral("<h3 id=\"stretch-")), links);
    EXPECT_TRUE(page.contains(QStringLiteral("Thinned: 20,000 commands are drawn as")));
}

TEST(ReportPage, ShortRunHasNoStretchesAndIsNotThinned)
{
    const QString page = pageOf(historyOf(longRun(100, 1)));
    EXPECT_FALSE(page.contains(QStringLiteral("stretch-")));
    EXPECT_FALSE(page.contains(QStringLiteral("Thinned")));
}

class ReportOfManyEvents : public testing::TestWithParam<int>
{
};

TEST_P(ReportOfManyEvents, KeepsItsBudget)
{
    constexpr int commands = 33400; // three events each
    constexpr qint64 mostMs = 5000; // of a processor, whatever else keeps it busy
    constexpr qint64 mostBytes = 2000000;
    constexpr qint64 mostMemory = 200000000;
    const QList<QByteArray> lines = longRun(commands, GetParam());
    ASSERT_GE(lines.size(), 100000);
    resetPeakMemory();
    const std::clock_t before = std::clock();
    const QByteArray page = pageOf(historyOf(lines)).toUtf8();
    const qint64 ms = (std::clock() - before) * 1000 / CLOCKS_PER_SEC;
    const qint64 memory = peakMemory(); // with the log itself, which this test has in memory
    std::cout << lines.size() << " events of " << GetParam() << " devices: " << ms << " ms, page of "
              << page.size() / 1000 << " kB, " << memory / 1000000 << " MB of memory" << std::endl;
    EXPECT_LE(page.size(), mostBytes);
    if (!test::keepsFreedMemory) { // a sanitizer takes its share of both
        EXPECT_LE(ms, mostMs);
        EXPECT_LE(memory, mostMemory);
    }
}

INSTANTIATE_TEST_SUITE_P(Devices, ReportOfManyEvents, testing::Values(1, 20, 500));

} // namespace
