#include <host/vocabulary.h>

#include <QtCore/QMetaEnum>

namespace biz::host {

namespace {

/** Enumerators begin with a capital letter; the names that tools print do not. */
QString printedName(const char *enumerator)
{
    QString name = QString::fromLatin1(enumerator);
    if (!name.isEmpty()) {
        name[0] = name.at(0).toLower();
    }
    return name;
}

template<typename Enum>
QString nameOf(Enum value)
{
    return printedName(QMetaEnum::fromType<Enum>().valueToKey(static_cast<int>(value)));
}

/** In the order in which the enumerators stand. */
template<typename Enum>
QStringList namesOfAll()
{
    const QMetaEnum all = QMetaEnum::fromType<Enum>();
    QStringList names;
    for (int i = 0; i < all.keyCount(); ++i) {
        names.append(printedName(all.key(i)));
    }
    return names;
}

/**
 * Made once, since each event is told by its name, and never destroyed: the writer of an event log that is stuck on a
 * dead disk may go on while the process ends.
 */
const QStringList &eventNames()
{
    static const auto *const all = new QStringList(namesOfAll<EventKind>());
    return *all;
}

} // namespace

QString outcomeName(Outcome outcome)
{
    return nameOf(outcome);
}

bool outcomeFromName(const QString &name, Outcome *outcome)
{
    const auto index = static_cast<int>(outcomeNames().indexOf(name));
    if (index < 0) {
        return false;
    }
    *outcome = static_cast<Outcome>(QMetaEnum::fromType<Outcome>().value(index));
    return true;
}

QStringList outcomeNames()
{
    return namesOfAll<Outcome>();
}

QString linkStateName(LinkState state)
{
    return nameOf(state);
}

QString errorName(Error error)
{
    return nameOf(error);
}

QString eventName(EventKind kind)
{
    return eventNames().value(static_cast<int>(kind));
}

std::optional<EventKind> eventFromName(const QString &name)
{
    const auto index = static_cast<int>(eventNames().indexOf(name));
    return index < 0 ? std::nullopt : std::make_optional(static_cast<EventKind>(index));
}

EventKind endEvent(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Answered:
        return EventKind::Answered;
    case Outcome::GaveUp:
        return EventKind::GaveUp;
    case Outcome::Cleared:
        return EventKind::Cleared;
    case Outcome::Skipped:
        return EventKind::Skipped;
    case Outcome::Stopped:
        return EventKind::Stopped;
    case Outcome::Released:
        return EventKind::Released;
    case Outcome::Expired:
        return EventKind::Expired;
    case Outcome::Superseded:
        return EventKind::Superseded;
    case Outcome::Cancelled:
        return EventKind::Cancelled;
    case Outcome::Unreachable:
        return EventKind::Unreachable;
    case Outcome::Interrupted:
        return EventKind::Interrupted;
    }
    Q_UNREACHABLE();
}

std::optional<Outcome> outcomeOf(EventKind kind)
{
    const QMetaEnum outcomes = QMetaEnum::fromType<Outcome>();
    for (int i = 0; i < outcomes.keyCount(); ++i) {
        const auto outcome = static_cast<Outcome>(outcomes.value(i));
        if (endEvent(outcome) == kind) {
            return outcome;
        }
    }
    return std::nullopt;
}

} // namespace biz::host
