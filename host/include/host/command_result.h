#ifndef BIZ_HOST_COMMAND_RESULT_H
#define BIZ_HOST_COMMAND_RESULT_H

#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <host/vocabulary.h>
#include <model/model_osdparam.h>
#include <model/model_protocoldata.h>

/** What an application hears about its commands, the same on both channels. */
namespace biz::host {

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
    int attempts = 0;              ///< copies that were announced for sending: 0, 1 or 2
    model_Protocoldata reply;      ///< with Outcome::Answered
    double roundTripMs = -1.0;     ///< with Outcome::Answered: last write to arrival; else negative
    QString reason;                ///< one sentence that says why it ended so
    Ticket supersededBy = 0;       ///< with Outcome::Superseded: the command that took its place
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
    QString reason;            ///< one sentence that says why it ended so
    Ticket supersededBy = 0;   ///< with Outcome::Superseded: the command that took its place
    QVector<CommandEvent> history;
};

/** What a stop found, and whether it could finish. */
struct StopReport
{
    int pending = 0;       ///< commands that the stop ended
    QStringList slowSteps; ///< threads that had not returned at the deadline; empty: a clean stop

    bool clean() const { return slowSteps.isEmpty(); }
};

} // namespace biz::host

// Qt 6 needs no declaration, and takes none behind the first signal that carries a record.
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
Q_DECLARE_METATYPE(model_Protocoldata)
Q_DECLARE_METATYPE(model_OsdParam)
#endif
Q_DECLARE_METATYPE(biz::host::CommandResult)
Q_DECLARE_METATYPE(biz::host::OsdCommandResult)

#endif
