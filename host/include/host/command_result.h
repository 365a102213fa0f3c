#ifndef BIZ_HOST_COMMAND_RESULT_H
#define BIZ_HOST_COMMAND_RESULT_H

#include <QtCore/QMap>
#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <host/host_export.h>
#include <model/model_osdparam.h>
#include <model/model_protocoldata.h>

/** What an application hears about its commands, the same on both channels. */
namespace biz::host {

/** Names one command from its enqueuing to its end; never 0 for a command taken over. */
using Ticket = quint64;

/** How a command ended. Every command ends exactly once, in one of these ways. */
enum class Outcome {
    Answered, ///< its reply came and was accepted
    GaveUp,   ///< no acceptable reply came in time, on the device channel not after a resend either
    Cleared,  ///< a clear discarded it, or stopped waiting for its reply
    Skipped,  ///< given, or still waiting, while skip mode was on
    Stopped,  ///< the host was stopped first
    Released, ///< sent without a gate, and its wait passed without a reply
};

/** The name as the console prints it and sessions expect it: "answered", "gaveUp"... */
BIZ_HOST_EXPORT QString outcomeName(Outcome outcome);

/** The outcome of a name; false when there is none of that name. */
BIZ_HOST_EXPORT bool outcomeFromName(const QString &name, Outcome *outcome);

/** All names, for messages about what was expected. */
BIZ_HOST_EXPORT QStringList outcomeNames();

/** One thing that happened to a command. */
struct CommandEvent
{
    double atMs = 0.0; ///< since it was enqueued
    QString text;
};

/** A history holds so many events at most; where there were more, the middle is left out. */
constexpr int maxCommandEvents = 32;

/** The end of a command of the device channel. */
struct CommandResult
{
    Outcome outcome = Outcome::Stopped;
    int attempts = 0;              ///< times it was announced for sending: 0, 1 or 2
    model_Protocoldata reply;      ///< with Outcome::Answered
    double roundTripMs = -1.0;     ///< with Outcome::Answered: last write to arrival; else negative
    QString reason;                ///< one sentence that says why it ended so
    QVector<CommandEvent> history; ///< what happened to it, from "queued" to its end
};

/** The end of a command of the OSD channel. */
struct OsdCommandResult
{
    Outcome outcome = Outcome::Stopped;
    QString ip;                ///< the device's key
    int attempts = 0;          ///< 0 or 1: the OSD channel never resends
    model_OsdParam reply;      ///< with Outcome::Answered
    double roundTripMs = -1.0; ///< with Outcome::Answered: write to arrival; else negative
    QString reason;
    QVector<CommandEvent> history;
};

/** What a stop found, and whether it could finish. */
struct StopReport
{
    int pending = 0;       ///< commands that the stop ended
    QStringList slowSteps; ///< threads that had not returned at the deadline; empty: a clean stop

    bool clean() const { return slowSteps.isEmpty(); }
};

/** The rules that are counted one by one; what breaks further ones is counted together. */
constexpr int maxRejectedRules = 64;

/** Totals since the host was made: a plain copy of one moment. */
struct Counters
{
    quint64 enqueued = 0;
    quint64 sent = 0;   ///< first announcements that were written
    quint64 resent = 0; ///< second announcements that were written
    quint64 answered = 0;
    quint64 gaveUp = 0;
    quint64 cleared = 0;
    quint64 skipped = 0;
    quint64 stopped = 0;
    quint64 released = 0;
    quint64 rejected = 0;      ///< replies to a command in flight that broke their rule
    quint64 late = 0;          ///< replies to a command that had ended without one
    quint64 duplicate = 0;     ///< replies to a command that had been answered
    quint64 foreign = 0;       ///< replies to no command of this host, or of an unknown sender
    quint64 refusedBytes = 0;  ///< received bytes that belonged to no valid frame
    quint64 refusedFrames = 0; ///< things that the decoder refused
    quint64 bytesOut = 0;
    quint64 bytesIn = 0;
    QMap<QString, quint64> rejectedByRule; ///< by code and rule: "F1/08: index at most 15..."
    int queueLength = 0;                   ///< commands that wait now
    int queueLengthMax = 0;                ///< the most that ever waited
    qint64 lastSeenUtcMs = 0;              ///< when last heard of, in ms since 1970; 0: never
    // Negative before the first answer. Median and p99 are within 2.2 %, the others exact.
    double roundTripMinMs = -1.0;
    double roundTripMedianMs = -1.0;
    double roundTripP99Ms = -1.0;
    double roundTripMaxMs = -1.0;
    quint64 dropped = 0; ///< replies that the channel's receive loop had no time for
};

} // namespace biz::host

Q_DECLARE_METATYPE(model_Protocoldata)
Q_DECLARE_METATYPE(model_OsdParam)
Q_DECLARE_METATYPE(biz::host::Outcome)
Q_DECLARE_METATYPE(biz::host::CommandResult)
Q_DECLARE_METATYPE(biz::host::OsdCommandResult)

#endif
