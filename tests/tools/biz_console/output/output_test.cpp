#include <gtest/gtest.h>

#include <biz_console/output/event_printer.h>
#include <biz_console/output/osd_table.h>
#include <biz_console/output/summary_lines.h>

using namespace biz::console;
namespace host = biz::host;

namespace {

const QDateTime someTime(QDate(2024, 5, 6), QTime(14, 3, 22, 7));

class ConsolePrinter : public testing::Test
{
protected:
    std::string text()
    {
        stream.flush();
        return written.toStdString();
    }

    EventPrinter printer(bool isTerminal) { return {stream, isTerminal, EventPrinter::Options()}; }

    static host::Event ended(host::EventKind kind)
    {
        host::Event event;
        event.kind = kind;
        event.utcMs = someTime.toMSecsSinceEpoch();
        event.ticket = 1;
        event.name = "get volume";
        return event;
    }

    static host::Event refused()
    {
        host::Event event;
        event.kind = host::EventKind::Refused;
        event.bytes = 3;
        event.reason = "no frame";
        return event;
    }

    static RunProgress progress(int waiting)
    {
        RunProgress progress;
        progress.total = 9;
        progress.ended = 4;
        progress.waiting = waiting;
        progress.inFlight = 1;
        return progress;
    }

    QString written;
    QTextStream stream{&written};
};

TEST_F(ConsolePrinter, AnEventIsALineOfColumns)
{
    host::Event event = ended(host::EventKind::Answered);
    event.sequence = 0x2A;
    event.codes = "F1/08";
    event.attempts = 1;
    event.roundTripMs = 3.2;
    event.reason = "an answer needs no reason";
    printer(false).happened(event);
    EXPECT_EQ(text(), "14:03:22.007  2a   F1/08 get volume                    answered       3.2 ms\n");
}

TEST_F(ConsolePrinter, WhatIsNotKnownStaysEmpty)
{
    host::Event event = ended(host::EventKind::Skipped);
    event.reason = "skip mode was on";
    printer(false).happened(event);
    EXPECT_EQ(text(),
              "14:03:22.007  -    get volume                          skipped                skip mode was on\n");
}

TEST_F(ConsolePrinter, ACommandStoppedBeforeItWasSentHasNoLine)
{
    host::Event event = ended(host::EventKind::Stopped);
    event.attempts = 0;
    printer(false).happened(event);
    EXPECT_EQ(text(), "");
}

TEST_F(ConsolePrinter, ATerminalShowsProgressInPlace)
{
    EventPrinter onTerminal = printer(true);
    onTerminal.progressed(progress(1));
    onTerminal.progressed(progress(0));
    onTerminal.happened(refused());
    onTerminal.happened(refused());
    EXPECT_EQ(text(), "... 4 of 9 ended, 1 waiting, 1 awaiting a reply\r\033[K"
                      "... 4 of 9 ended, 0 waiting, 1 awaiting a reply\r\033[K"
                      "\033[33m3 received bytes refused: no frame\033[0m\n"
                      "\033[33m3 received bytes refused: no frame\033[0m\n");
}

TEST_F(ConsolePrinter, ATerminalShowsEndsWithoutAnAnswerInRed)
{
    EventPrinter onTerminal = printer(true);
    onTerminal.happened(ended(host::EventKind::GaveUp));
    EXPECT_EQ(text().rfind("\033[31m", 0), 0U) << text();
}

TEST_F(ConsolePrinter, AnAnswerHasNoColour)
{
    EventPrinter onTerminal = printer(true);
    onTerminal.happened(ended(host::EventKind::Answered));
    EXPECT_EQ(text().find('\033'), std::string::npos) << text();
}

TEST_F(ConsolePrinter, NoColorIsHonoured)
{
    qputenv("NO_COLOR", "1");
    EventPrinter onTerminal = printer(true);
    qunsetenv("NO_COLOR");
    onTerminal.happened(refused());
    EXPECT_EQ(text(), "3 received bytes refused: no frame\n");
}

TEST_F(ConsolePrinter, ElsewhereProgressIsALineOnceASecondAtMost)
{
    EventPrinter elsewhere = printer(false);
    elsewhere.progressed(progress(1));
    elsewhere.progressed(progress(0));
    elsewhere.happened(refused());
    EXPECT_EQ(text(), "... 4 of 9 ended, 1 waiting, 1 awaiting a reply\n3 received bytes refused: no frame\n");
}

TEST(ConsoleSummary, CountsEveryKindOfEvent)
{
    RunSummary summary;
    summary.counters.sent = 10;
    summary.counters.answered = 8;
    summary.counters.gaveUp = 2;
    summary.counters.rejected = 3;
    summary.counters.resent = 4;
    summary.counters.late = 1;
    summary.counters.duplicate = 5;
    summary.counters.foreign = 6;
    summary.counters.roundTripMedianMs = 2.0;
    summary.counters.roundTripMaxMs = 3.0;
    summary.seconds = 2.0;
    summary.errorLog = "/tmp/Errorlog/20240506.log";
    EXPECT_EQ(summaryLines(summary).join('\n').toStdString(), "summary\n"
                                                              "  sent              10\n"
                                                              "  answered          8\n"
                                                              "  rejected          3\n"
                                                              "  resent            4\n"
                                                              "  given up          2\n"
                                                              "  late              1\n"
                                                              "  duplicate         5\n"
                                                              "  foreign           6\n"
                                                              "  round trip        median 2.0 ms, maximum 3.0 ms\n"
                                                              "  commands a second 5.0 (10 in 2.00 s)\n"
                                                              "  error log         /tmp/Errorlog/20240506.log");
}

OsdDeviceTotals row(const QString &device, quint64 sent, quint64 answered, double roundTripMs = 1.5)
{
    host::Counters counters;
    counters.enqueued = sent;
    counters.sent = sent;
    counters.answered = answered;
    counters.gaveUp = sent - answered;
    for (quint64 i = 0; i < answered; ++i) {
        counters.roundTrips.add(roundTripMs);
    }
    OsdDeviceTotals row;
    row.device = device;
    row.counters += counters;
    return row;
}

TEST(ConsoleOsdTable, AFewDevicesHaveARowEach)
{
    const QStringList lines = osdTable({row("127.0.0.2", 5, 5), row("127.0.0.3", 5, 0)}, false);
    EXPECT_EQ(lines.join('\n').toStdString(),
              "device                        sent  answered timed out   waiting      median     maximum\n"
              "127.0.0.2                        5         5         0         0      1.5 ms      1.5 ms\n"
              "127.0.0.3                        5         0         5         0           -           -");
}

TEST(ConsoleOsdTable, OfManyDevicesThoseThatAnsweredShareARow)
{
    QVector<OsdDeviceTotals> rows(devicesShownEach, row("127.0.0.2", 5, 5));
    rows.append(row("127.0.0.3", 5, 4));
    const QStringList lines = osdTable(rows, false);
    ASSERT_EQ(lines.size(), 3);
    EXPECT_TRUE(lines[1].startsWith("127.0.0.3 "));
    EXPECT_EQ(lines[2].toStdString(),
              "20 answering devices           100       100         0         0      1.5 ms      1.5 ms");
    EXPECT_EQ(osdTable(rows, true).size(), 22);
}

TEST(ConsoleOsdTable, ASharedRowIsOfAllRoundTripsOfItsDevices)
{
    // The median of the devices' medians would be that of the many idle ones.
    QVector<OsdDeviceTotals> rows(devicesShownEach, row("127.0.0.2", 1, 1, 1.0));
    rows.append(row("127.0.0.3", 1000, 1000, 8.0));
    EXPECT_TRUE(osdTable(rows, false).at(1).endsWith("      8.0 ms      8.0 ms"))
        << qPrintable(osdTable(rows, false).at(1));
}

TEST(ConsoleOsdTable, ADeviceThatWasGivenNothingHasNotAnswered)
{
    EXPECT_FALSE(row("127.0.0.2", 0, 0).allAnswered());
}

TEST(ConsoleOsdTable, TellsSinceWhenADeviceIsSilent)
{
    OsdDeviceTotals silent = row("127.0.0.3", 5, 0);
    silent.isReachable = false;
    EXPECT_TRUE(osdTable({silent}, false).at(1).endsWith("  not reached"));
    silent.silentSinceUtcMs = someTime.toMSecsSinceEpoch();
    EXPECT_TRUE(osdTable({silent}, false).at(1).endsWith("  silent since 14:03:22"));
}

} // namespace
