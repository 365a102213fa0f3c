#ifndef BIZ_HOST_FLEET_WORKER_LINE_P_H
#define BIZ_HOST_FLEET_WORKER_LINE_P_H

#include <optional>

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>

#include <host/command_options.h>
#include <host/command_result.h>
#include <host/counters.h>
#include <host/event.h>

namespace biz::host {

/** One line that a worker has said. */
struct WorkerLine
{
    Event event;
    Ticket ticket = 0;                ///< the fleet's, by the id that the command was given with; 0: none
    std::optional<Counters> counters; ///< of a `state` and a `summary`: the totals
};

/** Nothing where the line is no event of the vocabulary: a later one may have more. */
std::optional<WorkerLine> readWorkerLine(const QByteArray &line);

/** The record of an event: the command, or the reply. */
model_Protocoldata recordOf(const Event &event);

/** The end of a command that an event tells. */
CommandResult resultOf(const Event &event, Outcome outcome);

/** The line that gives a worker a command under a ticket. */
QByteArray commandLine(Ticket ticket, const model_Protocoldata &command, const CommandOptions &options);

/** The lines that ask for the end of one command, and of all. */
QByteArray cancelLine(Ticket ticket);
QByteArray clearLine();

} // namespace biz::host

#endif
