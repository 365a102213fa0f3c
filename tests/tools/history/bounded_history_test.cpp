#include <gtest/gtest.h>

#include <support/process_use.h>
#include <tools/history/log_lines.h>
#include <tools/support/memory_use.h>

using namespace biz::history;

namespace {

constexpr std::size_t kept = 10;

class BoundedHistory : public testing::Test
{
protected:
    void read(const LogLines &part)
    {
        for (const QByteArray &line : part.lines) {
            builder.readEventLine(line);
        }
    }

    void SetUp() override { builder.beginFile(QStringLiteral("log.jsonl")); }

    const Device &device() const { return builder.soFar().devices.at(0); }

    /** Of all commands, those that are held and those that are not. */
    Tally all() const
    {
        Tally tally = device().forgotten;
        tally += tallyOf(device());
        return tally;
    }

    HistoryBuilder builder{kept};
    LogLines log;
};

TEST_F(BoundedHistory, HoldsTheLastCommandsAndCountsAll)
{
    log.start();
    for (int i = 1; i <= 1000; ++i) {
        log.answeredCommand(i * 100.0, i, 5.0);
    }
    read(log);
    EXPECT_GE(device().commands.size(), kept);
    EXPECT_LT(device().commands.size(), 2 * kept);
    EXPECT_EQ(device().commands.back().givenMs, LogLines::startMs() + 100000.0);
    EXPECT_EQ(all().commands, 1000U);
    EXPECT_EQ(all().answered, 1000U);
}

TEST_F(BoundedHistory, CommandThatWaitsForLongStaysUntilItEnds)
{
    log.start();
    log.given(1.0, 1, QStringLiteral("patient"));
    for (int i = 2; i <= 100; ++i) {
        log.answeredCommand(i * 100.0, i, 5.0);
    }
    log.sent(20000.0, 1);
    log.answered(20005.0, 1, 5.0);
    read(log);
    EXPECT_EQ(all().commands, 100U);
    EXPECT_EQ(all().answered, 100U);
    EXPECT_EQ(all().notEnded, 0U);
}

TEST_F(BoundedHistory, OpenCommandsAreThoseThatHaveNotEnded)
{
    log.start();
    log.given(1.0, 1);
    log.given(2.0, 2);
    log.sent(3.0, 1);
    read(log);
    EXPECT_EQ(device().openCommands, 2);
    LogLines later;
    later.answered(9.0, 1, 6.0);
    read(later);
    EXPECT_EQ(device().openCommands, 1);
}

TEST_F(BoundedHistory, CommandsWhoseEndsWereLostDoNotFillTheMemory)
{
    log.start();
    for (int i = 1; i <= 1000; ++i) {
        log.given(i * 100.0, i);
    }
    read(log);
    EXPECT_LT(device().commands.size(), 2 * kept);
    EXPECT_EQ(all().commands, 1000U);
}

TEST_F(BoundedHistory, CommandsOfARunThatEndedAreNotOpen)
{
    log.start();
    log.given(1.0, 1);
    log.end(5.0);
    read(log);
    EXPECT_EQ(device().openCommands, 0);
}

TEST_F(BoundedHistory, KindOfRefusalThatWasNotSeenForLongestIsForgotten)
{
    log.start();
    const auto clause = [](int number) {
        return QStringLiteral("payload holds %1 bytes").arg(number);
    };
    for (int i = 0; i < 300; ++i) {
        log.rejected(i, 1, QStringLiteral("F1/08"), "01 F1 08 03 62 01 00", 10, clause(i));
    }
    read(log);
    LogLines again;
    again.rejected(400, 1, QStringLiteral("F1/08"), "01 F1 08 03 62 01 00", 10, clause(299));
    read(again);
    quint64 ofLast = 0;
    for (const Refusal &refusal : device().refusals) {
        EXPECT_NE(refusal.broken, clause(0));
        ofLast += refusal.broken == clause(299) ? refusal.count : 0;
    }
    EXPECT_EQ(ofLast, 2U);
    EXPECT_EQ(device().refusedReplies, 301U);
}

TEST_F(BoundedHistory, SnapshotIsWhatTakeWouldGiveAndReadingGoesOn)
{
    log.start();
    log.link(1.0, QStringLiteral("up"));
    log.answeredCommand(100.0, 1, 5.0);
    read(log);
    const History snapshot = builder.snapshot();
    EXPECT_EQ(snapshot.devices.at(0).link.at(0).toMs, LogLines::startMs() + 105.0);
    EXPECT_EQ(device().link.at(0).toMs, never);
    LogLines later;
    later.answeredCommand(200.0, 2, 5.0);
    read(later);
    EXPECT_EQ(device().commands.size(), 2U);
}

/** Tells of one command after the other, of the devices of a fleet in turn. */
class EndlessCommands
{
public:
    void tell(HistoryBuilder &builder, int commands)
    {
        for (int i = 0; i < commands; ++i) {
            Event event;
            event.utcMs = event.atMs = static_cast<double>(++m_ticket);
            event.ticket = m_ticket;
            event.name = QStringLiteral("show text");
            event.device = QString::number(m_ticket % devices);
            event.kind = Event::Kind::Given;
            builder.add(event);
            event.kind = Event::Kind::Sent;
            builder.add(event);
            event.kind = Event::Kind::Ended;
            event.outcome = biz::host::Outcome::Answered;
            event.roundTripMs = 5.0;
            builder.add(event);
        }
    }

    static constexpr int devices = 200;
    static constexpr int eventsOfACommand = 3;

private:
    quint64 m_ticket = 0;
};

// BIZ_HISTORY_EVENTS asks for more of them.
TEST(HistoryThatGoesOn, TakesNoMoreMemoryOnceItIsFull)
{
    constexpr int keptCommands = 200;
    constexpr int usualEvents = 600000;
    const int asked = qEnvironmentVariableIntValue("BIZ_HISTORY_EVENTS");
    HistoryBuilder builder(keptCommands);
    builder.beginFile(QStringLiteral("log.jsonl"));
    Event start;
    start.kind = Event::Kind::Start;
    start.utcMs = 0.0;
    start.hasOneDevice = false;
    builder.add(start);
    EndlessCommands commands;
    commands.tell(builder, 2 * keptCommands * EndlessCommands::devices);
    resetPeakMemory();
    const qint64 full = peakMemory();
    commands.tell(builder, (asked > 0 ? asked : usualEvents) / EndlessCommands::eventsOfACommand);
    if (!biz::test::keepsFreedMemory) {
        EXPECT_LE(peakMemory(), full + full / 10);
    }
    EXPECT_EQ(builder.soFar().devices.size(), static_cast<std::size_t>(EndlessCommands::devices));
}

} // namespace
