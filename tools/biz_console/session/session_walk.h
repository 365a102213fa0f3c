#ifndef BIZ_CONSOLE_SESSION_WALK_H
#define BIZ_CONSOLE_SESSION_WALK_H

#include <vector>

#include <QtCore/QtGlobal>

namespace biz::console {

/** One command to give: which of the session, for which time, to which device, in which round. */
struct WalkStep
{
    int command = 0; ///< its place in the session
    int number = 1;  ///< of its repetitions
    int device = 0;
    int round = 1;
};

/**
 * The order in which the commands of a session are given: command by command, each as often
 * as it is repeated, and each time to every device, so that all devices have work from the
 * start. A round is the whole session.
 */
class SessionWalk
{
public:
    /** `repeats` has a number for each command; `rounds` 0 means without end. */
    SessionWalk(std::vector<int> repeats, int devices, int rounds);

    int commands() const { return static_cast<int>(m_repeats.size()); }
    bool isEndless() const { return m_rounds == 0; }
    bool hasSeveralRounds() const { return m_rounds != 1; }

    /** How many commands all rounds have, without end those of the rounds that were begun. */
    qint64 total() const;

    /** Every command of this round was given. */
    bool isRoundGiven() const { return m_step.command == commands(); }

    /** Goes on to the next round; false when there is none. */
    bool beginRound();

    /** What is to be given now; not when the round is given. */
    const WalkStep &step() const { return m_step; }
    void advance();

    /** How often a command is still to be given, in this round and, if they end, in those after it. */
    qint64 left(int command) const;

private:
    std::vector<int> m_repeats;
    int m_devices;
    int m_rounds;
    qint64 m_perRound = 0;
    WalkStep m_step;
};

} // namespace biz::console

#endif
