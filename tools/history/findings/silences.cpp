#include <history/findings/findings.h>

#include <algorithm>

namespace biz::history {

namespace {

/** When anything was heard of the device, in order. */
std::vector<double> heardTimesOf(const Device &device)
{
    std::vector<double> times;
    times.reserve(device.commands.size() + device.incidents.size());
    for (const Command &command : device.commands) {
        if (command.isAnswered()) {
            times.push_back(command.endMs);
        }
    }
    for (const Incident &incident : device.incidents) {
        times.push_back(incident.atMs);
    }
    std::sort(times.begin(), times.end());
    return times;
}

/** The commands that were given up with no reply at all, in the order in which they were sent. */
std::vector<const Command *> unansweredOf(const Device &device)
{
    std::vector<const Command *> commands;
    for (const Command &command : device.commands) {
        if (command.isGivenUp() && command.sentMs >= 0.0 && command.rejections == 0 && command.lateAfterMs < 0.0F) {
            commands.push_back(&command);
        }
    }
    std::stable_sort(commands.begin(), commands.end(),
                     [](const Command *a, const Command *b) { return a->sentMs < b->sentMs; });
    return commands;
}

/** What the host told of it where the log begins. */
Silence silenceBeforeLog(const Device &device, const std::vector<double> &heard)
{
    Silence silence;
    silence.fromMs = device.silentSinceMs;
    silence.isOver = !heard.empty();
    silence.toMs = silence.isOver ? heard.front() : device.silentToldMs;
    silence.isOlderThanLog = true;
    return silence;
}

} // namespace

std::vector<Silence> silencesOf(const Device &device)
{
    const std::vector<double> heard = heardTimesOf(device);
    std::vector<Silence> silences;
    if (device.silentSinceMs >= 0.0) {
        silences.push_back(silenceBeforeLog(device, heard));
    }
    for (const Command *command : unansweredOf(device)) {
        const auto next = std::lower_bound(heard.begin(), heard.end(), command->sentMs);
        const double heardAgainMs = next == heard.end() ? never : *next;
        const bool isSame = !silences.empty() && (next == heard.begin() || *std::prev(next) < silences.back().fromMs);
        if (!isSame) {
            silences.push_back({command->sentMs, command->endMs, 0, false});
        }
        Silence &silence = silences.back();
        ++silence.givenUp;
        silence.isOver = heardAgainMs >= 0.0;
        silence.toMs = silence.isOver ? heardAgainMs : std::max(silence.toMs, command->endMs);
    }
    return silences;
}

} // namespace biz::history
