#include <biz_monitor/watch/glance.h>

#include <algorithm>
#include <vector>

#include <history/words.h>

namespace biz::monitor {

namespace {

/** Commands that say how a device does now. */
constexpr int recentCommands = 20;

/** One command without a reply may be bad luck. */
constexpr int silentFrom = 2;

using history::Command;
using history::Device;

/** What the last commands of a device came to. */
struct Recent
{
    int ended = 0;          ///< answered or given up
    int failedInARow = 0;   ///< up to the last one
    int rejectedInARow = 0; ///< of these
    int troubled = 0;       ///< not answered, or sent again
    double failingSinceMs = history::never;
    std::vector<double> roundTrips;

    void add(const Command &command)
    {
        const bool isAnswered = command.isAnswered();
        if (!isAnswered && failedInARow == ended) {
            ++failedInARow;
            rejectedInARow += command.rejections > 0 ? 1 : 0;
            failingSinceMs = command.sentMs;
        }
        ++ended;
        troubled += !isAnswered || command.resentMs >= 0.0 || command.rejections > 0 ? 1 : 0;
        if (isAnswered && command.roundTripMs >= 0.0F) {
            roundTrips.push_back(static_cast<double>(command.roundTripMs));
        }
    }
};

Recent recentOf(const Device &device)
{
    Recent recent;
    for (auto command = device.commands.rbegin(); command != device.commands.rend(); ++command) {
        if (command->isAnswered() || command->isGivenUp()) {
            recent.add(*command);
        }
        // A row of failures is followed to where it began.
        if (recent.ended >= recentCommands && recent.failedInARow < recent.ended) {
            break;
        }
    }
    return recent;
}

/** The state of the link where it keeps commands from leaving; Answering where it does not. */
Health healthOfLink(const Device &device)
{
    if (device.link.empty() || device.link.back().toMs >= 0.0) {
        return Health::Answering; // there is none, or its run is over
    }
    switch (device.link.back().state) {
    case host::LinkState::Lost:
        return Health::LinkLost;
    case host::LinkState::Connecting:
        return Health::Connecting;
    case host::LinkState::Closed:
        return Health::Closed;
    case host::LinkState::Up:
        return Health::Answering;
    }
    Q_UNREACHABLE();
}

/** Before the log began, and not heard of since. */
bool isToldSilent(const Device &device)
{
    return device.silentSinceMs >= 0.0 && device.lastReplyMs < device.silentSinceMs;
}

Health healthOf(const Device &device, const Recent &recent)
{
    const Health link = healthOfLink(device);
    if (link != Health::Answering) {
        return link;
    }
    if (recent.ended == 0) {
        return isToldSilent(device) ? Health::Silent : Health::Unused;
    }
    if (recent.rejectedInARow > 0) {
        return Health::Refused;
    }
    if (recent.failedInARow >= silentFrom) {
        return Health::Silent;
    }
    return recent.troubled > 0 ? Health::Troubled : Health::Answering;
}

QString inARow(int count)
{
    return count == 1 ? QStringLiteral("the last command")
                      : QStringLiteral("the last %1 commands").arg(history::countText(static_cast<quint64>(count)));
}

QString sentenceOf(Health health, const Device &device, const Recent &recent)
{
    switch (health) {
    case Health::LinkLost: {
        const history::LinkSpan &span = device.link.back();
        const QString why = span.reason.isEmpty() ? QString() : QStringLiteral(": ") + span.reason;
        return QStringLiteral("The link has been lost since %1%2.").arg(history::clockText(span.fromMs), why);
    }
    case Health::Silent:
        if (recent.ended == 0) {
            return QStringLiteral("Silent since %1, before the log began.")
                .arg(history::clockText(device.silentSinceMs));
        }
        return QStringLiteral("Silent since %1: no reply to %2.")
            .arg(history::clockText(recent.failingSinceMs), inARow(recent.failedInARow));
    case Health::Refused:
        return QStringLiteral("Replies have been refused since %1: %2 came to nothing.")
            .arg(history::clockText(recent.failingSinceMs), inARow(recent.failedInARow));
    case Health::Troubled:
        return QStringLiteral("Answers, but not always at once: trouble with %1 of the last %2 commands.")
            .arg(recent.troubled)
            .arg(recent.ended);
    case Health::Connecting:
        return QStringLiteral("The link is being opened.");
    case Health::Closed:
        return QStringLiteral("The host is stopped.");
    case Health::Unused:
        return QStringLiteral("No command has ended yet.");
    case Health::Answering:
        return QStringLiteral("Answers every command.");
    }
    Q_UNREACHABLE();
}

void lookAtOpenCommands(const history::History &history, const Device &device, Glance *glance)
{
    int left = device.openCommands;
    for (auto command = device.commands.rbegin(); left > 0 && command != device.commands.rend(); ++command) {
        if (command->hasEnded) {
            continue;
        }
        --left;
        if (command->sentMs < 0.0) {
            ++glance->waiting;
            continue;
        }
        ++glance->inFlight;
        glance->inFlightName = history.names.value(command->name);
        glance->inFlightSinceMs = command->sentMs;
        glance->inFlightWaitMs = command->waitMs;
        glance->wasResent = command->resentMs >= 0.0;
    }
}

} // namespace

QString wordFor(Health health)
{
    switch (health) {
    case Health::LinkLost:
        return QStringLiteral("link lost");
    case Health::Silent:
        return QStringLiteral("silent");
    case Health::Refused:
        return QStringLiteral("refused");
    case Health::Troubled:
        return QStringLiteral("troubled");
    case Health::Connecting:
        return QStringLiteral("connecting");
    case Health::Closed:
        return QStringLiteral("closed");
    case Health::Unused:
        return QStringLiteral("no command");
    case Health::Answering:
        return QStringLiteral("answers");
    }
    Q_UNREACHABLE();
}

Glance glanceOf(const history::History &history, int device)
{
    const Device &shown = history.devices[static_cast<std::size_t>(device)];
    Recent recent = recentOf(shown);
    Glance glance;
    glance.health = healthOf(shown, recent);
    glance.sentence = sentenceOf(glance.health, shown, recent);
    lookAtOpenCommands(history, shown, &glance);
    std::sort(recent.roundTrips.begin(), recent.roundTrips.end());
    if (!recent.roundTrips.empty()) {
        glance.medianMs = recent.roundTrips[recent.roundTrips.size() / 2];
        glance.longestMs = recent.roundTrips.back();
    }
    glance.tally = shown.forgotten;
    glance.tally += history::tallyOf(shown);
    glance.refused = shown.refusedReplies;
    return glance;
}

} // namespace biz::monitor
