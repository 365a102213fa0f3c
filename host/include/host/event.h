#ifndef BIZ_HOST_EVENT_H
#define BIZ_HOST_EVENT_H

#include <optional>

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>
#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <host/command_result.h>
#include <host/counters.h>
#include <host/host_export.h>
#include <host/link_status.h>
#include <host/vocabulary.h>

/**
 * The vocabulary in which a host, or a tool, tells what happens: one Event for each thing, and its form as a
 * line of JSON.
 */
namespace biz::host {

/** The number in the first line of a log. It grows when a key changes its meaning or goes; new keys leave it alone. */
constexpr int eventFormat = 1;

/** One thing that happened. What an event does not have is empty, and is no key of its JSON. */
struct Event
{
    EventKind kind = EventKind::Start;
    qint64 utcMs = 0;  ///< by the wall clock, in ms since 1970
    double atMs = 0.0; ///< since the start of what is told

    Ticket ticket = 0;           ///< the command that it concerns; 0: none
    QString id;                  ///< the application's own name of the command, as in CommandOptions
    QString name;                ///< how a session calls the command
    QString which;               ///< what tells it from others of the name: "3 of 5"
    QString device;              ///< an OSD device's address, or a device of a fleet
    QString codes;               ///< "F1/08"; "command" in JSON
    std::optional<int> sequence; ///< the sequence byte of a device command that was sent, or of a reply
    std::optional<int> attempts; ///< how often the command had been sent by then
    std::optional<int> waitMs;

    // The record that went or came: the command, or the reply of an answer and of stray replies.
    QByteArray head;
    QByteArray data;
    QString text;            ///< of an OSD record
    std::optional<int> flag; ///< of an OSD record

    std::optional<double> roundTripMs;
    std::optional<double> afterEndMs; ///< of a late reply: since its command ended
    std::optional<int> bytes;         ///< of bytes that were refused
    std::optional<qint64> lines;      ///< that were lost
    std::optional<LinkStatus> link;

    Error error = Error::None; ///< what went wrong, as a code
    QString reason;            ///< why, in words; "broken" in the JSON of a rejected reply
    QString rule;              ///< of a rejected reply: the rule whose clause `reason` names
    QVector<CommandEvent> history;

    // Makes it the end of a command, of either channel.
    template<typename Result>
    void setEnd(Ticket endedTicket, const Result &result)
    {
        kind = endEvent(result.outcome);
        ticket = endedTicket;
        attempts = result.attempts;
        if (result.roundTripMs >= 0.0) {
            roundTripMs = result.roundTripMs;
        }
        reason = result.reason;
        history = result.history;
    }
};

/** The event as a JSON object in UTF-8 on one line, with its line feed; `more` are further keys, which come last. */
BIZ_HOST_EXPORT QByteArray jsonLine(const Event &event, const QJsonObject &more = {});

/** All totals of Counters by their names. */
BIZ_HOST_EXPORT QJsonObject toJson(const Counters &counters);

/** The round trips of Counters: "minMs", "medianMs", "p99Ms", "maxMs"; empty before the first. */
BIZ_HOST_EXPORT QJsonObject roundTripToJson(const Counters &counters);

} // namespace biz::host

Q_DECLARE_METATYPE(biz::host::Event)

#endif
