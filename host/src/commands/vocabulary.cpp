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

} // namespace

QString outcomeName(Outcome outcome)
{
    return nameOf(outcome);
}

bool outcomeFromName(const QString &name, Outcome *outcome)
{
    const int index = outcomeNames().indexOf(name);
    if (index < 0) {
        return false;
    }
    *outcome = static_cast<Outcome>(QMetaEnum::fromType<Outcome>().value(index));
    return true;
}

QStringList outcomeNames()
{
    const QMetaEnum outcomes = QMetaEnum::fromType<Outcome>();
    QStringList names;
    for (int i = 0; i < outcomes.keyCount(); ++i) {
        names.append(printedName(outcomes.key(i)));
    }
    return names;
}

QString linkStateName(LinkState state)
{
    return nameOf(state);
}

} // namespace biz::host
