#ifndef BIZ_CONSOLE_EXPECTATION_H
#define BIZ_CONSOLE_EXPECTATION_H

#include <optional>

#include <QtCore/QFlags>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <host/command_result.h>

namespace biz::console {

/** What can happen to a command on its way to its end. */
enum class Event {
    Sent = 0x01,
    Resent = 0x02,
    Rejected = 0x04,
    Late = 0x08,
    Duplicate = 0x10,
    Foreign = 0x20,
};
Q_DECLARE_FLAGS(Events, Event)
Q_DECLARE_OPERATORS_FOR_FLAGS(Events)

QString eventName(Event event);
std::optional<Event> eventFromName(const QString &name);
QStringList eventNames();

/** The names of those that are set, but of `sent`: whether a command was sent follows from the rest. */
QStringList namesOf(Events events);

/** Events that may still come when the command has ended. */
constexpr Events eventsAfterTheEnd = Events(Event::Late) | Event::Duplicate | Event::Foreign;

/** How a command is to end, and which events other than `sent` happen to it, neither more nor less. */
struct Expectation
{
    host::Outcome outcome = host::Outcome::Answered;
    Events events;

    bool isMetBy(host::Outcome actualOutcome, Events actualEvents) const;
};

/** "gaveUp with resent, late", "answered without events". */
QString endingText(host::Outcome outcome, Events events);

} // namespace biz::console

#endif
