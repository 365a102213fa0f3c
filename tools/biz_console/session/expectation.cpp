#include <biz_console/session/expectation.h>

#include <algorithm>
#include <iterator>

namespace biz::console {

namespace {

struct EventRow
{
    Event event;
    const char *name;
};

constexpr EventRow eventRows[] = {
    {Event::Sent, "sent"}, {Event::Resent, "resent"},       {Event::Rejected, "rejected"},
    {Event::Late, "late"}, {Event::Duplicate, "duplicate"}, {Event::Foreign, "foreign"},
};

/** Whether a command was sent follows from its outcome and the other events. */
Events withoutSent(Events events)
{
    return events & ~Events(Event::Sent);
}

} // namespace

QString eventName(Event event)
{
    for (const EventRow &row : eventRows) {
        if (row.event == event) {
            return QString::fromLatin1(row.name);
        }
    }
    return {};
}

std::optional<Event> eventFromName(const QString &name)
{
    const auto *const found = std::find_if(std::begin(eventRows), std::end(eventRows),
                                           [&name](const EventRow &row) { return name == QLatin1String(row.name); });
    return found == std::end(eventRows) ? std::nullopt : std::optional(found->event);
}

QStringList eventNames()
{
    QStringList names;
    for (const EventRow &row : eventRows) {
        names.append(QString::fromLatin1(row.name));
    }
    return names;
}

QStringList namesOf(Events events)
{
    QStringList names;
    for (const EventRow &row : eventRows) {
        if (withoutSent(events).testFlag(row.event)) {
            names.append(QString::fromLatin1(row.name));
        }
    }
    return names;
}

bool Expectation::isMetBy(host::Outcome actualOutcome, Events actualEvents) const
{
    return actualOutcome == outcome && withoutSent(actualEvents) == withoutSent(events);
}

QString endingText(host::Outcome outcome, Events events)
{
    const QStringList names = namesOf(events);
    const QString what = names.isEmpty() ? QStringLiteral(" without events")
                                         : QStringLiteral(" with ") + names.join(QStringLiteral(", "));
    return host::outcomeName(outcome) + what;
}

} // namespace biz::console
