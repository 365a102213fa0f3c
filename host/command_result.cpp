#include <host/command_result.h>

namespace biz::host {

namespace {

struct OutcomeRow
{
    Outcome outcome;
    const char *name;
};

constexpr OutcomeRow outcomes[] = {
    {Outcome::Answered, "answered"}, {Outcome::GaveUp, "gaveUp"},   {Outcome::Cleared, "cleared"},
    {Outcome::Skipped, "skipped"},   {Outcome::Stopped, "stopped"}, {Outcome::Released, "released"},
};

} // namespace

QString outcomeName(Outcome outcome)
{
    for (const OutcomeRow &row : outcomes) {
        if (row.outcome == outcome) {
            return QString::fromLatin1(row.name);
        }
    }
    return {};
}

bool outcomeFromName(const QString &name, Outcome *outcome)
{
    for (const OutcomeRow &row : outcomes) {
        if (name == QLatin1String(row.name)) {
            *outcome = row.outcome;
            return true;
        }
    }
    return false;
}

QStringList outcomeNames()
{
    QStringList names;
    for (const OutcomeRow &row : outcomes) {
        names.append(QString::fromLatin1(row.name));
    }
    return names;
}

} // namespace biz::host
