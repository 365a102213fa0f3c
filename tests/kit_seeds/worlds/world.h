#ifndef BIZ_KIT_SEEDS_WORLD_H
#define BIZ_KIT_SEEDS_WORLD_H

#include <kit_seeds/model/ledger.h>
#include <kit_seeds/model/totals.h>
#include <kit_seeds/worlds/dice.h>
#include <testkit/test_clock.h>

namespace biz::kit_seeds {

/** A host of one channel with its devices, and an application that does whatever it may. */
class World
{
public:
    World(Dice &dice, testkit::TestClock &clock, const ChannelHabits &habits);
    virtual ~World() = default;
    World(const World &) = delete;
    World &operator=(const World &) = delete;

    /** One call of the host, or one misfortune of a device; often right after the thread had no time for a while. */
    void step();

    /** What must hold at any time. */
    virtual void check();

    /** All is well from now on: whatever can progress does. */
    void calmDown();

    /** Whether every command's end has been told. */
    bool isQuiet() const { return m_ledger.areAllTold(); }

    /** Destroys the host. */
    virtual void end() = 0;

    quint64 commands() const { return m_ledger.commands(); }
    quint64 writes() const { return m_ledger.writes(); }
    const Violation &violation() const { return m_violation; }

protected:
    // --- The host

    virtual host::Counters counters() const = 0;
    virtual int pending() const = 0;
    virtual int waiting() const = 0;
    virtual int repliesUnderWay() const { return 0; }

    /** Also fills in the wait. */
    virtual host::Ticket enqueue(Given &given) = 0;

    virtual bool cancel(host::Ticket ticket) = 0;
    virtual bool isLost() const { return false; }
    virtual bool isFailingFast() const { return false; }

    /** How a command that is given now ends at once; Answered: it does not. */
    virtual host::Outcome endOfGiven() const { return host::Outcome::Answered; }

    // --- What happens

    virtual void act() = 0;

    /** What can be in the way of commands, and would stay. */
    virtual void repair() = 0;

    void give(const QString &lane);
    void cancelSomething();

    /** Runs a call that ends all that is pending, or that part of it, in one way. */
    template<typename Call>
    void endAll(host::Outcome outcome, quint64 host::Counters::*total, int expected, const Call &call,
                const QString *lane = nullptr);

    /** Shows the ledger how the host stands. */
    void look();

    /** Within a slot: another call, an event loop, or a thread that has no time for its events. */
    void disturb();

    void noteCallback(const ToldEnd &end);
    void noteEnd(const ToldEnd &end);

    Dice &m_dice;
    testkit::TestClock &m_clock;
    Violation m_violation;
    Ledger m_ledger;
    Totals m_totals;
    bool m_isInSlot = false;
    bool m_isCalm = false;

private:
    host::CommandOptions anyOptions();
    void keepThreadBusy(int mostMs);
    void runEventLoop();

    int m_depth = 0; ///< of calls within calls
};

template<typename Call>
void World::endAll(host::Outcome outcome, quint64 host::Counters::*total, int expected, const Call &call,
                   const QString *lane)
{
    const quint64 before = counters().*total;
    call();
    look();
    m_violation.require(counters().*total - before == static_cast<quint64>(expected),
                        "a call that ends all did not end as many as were pending");
    m_ledger.endAll(outcome, lane);
}

} // namespace biz::kit_seeds

#endif
