#ifndef BIZ_MONITOR_GLANCE_H
#define BIZ_MONITOR_GLANCE_H

#include <QtCore/QString>

#include <history/history.h>

namespace biz::monitor {

/** How a device does, by its link and its last commands; the gravest first. */
enum class Health {
    LinkLost,
    Silent,   ///< its last commands were given up without a reply
    Refused,  ///< its last replies broke their rules
    Troubled, ///< it answers, but not always or not at once
    Connecting,
    Closed, ///< the host is stopped
    Unused, ///< no command has ended yet
    Answering,
};

constexpr Health allHealths[] = {
    Health::LinkLost,   Health::Silent, Health::Refused, Health::Troubled,
    Health::Connecting, Health::Closed, Health::Unused,  Health::Answering,
};

/** "link lost", "answers": one or two words. */
QString wordFor(Health health);

/** A device as a list shows it. */
struct Glance
{
    Health health = Health::Unused;
    QString sentence; ///< about its health; whole, for people
    int waiting = 0;  ///< commands that wait to be sent
    int inFlight = 0; ///< commands that were sent and wait for their reply
    QString inFlightName;
    double inFlightSinceMs = history::never; ///< of the first of them
    int inFlightWaitMs = -1;
    bool wasResent = false;
    double medianMs = -1.0;  ///< of the last round trips
    double longestMs = -1.0; ///< of the last round trips
    history::Tally tally;    ///< of all that was ever seen
    quint64 refused = 0;
};

Glance glanceOf(const history::History &history, int device);

} // namespace biz::monitor

#endif
