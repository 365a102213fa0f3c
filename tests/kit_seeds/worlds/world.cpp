#include <kit_seeds/worlds/world.h>

#include <thread>

#include <QtCore/QEventLoop>
#include <QtCore/QScopedValueRollback>
#include <QtCore/QTimer>

namespace biz::kit_seeds {

using host::Outcome;
using host::Ticket;

namespace {

constexpr int deepestCalls = 3;
constexpr int largestBurst = 4;
constexpr int longestNap = 60;
constexpr int longestKeptBusy = 300;
constexpr int longestLoop = 300;

} // namespace

World::World(Dice &dice, testkit::TestClock &clock, const ChannelHabits &habits)
    : m_dice(dice)
    , m_clock(clock)
    , m_ledger(habits, &m_violation)
    , m_totals(&m_violation)
{
}

void World::step()
{
    // What the loops report meanwhile waits for the thread, and so the call comes before it is looked at.
    if (m_dice.chance(12)) {
        keepThreadBusy(longestNap);
    }
    act();
}

void World::check()
{
    look();
    const int taken = pending() - waiting();
    m_violation.require(taken >= m_ledger.inFlight() - m_ledger.hidden(), "fewer are taken than were written");
    m_totals.check(counters(), m_ledger.given(), pending(), waiting(), repliesUnderWay());
    m_ledger.check();
}

void World::calmDown()
{
    m_isCalm = true;
    repair();
}

void World::look()
{
    m_ledger.look(endsOf(counters()), isLost(), isFailingFast());
}

// --- Calls ------------------------------------------------------------------------------------

host::CommandOptions World::anyOptions()
{
    host::CommandOptions options;
    if (m_dice.chance(15)) {
        options.validFor = milliseconds(m_dice.between(1, 2000));
    }
    if (m_dice.chance(25)) {
        options.replaceKey = QString::number(m_dice.below(3));
    }
    options.urgent = m_dice.chance(20);
    return options;
}

void World::give(const QString &lane)
{
    for (int i = m_dice.between(1, largestBurst); i > 0; --i) {
        Given given{m_ledger.nextMark(), lane, anyOptions(), milliseconds(0)};
        look();
        const Outcome atOnce = endOfGiven();
        const host::Counters before = counters();
        const Ticket ticket = enqueue(given);
        const host::Counters after = counters();
        const bool isOver = after.skipped + after.unreachable > before.skipped + before.unreachable;
        m_violation.require(isOver == (atOnce != Outcome::Answered), ticket, "did not wait, or did so for nothing");
        look();
        m_ledger.given(ticket, given, static_cast<int>(after.superseded - before.superseded), isOver, atOnce);
    }
}

void World::cancelSomething()
{
    const auto open = m_ledger.open();
    const bool isOld = open.isEmpty() || m_dice.chance(10);
    const Ticket ticket = isOld ? m_ledger.anyOver() : open.at(m_dice.below(static_cast<int>(open.size())));
    if (ticket == 0) {
        return;
    }
    look();
    const quint64 before = counters().cancelled;
    const bool isTaken = cancel(ticket);
    m_violation.require(counters().cancelled - before == (isTaken ? 1 : 0), ticket, "was cancelled and not counted");
    m_ledger.cancelled(ticket, isTaken);
    look();
}

// --- Slots ------------------------------------------------------------------------------------

void World::keepThreadBusy(int mostMs)
{
    const milliseconds duration(m_dice.between(1, mostMs));
    journal.tell("the thread is busy for %lld ms", static_cast<long long>(duration.count()));
    busyTimes.add(now(), now() + duration);
    std::this_thread::sleep_for(duration);
}

void World::runEventLoop()
{
    journal.tell("a slot runs an event loop");
    QEventLoop loop;
    QTimer::singleShot(m_dice.between(1, longestLoop), Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
    check();
}

void World::disturb()
{
    if (m_isCalm) {
        return;
    }
    const QScopedValueRollback<bool> inSlot(m_isInSlot, true);
    if (m_depth < deepestCalls && m_dice.chance(5)) {
        ++m_depth;
        if (m_dice.chance(20)) {
            runEventLoop();
        } else {
            act();
        }
        --m_depth;
    }
    if (m_dice.chance(1)) {
        keepThreadBusy(longestKeptBusy);
    }
}

void World::noteCallback(const ToldEnd &end)
{
    m_ledger.toldCallback(end);
}

void World::noteEnd(const ToldEnd &end)
{
    m_ledger.toldEnd(end);
    m_totals.toldEnd(end);
}

} // namespace biz::kit_seeds
