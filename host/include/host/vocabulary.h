#ifndef BIZ_HOST_VOCABULARY_H
#define BIZ_HOST_VOCABULARY_H

#include <optional>

#include <QtCore/QMetaType>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <host/host_export.h>

/** The words of the host kit: what can become of a command and of a link, and why a call is refused. */
namespace biz::host {

extern BIZ_HOST_EXPORT const QMetaObject staticMetaObject;
Q_NAMESPACE

/** Names one command of a host, or of a fleet, from its enqueuing to its end; 0 names none. */
using Ticket = quint64;

/** How a command ended. Every command ends exactly once, in one of these ways. */
enum class Outcome {
    Answered,    ///< its reply came and was accepted
    GaveUp,      ///< no acceptable reply came in time; on the device channel not after a resend either
    Cleared,     ///< a clear discarded it, or stopped waiting for its reply
    Skipped,     ///< given, or still waiting, while skip mode was on
    Stopped,     ///< the host was stopped first
    Released,    ///< sent without a gate, and its wait passed without a reply
    Expired,     ///< the time for which it was valid had passed when it was to be written
    Superseded,  ///< a newer command with the same replace key took its place
    Cancelled,   ///< the application cancelled it
    Unreachable, ///< the link was down
    Interrupted, ///< the process that had taken it over ended first
};
Q_ENUM_NS(Outcome)

/** Why a call was refused, or a link is down; a sentence with the details stands beside it. */
enum class Error {
    None,
    ChannelTaken,      ///< another host object of this process holds the channel
    AlreadyRunning,    ///< the setting can be changed, and the host be started, only while it is stopped
    NoLink,            ///< there is no link to start with
    NoCodec,           ///< a host needs a codec
    LoopsStillRunning, ///< a loop of the former run has not returned
    CannotStartThread, ///< the system gives no further thread
    OutOfRange,        ///< a number is outside of its bounds
    UnknownModel,      ///< no model of that name has reply rules
    InvalidUrl,        ///< the URL names no link
    InvalidAddress,    ///< not the canonical address of one device
    CannotEncode,      ///< the command does not fit into a frame
    CannotBind,        ///< no socket could be opened on the local address
    LinkCannotOpen,    ///< the attempt to open the link failed
    LinkClosed,        ///< the other side, or the system, closed the link
    LinkSilent,        ///< the other side has stopped to acknowledge what is sent
    InvalidName,       ///< no device can have this name
    NameTaken,         ///< a device of this name is there already
    UnknownDevice,     ///< there is no device of this name
    TooManyPending,    ///< as many commands are pending as may be
    CannotMakeFolder,  ///< a device's folder cannot be made, or not be used
    FolderTaken,       ///< another process works in the device's folder
    WorkerCannotStart, ///< the program of a device's worker cannot be run
    WorkerEnded,       ///< a device's worker has ended unasked
    WorkerSilent,      ///< a device's worker did not answer, and was killed
    NoContext,         ///< a callback needs an object on whose thread it is called
};
Q_ENUM_NS(Error)

/** What a link is doing. */
enum class LinkState {
    Closed,     ///< the host is stopped
    Connecting, ///< the first attempt since the start, or since the kit itself ended the connection
    Up,         ///< commands can be written
    Lost,       ///< down, until an attempt to open it again succeeds
};
Q_ENUM_NS(LinkState)

/** What becomes of commands while the link is lost. */
enum class WhileDown {
    FailFast, ///< they end as `Unreachable` at once
    Hold,     ///< they wait; a validity that was set goes on running out
};
Q_ENUM_NS(WhileDown)

/** What an event tells. Its name in JSON is the enumerator's, beginning with a small letter. */
enum class EventKind {
    // Of the telling itself.
    Start,   ///< first line of a file, or to a new reader: what is told of
    State,   ///< after it: how things stand
    Lost,    ///< so many lines could not be written
    Summary, ///< last line of a run of the console, and of serving

    // Of the way to the devices.
    Opened,           ///< commands can leave
    LinkStateChanged, ///< `link` tells the new state
    Refused,          ///< received bytes were no reply
    Failed,           ///< sending or receiving failed, and the host goes on
    Problem,          ///< a run of the console, or serving, ends early
    Error,            ///< what a client asked for is refused; nothing else has changed

    // Of a command.
    Given,     ///< it was handed to the host
    Writing,   ///< it is about to be written: from here on it may have left
    Sent,      ///< its first copy was written
    Resent,    ///< its second copy was written
    Rejected,  ///< a reply broke its rule
    Late,      ///< a reply came after its end
    Duplicate, ///< a reply came after it had been answered
    Foreign,   ///< a reply belongs to no command

    // The end of a command, one for each Outcome.
    Answered,
    GaveUp,
    Cleared,
    Skipped,
    Stopped,
    Released,
    Expired,
    Superseded,
    Cancelled,
    Unreachable,
    Interrupted,
};
Q_ENUM_NS(EventKind)

/** The name as tools print it and sessions expect it: "answered", "gaveUp"... */
BIZ_HOST_EXPORT QString outcomeName(Outcome outcome);

/** The outcome of a name; false when there is none of that name. */
[[nodiscard]] BIZ_HOST_EXPORT bool outcomeFromName(const QString &name, Outcome *outcome);

/** All names, for messages about what was expected. */
BIZ_HOST_EXPORT QStringList outcomeNames();

/** The name as tools print it: "up", "lost"... */
BIZ_HOST_EXPORT QString linkStateName(LinkState state);

/** The name as tools print it: "linkClosed", "channelTaken"... */
BIZ_HOST_EXPORT QString errorName(Error error);

/** The name in JSON: "linkStateChanged", "given", "answered"... */
BIZ_HOST_EXPORT QString eventName(EventKind kind);

/** Nothing when there is no kind of that name. */
BIZ_HOST_EXPORT std::optional<EventKind> eventFromName(const QString &name);

/** The event that tells of a command's end in this way. */
BIZ_HOST_EXPORT EventKind endEvent(Outcome outcome);

/** The outcome that an event tells; nothing when it is no command's end. */
BIZ_HOST_EXPORT std::optional<Outcome> outcomeOf(EventKind kind);

} // namespace biz::host

#endif
