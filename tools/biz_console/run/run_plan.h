#ifndef BIZ_CONSOLE_RUN_PLAN_H
#define BIZ_CONSOLE_RUN_PLAN_H

#include <vector>

#include <QtCore/QStringList>

#include <biz_console/session/turns.h>
#include <biz_console/verdict/event_sink.h>

namespace biz::console {

/** How a session is played. */
struct RunPlan
{
    int rounds = 1;          ///< how often; 0: until it is interrupted
    double perSecond = 0.0;  ///< commands given per second at most; 0: no limit
    bool reconnects = false; ///< a lost link is waited for, where it would end the run otherwise
    bool failsFast = false;  ///< what waits when the link is lost is unreachable, not stopped with the run
    std::vector<Turn> turns; ///< of a replay: when the commands were given
};

/** What a run has to know of its session and of the channel on which it is played. */
struct RunFacts
{
    RunStart start;
    QString opens;            ///< what is opened, as a message names it
    QStringList names;        ///< of the session's commands
    std::vector<int> repeats; ///< of each of them
    int devices = 1;
    int longestWaitMs = 0;        ///< the longest that a command of the session waits for its reply
    int mostGivenAhead = 0;       ///< commands that the host may have at a time
    int mostRemembered = 0;       ///< commands that have ended and can still get a reply
    bool givesBeforeOpen = false; ///< commands that a link would have carried end with it
};

} // namespace biz::console

#endif
