#ifndef BIZ_HISTORY_EVENT_H
#define BIZ_HISTORY_EVENT_H

#include <optional>
#include <vector>

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <history/tally.h>
#include <host/vocabulary.h>

namespace biz::history {

/** What a text holds at most once it is read: a message may come from anybody. */
constexpr int longestText = 400;

/** How a device stands when a log begins, which is not when its host began. */
struct Standing
{
    QString device; ///< empty: the only one
    std::optional<host::LinkState> linkState;
    double sinceMs = -1.0;       ///< that the link is in this state
    double silentSinceMs = -1.0; ///< that an OSD device has not replied
    QString reason;
    Tally before; ///< the commands that had ended
    quint64 refusedBefore = 0;
};

/** One line of an event log or of a recording. What a kind does not have is empty or negative. */
struct Event
{
    enum class Kind {
        Start,     ///< of a log, or the head of a recording
        Given,     ///< a command was handed to the host
        Sent,      ///< a command was written
        Resent,    ///< and written again
        Rejected,  ///< a reply broke its rule
        Late,      ///< a reply came to a command that had ended without one
        Duplicate, ///< a further reply came to a command that had been answered
        Foreign,   ///< a reply came to no command
        Ended,     ///< `outcome` tells how a command ended
        LinkState, ///< the link got into `linkState`
        Refused,   ///< received bytes were no reply
        Failed,    ///< sending or receiving failed
        Problem,   ///< the run ended early
        Summary,   ///< the run was over
        State,     ///< how things stand where a log, or a file of it, begins
        Lost,      ///< `lines` of the log could not be written
        Other,     ///< of no concern here: bytes of a recording, and kinds of later versions
    };

    Kind kind = Kind::Other;
    host::Outcome outcome = host::Outcome::Stopped;
    host::LinkState linkState = host::LinkState::Closed;

    double utcMs = -1.0; ///< when, in ms since 1970, by the wall clock
    double atMs = -1.0;  ///< since the start, by the monotonic clock

    quint64 ticket = 0; ///< the command; 0: none
    QString name;
    QString device; ///< the device among several: an OSD device's address
    QString codes;  ///< "F1/08"
    int waitMs = -1;
    int attempts = -1;
    int linkAttempts = -1;
    int bytes = -1;
    int lines = -1;
    double roundTripMs = -1.0;
    double afterEndMs = -1.0;
    QByteArray head;
    QByteArray data;
    QString reason; ///< why, in words; of a rejected reply the clause that it broke
    QString rule;

    // Of a start.
    bool isOfDevice = true;   ///< else of the OSD channel
    bool hasOneDevice = true; ///< events name no device
    bool isPipelined = false;
    int deviceType = -1;
    QString link;
    QString tool;
    QString library;
    QString environment;

    // Of a state.
    std::vector<Standing> standings;
    int pending = -1; ///< commands of the host that had not ended
};

/** Reads one line; false when it is none of an event log. */
[[nodiscard]] bool readEvent(const QByteArray &json, Event *event);

/** The text as far as it is kept. */
QString bounded(const QString &text);

} // namespace biz::history

#endif
