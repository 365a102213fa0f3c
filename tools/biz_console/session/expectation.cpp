#include <biz_console/session/expectation.h>

#include <algorithm>
#include <iterator>

namespace biz::console {

namespace {

using host::EventKind;

constexpr EventKind expectable[] = {
    EventKind::Sent, EventKind::Resent, EventKind::Rejected, EventKind::Late, EventKind::Duplicate, EventKind::Foreign,
};

/** Whether a command was sent follows from its outcome and the other events. */
Events withoutSent(Events events)
{
    return events.without({EventKind::Sent});
}

} // namespace

bool isExpectable(EventKind kind)
{
    return std::find(std::begin(expectable), std::end(expectable), kind) != std::end(expectable);
}

std::optional<EventKind> expectableFromName(const QString &name)
{
    const std::optional<EventKind> kind = host::eventFromName(name);
    return kind && isExpectable(*kind) ? kind : std::nullopt;
}

QStringList expectableNames()
{
    QStringList names;
    for (const EventKind kind : expectable) {
        names.append(host::eventName(kind));
    }
    return names;
}

QStringList namesOf(Events events)
{
    QStringList names;
    for (const EventKind kind : expectable) {
        if (withoutSent(events).has(kind)) {
            names.append(host::eventName(kind));
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
