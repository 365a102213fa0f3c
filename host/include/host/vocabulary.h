#ifndef BIZ_HOST_VOCABULARY_H
#define BIZ_HOST_VOCABULARY_H

#include <QtCore/QMetaType>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <host/host_export.h>

/** The words of the host kit: what can become of a command and of a link, and why a call is refused. */
namespace biz::host {

extern BIZ_HOST_EXPORT const QMetaObject staticMetaObject;
Q_NAMESPACE

/** Names one command of this process from its enqueuing to its end; 0 names none. */
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

/** The name as tools print it and sessions expect it: "answered", "gaveUp"... */
BIZ_HOST_EXPORT QString outcomeName(Outcome outcome);

/** The outcome of a name; false when there is none of that name. */
[[nodiscard]] BIZ_HOST_EXPORT bool outcomeFromName(const QString &name, Outcome *outcome);

/** All names, for messages about what was expected. */
BIZ_HOST_EXPORT QStringList outcomeNames();

/** The name as tools print it: "up", "lost"... */
BIZ_HOST_EXPORT QString linkStateName(LinkState state);

} // namespace biz::host

#endif
