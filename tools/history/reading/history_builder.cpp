#include <history/reading/history_builder.h>

#include <algorithm>

#include <host/reply_words.h>

namespace biz::history {

namespace {

/** What a history holds of things that somebody else names. */
constexpr std::size_t mostTroubles = 50;
constexpr int mostNames = 10000;

/** Commands that a clear ends are told one by one, within this time. */
constexpr double sameClearMs = 50.0;

model_Protocoldata replyOf(const Event &event)
{
    constexpr qsizetype headSize = sizeof(model_Protocoldata::ucHead);
    model_Protocoldata reply;
    std::copy_n(event.head.constBegin(), std::min<qsizetype>(event.head.size(), headSize), reply.ucHead);
    reply.baData = event.data;
    return reply;
}

/** Ends what is still open, and puts everything into the order of time. */
void finish(History &history)
{
    for (Device &device : history.devices) {
        for (LinkSpan &span : device.link) {
            span.toMs = span.toMs < 0.0 ? history.toMs : span.toMs;
        }
        std::stable_sort(device.commands.begin(), device.commands.end(),
                         [](const Command &a, const Command &b) { return a.beginMs() < b.beginMs(); });
        std::stable_sort(device.incidents.begin(), device.incidents.end(),
                         [](const Incident &a, const Incident &b) { return a.atMs < b.atMs; });
    }
}

} // namespace

// --- Lines ----------------------------------------------------------------------------------------

void HistoryBuilder::beginFile(const QString &name)
{
    Source source;
    source.name = name;
    m_history.sources.push_back(source);
    m_lineNumber = 0;
    m_runs.beginFile();
}

bool HistoryBuilder::readEventLine(const QByteArray &json)
{
    Event event;
    if (!readEvent(json, &event)) {
        noteBadLine();
        return false;
    }
    Source &source = m_history.sources.back();
    if (source.kind.isEmpty()) {
        source.kind = json.contains("\"recording\"") ? QStringLiteral("recording") : QStringLiteral("event log");
    }
    ++source.lines;
    ++m_lineNumber;
    add(event);
    return true;
}

void HistoryBuilder::noteBadLine()
{
    Source &source = m_history.sources.back();
    ++m_lineNumber;
    if (++source.notUnderstood == 1) {
        source.firstNotUnderstood = static_cast<int>(m_lineNumber);
    }
}

void HistoryBuilder::add(const Event &event)
{
    ++m_history.events;
    if (event.kind == Event::Kind::Start) {
        m_runs.readStart(event);
        reach(event.utcMs);
        return;
    }
    m_runs.expect(event);
    if (event.utcMs < 0.0) {
        return;
    }
    const double atMs = m_runs.timeOf(event);
    m_clockAheadMs = event.utcMs - atMs;
    reach(atMs);
    m_runs.run().toMs = std::max(m_runs.run().toMs, atMs);
    m_current = -1;
    readKind(event, atMs);
    if (m_current < 0) {
        return;
    }
    Device &device = m_devices.at(m_current);
    ++device.events;
    if (m_bounds.areSet()) {
        m_runs.commands().forgetEarly(device, m_current, m_bounds.commands);
        forgetEarly(device, m_bounds);
    }
}

void HistoryBuilder::add(const LoggedReply &logged)
{
    Source &source = m_history.sources.back();
    source.kind = QStringLiteral("error log");
    ++source.lines;
    ++m_lineNumber;
    ++m_history.events;
    reach(logged.atMs);
    if (m_refused.take(logged)) {
        return;
    }
    Device made;
    made.model = logged.model;
    made.title =
        QStringLiteral("%1, from the error log").arg(logged.model.isEmpty() ? logged.loggedName : logged.model);
    made.deviceType = logged.deviceType;
    const int place = m_devices.placeOf(made);
    const host::ReplyJudgement judgement = host::judgeReply(logged.deviceType, logged.reply);
    Refusal refusal;
    refusal.codes = host::commandText(logged.reply);
    refusal.rule = judgement.rule;
    refusal.broken = judgement.accepted ? QStringLiteral("breaks no rule of this version") : judgement.broken;
    refusal.firstMs = logged.atMs;
    m_devices.addRefusal(place, refusal, logged.reply, logged.deviceType);
    m_devices.at(place).incidents.push_back({Incident::Kind::Rejected, logged.atMs});
}

History HistoryBuilder::take()
{
    finish(m_history);
    return std::move(m_history);
}

History HistoryBuilder::snapshot() const
{
    History copy = m_history;
    finish(copy);
    return copy;
}

// --- Events ---------------------------------------------------------------------------------------

void HistoryBuilder::readKind(const Event &event, double atMs)
{
    using Kind = Event::Kind;
    switch (event.kind) {
    case Kind::Given:
        commandOf(event, atMs).givenMs = atMs;
        break;
    case Kind::Sent:
    case Kind::Resent:
        readSent(event, atMs);
        break;
    case Kind::Rejected:
        readReply(event, Incident::Kind::Rejected, atMs);
        break;
    case Kind::Late:
        readReply(event, Incident::Kind::Late, atMs);
        break;
    case Kind::Duplicate:
        readReply(event, Incident::Kind::Duplicate, atMs);
        break;
    case Kind::Foreign:
        readReply(event, Incident::Kind::Foreign, atMs);
        break;
    case Kind::Ended:
        readEnd(event, atMs);
        break;
    case Kind::LinkState:
        readLink(event, atMs);
        break;
    case Kind::State:
        for (const Standing &standing : event.standings) {
            readStanding(standing, atMs);
        }
        if (event.pending == 0) {
            m_runs.closeCommands(); // the ends of those that are still open were lost
        }
        break;
    case Kind::Refused:
    case Kind::Failed:
        readTrouble(event, atMs);
        break;
    case Kind::Problem:
        m_runs.run().problem = event.reason;
        break;
    case Kind::Summary:
        m_runs.readSummary(atMs);
        break;
    case Kind::Lost:
        m_runs.run().lostLines += static_cast<quint64>(std::max(event.lines, 0));
        break;
    case Kind::Start:
    case Kind::Other:
        break;
    }
}

void HistoryBuilder::readSent(const Event &event, double atMs)
{
    Command &command = commandOf(event, atMs);
    command.waitMs = event.waitMs >= 0 ? event.waitMs : command.waitMs;
    (event.kind == Event::Kind::Sent ? command.sentMs : command.resentMs) = atMs;
}

void HistoryBuilder::readReply(const Event &event, Incident::Kind kind, double atMs)
{
    Device &device = deviceOf(event);
    device.lastReplyMs = atMs;
    device.incidents.push_back({kind, atMs});
    if (kind == Incident::Kind::Rejected) {
        readRejection(event, atMs);
    } else if (kind == Incident::Kind::Late) {
        Command &command = commandOf(event, atMs);
        if (command.lateAfterMs < 0.0F && command.sentMs >= 0.0) {
            command.lateAfterMs = static_cast<float>(atMs - command.sentMs);
        }
    }
}

void HistoryBuilder::readRejection(const Event &event, double atMs)
{
    const int place = m_current;
    ++commandOf(event, atMs).rejections;
    Refusal refusal;
    refusal.codes = event.codes;
    refusal.rule = event.rule;
    refusal.broken = event.reason;
    refusal.firstMs = atMs;
    const model_Protocoldata reply = replyOf(event);
    m_devices.addRefusal(place, refusal, reply, m_devices.at(place).deviceType);
    if (!m_bounds.areSet()) {
        m_refused.add(reply, event.utcMs); // by the clock that an error log has
    }
}

void HistoryBuilder::readEnd(const Event &event, double atMs)
{
    Command &command = commandOf(event, atMs);
    Device &device = m_devices.at(m_current);
    if (!command.hasEnded && device.openCommands > 0) {
        --device.openCommands;
    }
    command.endMs = atMs;
    command.hasEnded = true;
    command.outcome = event.outcome;
    command.roundTripMs = static_cast<float>(event.roundTripMs);
    const bool isAnotherClear = device.clears.empty() || atMs - device.clears.back() > sameClearMs;
    if (event.outcome == host::Outcome::Cleared && isAnotherClear) {
        device.clears.push_back(atMs);
    }
    if (event.outcome != host::Outcome::Answered) {
        return;
    }
    device.lastReplyMs = atMs;
    if (!event.head.isEmpty()) {
        m_devices.noteAccepted(m_current, event.head, static_cast<int>(event.data.size()));
    }
}

void HistoryBuilder::readLink(const Event &event, double atMs)
{
    Device &device = deviceOf(event);
    if (!device.link.empty() && device.link.back().toMs < 0.0) {
        device.link.back().toMs = atMs;
    }
    device.link.push_back({event.linkState, atMs, never, event.reason});
}

/** A log that is rotated tells at the begin of each file what is known already, unless lines were lost. */
void HistoryBuilder::readStanding(const Standing &standing, double atMs)
{
    if (standing.device.isEmpty() && m_runs.onlyDevice() < 0) {
        return; // of all devices together
    }
    Event about;
    about.device = standing.device;
    Device &device = deviceOf(about);
    if (!m_runs.commands().hadAny()) {
        device.forgotten += standing.before;
        device.refusedReplies += standing.refusedBefore;
    }
    if (standing.silentSinceMs >= 0.0 && device.commands.empty() && device.silentSinceMs < 0.0) {
        device.silentSinceMs = std::min(standing.silentSinceMs, atMs);
        device.silentToldMs = atMs;
    }
    const bool isKnown = !device.link.empty() && device.link.back().toMs < 0.0;
    if (!standing.linkState || (isKnown && device.link.back().state == *standing.linkState)) {
        return;
    }
    double fromMs = standing.sinceMs >= 0.0 ? std::min(standing.sinceMs, atMs) : atMs;
    if (isKnown) {
        fromMs = std::max(fromMs, device.link.back().fromMs);
        device.link.back().toMs = fromMs;
    }
    device.link.push_back({*standing.linkState, fromMs, never, standing.reason});
}

void HistoryBuilder::readTrouble(const Event &event, double atMs)
{
    Device &device = deviceOf(event);
    const auto known = std::find_if(device.troubles.begin(), device.troubles.end(),
                                    [&event](const Trouble &trouble) { return trouble.text == event.reason; });
    if (known != device.troubles.end()) {
        ++known->count;
    } else if (device.troubles.size() < mostTroubles) {
        device.troubles.push_back({event.reason, 1, atMs});
    }
}

// --- What events are about ------------------------------------------------------------------------

Device &HistoryBuilder::deviceOf(const Event &event)
{
    m_current = placeOf(event);
    return m_devices.at(m_current);
}

int HistoryBuilder::placeOf(const Event &event)
{
    if (event.device.isEmpty() && m_runs.onlyDevice() >= 0) {
        return m_runs.onlyDevice();
    }
    const CommandPlace *const command = m_runs.commands().find(event.ticket);
    if (event.device.isEmpty() && command != nullptr) {
        return command->device;
    }
    Device device;
    device.isOfDevice = m_runs.run().isOfDevice;
    device.title = event.device.isEmpty() ? m_runs.run().link : event.device;
    return m_runs.placeOf(device);
}

int HistoryBuilder::nameOf(const QString &name)
{
    const auto known = m_names.constFind(name);
    if (known != m_names.constEnd()) {
        return *known;
    }
    const QString furtherName = QStringLiteral("further commands");
    if (m_history.names.size() >= mostNames && name != furtherName) {
        return nameOf(furtherName);
    }
    m_history.names.append(name);
    return *m_names.insert(name, static_cast<int>(m_history.names.size()) - 1);
}

/** The command of the event's ticket, which is put in where it is not known. */
Command &HistoryBuilder::commandOf(const Event &event, double atMs)
{
    if (const CommandPlace *const known = m_runs.commands().find(event.ticket)) {
        m_current = known->device;
        return m_devices.at(known->device).commands[known->command];
    }
    Device &device = deviceOf(event);
    m_runs.commands().add(event.ticket, {m_current, device.commands.size()});
    Command command;
    command.givenMs = atMs;
    command.name = nameOf(event.name.isEmpty() ? event.codes : event.name);
    command.waitMs = event.waitMs;
    command.ticket = event.ticket;
    ++device.openCommands;
    device.commands.push_back(command);
    return device.commands.back();
}

void HistoryBuilder::reach(double atMs)
{
    if (atMs < 0.0) {
        return;
    }
    m_history.fromMs = m_history.fromMs < 0.0 ? atMs : std::min(m_history.fromMs, atMs);
    m_history.toMs = std::max(m_history.toMs, atMs);
}

} // namespace biz::history
