#include <host/command_result.h>

#include <algorithm>
#include <iterator>

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
    const auto *const found = std::find_if(std::begin(outcomes), std::end(outcomes),
                                           [&name](const OutcomeRow &row) { return name == QLatin1String(row.name); });
    if (found == std::end(outcomes)) {
        return false;
    }
    *outcome = found->outcome;
    return true;
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
