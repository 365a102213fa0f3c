#include <gtest/gtest.h>

#include <biz_console/summary/closing_lines.h>
#include <biz_console/summary/summary_lines.h>

using namespace biz::console;

namespace {

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

TEST(ConsoleSummary, ProgressOfARunWithoutEndCountsItsRounds)
{
    RunProgress progress;
    progress.isEndless = true;
    EXPECT_EQ(progressText(progress), "0 ended in 1 round, 0 waiting, 0 awaiting a reply");
    progress.round = 2;
    progress.ended = 3;
    EXPECT_EQ(progressText(progress), "3 ended in 2 rounds, 0 waiting, 0 awaiting a reply");
}

} // namespace
