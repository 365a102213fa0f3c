#ifndef BIZ_LONG_RUN_LONG_RUN_H
#define BIZ_LONG_RUN_LONG_RUN_H

#include <set>
#include <vector>

#include <kit_seeds/model/totals.h>
#include <kit_seeds/model/violation.h>
#include <long_run/memory_use.h>
#include <testkit/device_tally.h>
#include <testkit/test_clock.h>

namespace biz::long_run {

using std::chrono::milliseconds;
using std::chrono::seconds;

/** A deliberate error of the run itself, to see that it is noticed. */
enum class Planted {
    Nothing,
    Leak,     ///< something is kept of each command
    Miscount, ///< a byte is counted that was not written
    LostLine, ///< the error log lacks its last line
};

struct Plan
{
    seconds duration{0};
    seconds round{0}; ///< the time in which everything goes wrong once
    Planted planted = Planted::Nothing;
};

/**
 * A host and simulated devices for many hours of virtual time. Commands are given at a steady pace; in each round every
 * fault and every outage happens once. What is looked at: each command ends once, the host counts what was seen on the
 * line, and from a quarter of the rounds on the memory after each
 * is the same.
 */
class LongRun
{
public:
    LongRun(testkit::TestClock &clock, const Plan &plan);
    virtual ~LongRun() = default;
    LongRun(const LongRun &) = delete;
    LongRun &operator=(const LongRun &) = delete;

    /** Returns what did not hold; empty: all did. */
    std::string go();

    /** For people: what happened, and how much memory it took. */
    void print() const;

protected:
    virtual host::Counters counters() const = 0;
    virtual int pending() const = 0;
    virtual int waiting() const = 0;
    virtual int repliesUnderWay() const { return 0; }
    virtual testkit::DeviceTally tally() const = 0;

    /** Time between two calls of give(). */
    virtual milliseconds pace() const = 0;
    virtual void give() = 0;

    /** A round is so many slots of the same length... */
    virtual int slots() const = 0;

    /** ...and each begins with this. */
    virtual void beginSlot(int slot) = 0;

    /** The devices are to keep no more than they need. */
    virtual void forgetCommands() = 0;

    /** What else must hold when all is over. */
    virtual void checkEnd(int rounds) = 0;

    void noteGiven(host::Ticket ticket);
    void noteEnd(host::Ticket ticket, host::Outcome outcome, double roundTripMs);
    void noteWrite(bool isFirst, int bytes);

    Planted planted() const { return m_plan.planted; }

    kit_seeds::Violation m_violation;
    kit_seeds::Totals m_totals;

private:
    void runSlot(milliseconds length);
    void check();
    void checkMemory();
    std::size_t warmUpRounds() const;

    testkit::TestClock &m_clock;
    const Plan m_plan;
    quint64 m_given = 0;
    std::set<host::Ticket> m_open;   ///< given, and their end has not been told
    std::vector<MemoryUse> m_memory; ///< at the end of each round
    std::vector<QByteArray> m_leak;
};

} // namespace biz::long_run

#endif
