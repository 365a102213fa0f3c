#include <gtest/gtest.h>

#include <biz_console/output/event_printer.h>

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

TEST_F(ConsolePrinter, EqualRefusalsInARowAreOneLineAndTheirNumber)
{
    EventPrinter lines = printer(false);
    for (int i = 0; i < 1000; ++i) {
        lines.happened(refused());
    }
    host::Event other = refused();
    other.bytes = 4;
    lines.happened(other);
    EXPECT_EQ(text(), "3 received bytes refused: no frame\n"
                      "    and 999 more of the kind\n"
                      "4 received bytes refused: no frame\n");
}

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
    onTerminal.happened(ended(host::EventKind::Opened)); // has no line
    onTerminal.progressed(progress(0));
    EXPECT_EQ(text(), "... 4 of 9 ended, 1 waiting, 1 awaiting a reply\r\033[K"
                      "... 4 of 9 ended, 0 waiting, 1 awaiting a reply\r\033[K"
                      "\033[33m3 received bytes refused: no frame\033[0m\n"
                      "... 4 of 9 ended, 0 waiting, 1 awaiting a reply");
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

} // namespace
