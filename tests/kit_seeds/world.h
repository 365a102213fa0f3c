#ifndef BIZ_KIT_SEEDS_WORLD_H
#define BIZ_KIT_SEEDS_WORLD_H

#include <kit_seeds/dice.h>
#include <kit_seeds/ledger.h>
#include <testkit/test_clock.h>

namespace biz::kit_seeds {

/** A host of one channel with its devices, and an application that does whatever it may. */
class World
{
public:
    World(Dice &dice, testkit::TestClock &clock)
        : m_dice(dice)
        , m_clock(clock)
    {
    }
    virtual ~World() = default;
    World(const World &) = delete;
    World &operator=(const World &) = delete;

    /** One call of the host, or one misfortune of a device. */
    virtual void act() = 0;

    /** What must hold at any time. */
    virtual void check() = 0;

    /** All is well from now on: whatever can progress does. */
    void calmDown();

    /** How many commands have not ended, and not been told. */
    virtual bool isQuiet() const = 0;

    /** Destroys the host. */
    virtual void end() = 0;

    const Ledger &ledger() const { return m_ledger; }

protected:
    /** What can be in the way of commands, and would stay. */
    virtual void repair() = 0;

    host::CommandOptions options();

    /** Within a slot: another call, or a thread that has no time for its events. */
    void disturb();

    Dice &m_dice;
    testkit::TestClock &m_clock;
    Ledger m_ledger;

private:
    int m_depth = 0; ///< of calls within calls
    bool m_isCalm = false;
};

} // namespace biz::kit_seeds

#endif
