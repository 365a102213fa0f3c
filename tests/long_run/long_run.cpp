#include <long_run/long_run.h>

#include <cstdio>
#include <cstdlib>

#include <QtCore/QTimer>

namespace biz::long_run {

using namespace std::chrono_literals;

namespace {

/** Between two looks at the counters. */
constexpr milliseconds lookEvery = 1s;

/** Enough for every command to end, whatever waits. */
constexpr milliseconds calmTime = 2min;

/** How much more or less memory counts as the same. */
constexpr double flatWithin = 0.01;

bool isFlat(qint64 first, qint64 later)
{
    return std::abs(static_cast<double>(later - first)) <= flatWithin * static_cast<double>(first);
}

/** Of so many rounds the first is for histograms and queues to become as long as they ever are. */
constexpr std::size_t warmUpShare = 4;

double mebibytes(qint64 bytes)
{
    return static_cast<double>(bytes) / (1024.0 * 1024.0);
}

} // namespace

LongRun::LongRun(testkit::TestClock &clock, const Plan &plan)
    : m_totals(&m_violation)
    , m_clock(clock)
    , m_plan(plan)
{
    m_memory.reserve(static_cast<std::size_t>(plan.duration / plan.round));
}

std::string LongRun::go()
{
    const auto rounds = static_cast<int>(m_plan.duration / m_plan.round);
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, &timer, [this] { give(); });
    timer.start(pace());
    for (int round = 0; round < rounds && m_violation.isEmpty(); ++round) {
        for (int slot = 0; slot < slots() && m_violation.isEmpty(); ++slot) {
            beginSlot(slot);
            runSlot(milliseconds(m_plan.round) / slots());
        }
        if (!m_clock.runUntil([this] { return m_open.empty(); }, calmTime)) {
            m_violation.note("the host is not through with its commands at the end of a round");
        }
        m_memory.push_back(memoryUse());
    }
    timer.stop();
    if (!m_clock.runUntil([this] { return m_open.empty(); }, calmTime)) {
        m_violation.note("a command does not end");
    }
    check();
    if (m_violation.isEmpty()) {
        m_violation.require(kit_seeds::endsOf(counters()) == m_given, "not every command is counted as ended");
        checkEnd(rounds);
        checkMemory();
    }
    return m_violation.text();
}

void LongRun::runSlot(milliseconds length)
{
    for (milliseconds gone(0); gone < length && m_violation.isEmpty(); gone += lookEvery) {
        m_clock.advance(std::min(lookEvery, length - gone));
        forgetCommands();
        check();
    }
}

void LongRun::check()
{
    m_totals.check(counters(), static_cast<int>(m_given), pending(), waiting(), repliesUnderWay());
}

std::size_t LongRun::warmUpRounds() const
{
    return static_cast<std::size_t>(m_plan.duration / m_plan.round) / warmUpShare;
}

void LongRun::checkMemory()
{
    const MemoryUse &warm = m_memory[warmUpRounds()];
    for (std::size_t round = warmUpRounds(); round < m_memory.size(); ++round) {
        if (!isFlat(warm.heap, m_memory[round].heap) || !isFlat(warm.resident, m_memory[round].resident)) {
            m_violation.note("the memory after a round is not that after the warm-up");
        }
    }
}

// --- What is seen -----------------------------------------------------------------------------

void LongRun::noteGiven(host::Ticket ticket)
{
    m_violation.require(ticket != 0, "a command was refused");
    ++m_given;
    m_open.insert(ticket);
    if (m_plan.planted == Planted::Leak) {
        constexpr int bytesOfEach = 256;
        m_leak.emplace_back(bytesOfEach, 'x');
    }
}

void LongRun::noteEnd(host::Ticket ticket, host::Outcome outcome, double roundTripMs)
{
    m_violation.require(m_open.erase(ticket) == 1, ticket, "ended twice, or was never given");
    kit_seeds::ToldEnd end;
    end.ticket = ticket;
    end.outcome = outcome;
    end.roundTripMs = roundTripMs;
    m_totals.toldEnd(end);
}

void LongRun::noteWrite(bool isFirst, int bytes)
{
    m_totals.noteWrite(isFirst, bytes + (m_plan.planted == Planted::Miscount ? 1 : 0));
}

// --- For people -------------------------------------------------------------------------------

void LongRun::print() const
{
    const host::Counters all = counters();
    for (const host::CounterRow &row : host::counterRows) {
        if (all.*row.value > 0) {
            std::printf("  %-14s %llu\n", row.name, static_cast<unsigned long long>(all.*row.value));
        }
    }
    std::printf("  round trip     %.1f to %.1f ms, median %.1f\n", all.roundTripMinMs, all.roundTripMaxMs,
                all.roundTripMedianMs);
    std::printf("  devices        %s\n", qPrintable(testkit::summaryText(tally())));
    for (const std::size_t round : {std::size_t{0}, warmUpRounds(), m_memory.size() - 1}) {
        if (round < m_memory.size()) {
            std::printf("  round %-3zu      %.3f MiB of heap, %.3f MiB resident\n", round + 1,
                        mebibytes(m_memory[round].heap), mebibytes(m_memory[round].resident));
        }
    }
}

} // namespace biz::long_run
