#include <history/tally.h>

#include <history/history.h>

namespace biz::history {

void Tally::count(const Command &command)
{
    ++commands;
    resent += command.resentMs >= 0.0 ? 1 : 0;
    if (!command.hasEnded) {
        ++notEnded;
    } else if (command.isAnswered()) {
        ++answered;
    } else if (command.isGivenUp()) {
        ++givenUp;
    } else {
        ++(command.outcome == host::Outcome::Unreachable ? unreachable : others);
    }
}

void Tally::count(const Incident &incident)
{
    switch (incident.kind) {
    case Incident::Kind::Late:
        ++late;
        break;
    case Incident::Kind::Duplicate:
        ++duplicate;
        break;
    case Incident::Kind::Foreign:
        ++foreign;
        break;
    case Incident::Kind::Rejected: // Device::refusedReplies counts them, those of error logs too
        break;
    }
}

Tally &operator+=(Tally &total, const Tally &share)
{
    total.commands += share.commands;
    total.answered += share.answered;
    total.resent += share.resent;
    total.givenUp += share.givenUp;
    total.unreachable += share.unreachable;
    total.notEnded += share.notEnded;
    total.others += share.others;
    total.late += share.late;
    total.duplicate += share.duplicate;
    total.foreign += share.foreign;
    return total;
}

Tally tallyOf(const Device &device)
{
    Tally tally;
    for (const Command &command : device.commands) {
        tally.count(command);
    }
    for (const Incident &incident : device.incidents) {
        tally.count(incident);
    }
    return tally;
}

} // namespace biz::history
