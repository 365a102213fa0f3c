#ifndef BIZ_CONSOLE_TURNS_H
#define BIZ_CONSOLE_TURNS_H

#include <vector>

namespace biz::console {

/** When a command was given in a recorded run. */
struct Turn
{
    int endsBefore = 0;   ///< commands that had ended by then
    double delayMs = 0.0; ///< since the last of these ends, or since the start
};

/**
 * Gives the commands of a session when they were given in a recorded run: after as many ends, and so long after
 * the last of them. Times are milliseconds since the start of the run.
 */
class Turns
{
public:
    /** Without turns every command may be given at any time. */
    explicit Turns(std::vector<Turn> turns);

    void noteEnd(double nowMs) { m_endsAtMs.push_back(nowMs); }

    /** Whether the next command may be given now. */
    bool isDue(double nowMs) const { return waitMs(nowMs) <= 0.0; }

    /** How long until it may; infinite before enough commands have ended, and when all have been given. */
    double waitMs(double nowMs) const;

    void take() { ++m_next; }

    /** Whether all commands of the recorded run have been given. */
    bool isOver() const { return m_next >= m_turns.size(); }

private:
    std::vector<Turn> m_turns;
    std::size_t m_next = 0;
    std::vector<double> m_endsAtMs{0.0}; ///< when the n-th command ended, from 1 on; the first is the start
};

} // namespace biz::console

#endif
