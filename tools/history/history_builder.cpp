#include <history/history_builder.h>

#include <algorithm>

#include <host/reply_words.h>

namespace biz::history {

namespace {

/** What a device's history holds of things that somebody else names. */
constexpr std::size_t mostShapes = 512;
constexpr std::size_t mostRefusals = 200;
constexpr std::size_t mostTroubles = 50;
constexpr int mostNames = 10000;

// What a history holds that goes on for ever.
constexpr std::size_t mostRuns = 100;
constexpr std::size_t mostLinkSpans = 1000;
constexpr std::size_t mostClears = 1000;
constexpr std::size_t mostDevices = 2000;

/** Logs of one run begin at the same time, but for the noise of two clocks. */
constexpr double sameStartMs = 1000.0;

/** The error log and the event log tell of one reply within this time. */
constexpr double sameReplyMs = 2000.0;

/** Commands that a clear ends are told one by one, within this time. */
constexpr double sameClearMs = 50.0;

constexpr int headSize = sizeof(model_Protocoldata::ucHead);

QString modelOf(int deviceType)
{
    static const QVector<host::CheckedModel> models = host::checkedModels();
    for (const host::CheckedModel &model : models) {
        if (model.deviceType == deviceType) {
            return model.name;
        }
    }
    return {};
}

model_Protocoldata replyOf(const Event &event)
{
    model_Protocoldata reply;
    std::copy_n(event.head.constBegin(), std::min<qsizetype>(event.head.size(), headSize), reply.ucHead);
    reply.baData = event.data;
    return reply;
}

/** What tells a reply from others in the error log: bytes 1 to 5 of its head, and the size of its payload. */
QByteArray loggedBytes(const model_Protocoldata &reply)
{
    constexpr int first = 1;
    constexpr int count = 5;
    return QByteArray(reinterpret_cast<const char *>(reply.ucHead) + first, count) +
           QByteArray::number(reply.baData.size());
}

/** By the rules of the device's model, or of the model whose rules say the same, where a log does not name it. */
host::ReplyJudgement judgementOf(const Refusal &refusal, const model_Protocoldata &reply, int deviceType)
{
    host::ReplyJudgement own = host::judgeReply(deviceType, reply);
    if (deviceType >= 0) {
        return own;
    }
    for (const host::CheckedModel &model : host::checkedModels()) {
        host::ReplyJudgement judgement = host::judgeReply(model.deviceType, reply);
        if (!judgement.accepted && judgement.rule == refusal.rule && judgement.broken == refusal.broken) {
            return judgement;
        }
    }
    return own;
}

/** Notes a reply that is not known yet; its sequence byte is all the same to the rules. */
void noteShape(std::vector<ReplyShape> &shapes, std::set<QByteArray> &known, char side, const QByteArray &head,
               int payloadSize)
{
    if (head.size() != headSize || shapes.size() >= mostShapes) {
        return;
    }
    if (known.insert(side + head.mid(1) + QByteArray::number(payloadSize)).second) {
        shapes.push_back({head, payloadSize});
    }
}

/** "A2 at tcp://127.0.0.1:15700", as far as it is known. */
QString titleOf(const Run &run)
{
    const QString place = run.link.isEmpty() ? QStringLiteral("a device") : run.link;
    return run.model.isEmpty() ? place : QStringLiteral("%1 at %2").arg(run.model, place);
}

QString clauseOf(const Refusal &refusal)
{
    return refusal.codes + QLatin1Char('\n') + refusal.rule + QLatin1Char('\n') + refusal.broken;
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

constexpr char refusedSide = 'r';
constexpr char acceptedSide = 'a';

} // namespace

void HistoryBuilder::beginFile(const QString &name)
{
    Source source;
    source.name = name;
    m_history.sources.push_back(source);
    m_lineNumber = 0;
    m_isFirstOfFile = true;
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

// By the steady clock where the line has it, so that somebody who sets the clock bends nothing.
double HistoryBuilder::timeOf(const Event &event) const
{
    return event.atMs >= 0.0 && m_open.startMs >= 0.0 ? m_open.startMs + event.atMs : event.utcMs;
}

void HistoryBuilder::add(const Event &event)
{
    ++m_history.events;
    if (event.kind == Event::Kind::Start) {
        if (repeatsStart(event)) {
            learnFrom(event);
        } else {
            beginRun(event);
        }
        reach(event.utcMs);
        m_isFirstOfFile = false;
        return;
    }
    if (!m_hasRun || (m_isFirstOfFile && !belongsToOpenRun(event))) {
        continueRun(event);
    }
    m_isFirstOfFile = false;
    if (event.utcMs < 0.0) {
        return;
    }
    const double atMs = timeOf(event);
    reach(atMs);
    Run &run = m_history.runs[static_cast<std::size_t>(m_open.run)];
    run.toMs = std::max(run.toMs, atMs);
    m_current = -1;
    readKind(event, atMs);
    if (m_current < 0) {
        return;
    }
    Device &device = m_history.devices[static_cast<std::size_t>(m_current)];
    ++device.events;
    if (isBounded()) {
        forgetEarly(device);
    }
}

void HistoryBuilder::readKind(const Event &event, double atMs)
{
    using Kind = Event::Kind;
    Run &run = m_history.runs[static_cast<std::size_t>(m_open.run)];
    switch (event.kind) {
    case Kind::Given:
        commandOf(event, atMs)->givenMs = atMs;
        break;
    case Kind::Sent:
    case Kind::Resent:
        readSent(event, atMs);
        break;
    case Kind::Rejected:
    case Kind::Late:
    case Kind::Duplicate:
    case Kind::Foreign:
        readReply(event, atMs);
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
        break;
    case Kind::Refused:
    case Kind::Failed:
        addTrouble(event, atMs);
        break;
    case Kind::Problem:
        run.problem = event.reason;
        break;
    case Kind::Summary:
        run.isComplete = true;
        closeLink(atMs);
        closeCommands();
        break;
    case Kind::Lost:
        run.lostLines += static_cast<quint64>(std::max(event.lines, 0));
        break;
    case Kind::Start:
    case Kind::Other:
        break;
    }
}

/** Whether the first line of a file goes on where another file ended: both count from the same moment. */
bool HistoryBuilder::belongsToOpenRun(const Event &event) const
{
    return event.atMs >= 0.0 && qAbs(event.utcMs - event.atMs - m_open.startMs) < sameStartMs;
}

// Each file of a log that is rotated begins with the start of the whole log.
bool HistoryBuilder::repeatsStart(const Event &event) const
{
    return m_hasRun && event.utcMs == m_open.startMs && event.isOfDevice == m_history.runs.back().isOfDevice;
}

/** What was not settled yet when the log began may stand in a later file. */
void HistoryBuilder::learnFrom(const Event &start)
{
    Run &run = m_history.runs.back();
    run.link = run.link.isEmpty() ? start.link : run.link;
    run.model = run.model.isEmpty() ? modelOf(start.deviceType) : run.model;
    if (m_open.onlyDevice < 0) {
        return;
    }
    Device &device = m_history.devices[static_cast<std::size_t>(m_open.onlyDevice)];
    device.model = run.model;
    device.deviceType = start.deviceType;
    device.title = titleOf(run);
}

void HistoryBuilder::closeLink(double atMs)
{
    if (m_open.onlyDevice < 0) {
        return;
    }
    std::vector<LinkSpan> &link = m_history.devices[static_cast<std::size_t>(m_open.onlyDevice)].link;
    if (!link.empty() && link.back().toMs < 0.0) {
        link.back().toMs = atMs;
    }
}

void HistoryBuilder::closeCommands()
{
    for (Device &device : m_history.devices) {
        device.openCommands = 0;
    }
}

void HistoryBuilder::beginRun(const Event &event)
{
    if (m_hasRun) {
        closeLink(m_history.runs.back().toMs);
        closeCommands();
    }
    if (isBounded() && m_history.runs.size() >= mostRuns) {
        m_history.runs.erase(m_history.runs.begin());
    }
    m_open = OpenRun();
    m_open.startMs = event.utcMs;
    m_open.run = static_cast<int>(m_history.runs.size());
    m_hasRun = true;
    Run run;
    run.file = m_history.sources.empty() ? QString() : m_history.sources.back().name;
    run.link = event.link;
    run.model = modelOf(event.deviceType);
    run.tool = event.tool;
    run.library = event.library;
    run.isOfDevice = event.isOfDevice;
    run.isPipelined = event.isPipelined;
    run.fromMs = event.utcMs;
    run.toMs = event.utcMs;
    m_history.runs.push_back(run);
    if (event.hasOneDevice) {
        Device device;
        device.model = run.model;
        device.title = titleOf(run);
        device.deviceType = event.deviceType;
        device.isPipelined = event.isPipelined;
        m_open.onlyDevice = deviceNamed(device.title, device);
    }
}

// A log that was rotated begins in the middle of a run.
void HistoryBuilder::continueRun(const Event &event)
{
    Event start;
    start.kind = Event::Kind::Start;
    start.utcMs = event.atMs >= 0.0 && event.utcMs >= 0.0 ? event.utcMs - event.atMs : std::max(event.utcMs, 0.0);
    start.isOfDevice = event.device.isEmpty();
    start.hasOneDevice = start.isOfDevice;
    start.link = QStringLiteral("a device whose start is not in the log");
    beginRun(start);
    m_history.runs.back().fromMs = std::max(event.utcMs, 0.0);
}

int HistoryBuilder::deviceNamed(const QString &key, const Device &made)
{
    const auto known = m_devices.constFind(key);
    if (known != m_devices.constEnd()) {
        return *known;
    }
    const QString furtherKey = QStringLiteral("further devices");
    if (isBounded() && m_history.devices.size() >= mostDevices && key != furtherKey) {
        Device further;
        further.title = furtherKey;
        further.isOfDevice = made.isOfDevice;
        return deviceNamed(furtherKey, further);
    }
    const int place = static_cast<int>(m_history.devices.size());
    m_history.devices.push_back(made);
    m_shapes.emplace_back();
    m_refusals.emplace_back();
    m_devices.insert(key, place);
    return place;
}

int HistoryBuilder::deviceOf(const Event &event)
{
    m_current = placeOf(event);
    return m_current;
}

int HistoryBuilder::placeOf(const Event &event)
{
    if (event.device.isEmpty() && m_open.onlyDevice >= 0) {
        return m_open.onlyDevice;
    }
    const auto command = m_open.commands.constFind(event.ticket);
    if (event.device.isEmpty() && command != m_open.commands.constEnd()) {
        return command->device;
    }
    const Run &run = m_history.runs[static_cast<std::size_t>(m_open.run)];
    Device device;
    device.isOfDevice = run.isOfDevice;
    device.title = event.device.isEmpty() ? run.link : event.device;
    return deviceNamed(device.title, device);
}

int HistoryBuilder::nameOf(const Event &event)
{
    const QString name = event.name.isEmpty() ? event.codes : event.name;
    const auto known = m_names.constFind(name);
    if (known != m_names.constEnd()) {
        return *known;
    }
    if (m_history.names.size() >= mostNames) {
        return static_cast<int>(m_history.names.size()) - 1;
    }
    m_history.names.append(name);
    return *m_names.insert(name, static_cast<int>(m_history.names.size()) - 1);
}

Command *HistoryBuilder::commandOf(const Event &event, double atMs)
{
    const auto known = m_open.commands.constFind(event.ticket);
    if (known != m_open.commands.constEnd()) {
        m_current = known->device;
        return &m_history.devices[static_cast<std::size_t>(known->device)].commands[known->command];
    }
    const int place = deviceOf(event);
    Device &device = m_history.devices[static_cast<std::size_t>(place)];
    m_open.commands.insert(event.ticket, {place, device.commands.size()});
    Command command;
    command.givenMs = atMs;
    command.name = nameOf(event);
    command.waitMs = event.waitMs;
    command.ticket = event.ticket;
    ++device.openCommands;
    m_open.hasCommands = true;
    device.commands.push_back(command);
    return &device.commands.back();
}

void HistoryBuilder::readSent(const Event &event, double atMs)
{
    Command *command = commandOf(event, atMs);
    command->waitMs = event.waitMs >= 0 ? event.waitMs : command->waitMs;
    (event.kind == Event::Kind::Sent ? command->sentMs : command->resentMs) = atMs;
}

void HistoryBuilder::readReply(const Event &event, double atMs)
{
    const int place = deviceOf(event);
    Device &device = m_history.devices[static_cast<std::size_t>(place)];
    Incident incident;
    incident.atMs = atMs;
    device.lastReplyMs = atMs;
    if (event.kind == Event::Kind::Rejected) {
        incident.kind = Incident::Kind::Rejected;
        ++commandOf(event, atMs)->rejections;
        Refusal refusal;
        refusal.codes = event.codes;
        refusal.rule = event.rule;
        refusal.broken = event.reason;
        refusal.firstMs = atMs;
        const model_Protocoldata reply = replyOf(event);
        addRefusal(device, refusal, reply, device.deviceType);
        if (!isBounded()) {
            m_rejected.emplace(loggedBytes(reply), atMs);
        }
    } else if (event.kind == Event::Kind::Late) {
        incident.kind = Incident::Kind::Late;
        Command *command = commandOf(event, atMs);
        if (command->lateAfterMs < 0.0F && command->sentMs >= 0.0) {
            command->lateAfterMs = static_cast<float>(atMs - command->sentMs);
        }
    } else {
        incident.kind = event.kind == Event::Kind::Duplicate ? Incident::Kind::Duplicate : Incident::Kind::Foreign;
    }
    device.incidents.push_back(incident);
}

void HistoryBuilder::readEnd(const Event &event, double atMs)
{
    Command *command = commandOf(event, atMs);
    Device &device = m_history.devices[static_cast<std::size_t>(m_current)];
    if (!command->hasEnded && device.openCommands > 0) {
        --device.openCommands;
    }
    command->endMs = atMs;
    command->hasEnded = true;
    command->outcome = event.outcome;
    command->roundTripMs = static_cast<float>(event.roundTripMs);
    const bool isAnotherClear = device.clears.empty() || atMs - device.clears.back() > sameClearMs;
    if (event.outcome == host::Outcome::Cleared && isAnotherClear) {
        device.clears.push_back(atMs);
    }
    if (event.outcome != host::Outcome::Answered) {
        return;
    }
    device.lastReplyMs = atMs;
    if (!event.head.isEmpty()) {
        noteShape(device.acceptedShapes, m_shapes[static_cast<std::size_t>(m_current)], acceptedSide, event.head,
                  static_cast<int>(event.data.size()));
    }
}

void HistoryBuilder::readLink(const Event &event, double atMs)
{
    Device &device = m_history.devices[static_cast<std::size_t>(deviceOf(event))];
    if (!device.link.empty() && device.link.back().toMs < 0.0) {
        device.link.back().toMs = atMs;
    }
    device.link.push_back({event.linkState, atMs, never, event.reason});
}

// A log that is rotated tells at the begin of each file what is known already, unless lines were lost.
void HistoryBuilder::readStanding(const Standing &standing, double atMs)
{
    if (standing.device.isEmpty() && m_open.onlyDevice < 0) {
        return; // of all devices together
    }
    Event about;
    about.device = standing.device;
    Device &device = m_history.devices[static_cast<std::size_t>(deviceOf(about))];
    if (!m_open.hasCommands) {
        device.forgotten += standing.before;
        device.refusedReplies += standing.refusedBefore;
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

void HistoryBuilder::addTrouble(const Event &event, double atMs)
{
    Device &device = m_history.devices[static_cast<std::size_t>(deviceOf(event))];
    const auto known = std::find_if(device.troubles.begin(), device.troubles.end(),
                                    [&event](const Trouble &trouble) { return trouble.text == event.reason; });
    if (known != device.troubles.end()) {
        ++known->count;
    } else if (device.troubles.size() < mostTroubles) {
        device.troubles.push_back({event.reason, 1, atMs});
    }
}

void HistoryBuilder::addRefusal(Device &device, const Refusal &refusal, const model_Protocoldata &reply, int deviceType)
{
    const auto place = static_cast<std::size_t>(&device - m_history.devices.data());
    const QByteArray head(reinterpret_cast<const char *>(reply.ucHead), headSize);
    ++device.refusedReplies;
    noteShape(device.refusedShapes, m_shapes[place], refusedSide, head, static_cast<int>(reply.baData.size()));
    const QString clause = clauseOf(refusal);
    const auto known = m_refusals[place].find(clause);
    if (known != m_refusals[place].end()) {
        Refusal &counted = device.refusals[known->second];
        ++counted.count;
        counted.lastMs = refusal.firstMs;
        return;
    }
    if (device.refusals.size() >= mostRefusals) {
        if (!isBounded()) {
            return;
        }
        forgetRefusal(device);
    }
    m_refusals[place].emplace(clause, device.refusals.size());
    const host::ReplyJudgement judgement = judgementOf(refusal, reply, deviceType);
    Refusal first = refusal;
    first.count = 1;
    first.lastMs = refusal.firstMs;
    first.head = head;
    first.data = reply.baData;
    first.brokenHeadBytes = judgement.brokenHeadBytes;
    first.brokenPayload = judgement.brokenPayload;
    first.isAcceptedNow = deviceType >= 0 && judgement.accepted;
    device.refusals.push_back(first);
}

void HistoryBuilder::add(const LoggedReply &logged)
{
    Source &source = m_history.sources.back();
    source.kind = QStringLiteral("error log");
    ++source.lines;
    ++m_lineNumber;
    ++m_history.events;
    reach(logged.atMs);
    const auto [first, last] = m_rejected.equal_range(loggedBytes(logged.reply));
    const auto same = std::find_if(
        first, last, [&logged](const auto &rejected) { return qAbs(rejected.second - logged.atMs) < sameReplyMs; });
    Device made;
    made.model = logged.model;
    made.title =
        QStringLiteral("%1, from the error log").arg(logged.model.isEmpty() ? logged.loggedName : logged.model);
    made.deviceType = logged.deviceType;
    if (same != last) {
        m_rejected.erase(same);
        return;
    }
    Device &device = m_history.devices[static_cast<std::size_t>(deviceNamed(made.title, made))];
    const host::ReplyJudgement judgement = host::judgeReply(logged.deviceType, logged.reply);
    Refusal refusal;
    refusal.codes = host::commandText(logged.reply);
    refusal.rule = judgement.rule;
    refusal.broken = judgement.accepted ? QStringLiteral("breaks no rule of this version") : judgement.broken;
    refusal.firstMs = logged.atMs;
    addRefusal(device, refusal, logged.reply, logged.deviceType);
    device.incidents.push_back({Incident::Kind::Rejected, logged.atMs});
}

void HistoryBuilder::reach(double atMs)
{
    if (atMs < 0.0) {
        return;
    }
    m_history.fromMs = m_history.fromMs < 0.0 ? atMs : std::min(m_history.fromMs, atMs);
    m_history.toMs = std::max(m_history.toMs, atMs);
}

/** The half that is older, at once, so that this costs little for each command. */
void HistoryBuilder::forgetEarly(Device &device)
{
    if (device.commands.size() >= 2 * m_kept) {
        forgetCommands(device);
    }
    if (device.incidents.size() >= 2 * m_kept) {
        const auto early = device.incidents.end() - static_cast<std::ptrdiff_t>(m_kept);
        std::for_each(device.incidents.begin(), early,
                      [&device](const Incident &incident) { device.forgotten.count(incident); });
        device.incidents.erase(device.incidents.begin(), early);
    }
    if (device.clears.size() >= 2 * mostClears) {
        device.clears.erase(device.clears.begin(), device.clears.end() - static_cast<std::ptrdiff_t>(mostClears));
    }
    if (device.link.size() >= 2 * mostLinkSpans) {
        device.link.erase(device.link.begin(), device.link.end() - static_cast<std::ptrdiff_t>(mostLinkSpans));
    }
}

// Commands of the run that goes on stay until they have ended, unless there are so many that their ends were lost.
void HistoryBuilder::forgetCommands(Device &device)
{
    const int place = static_cast<int>(&device - m_history.devices.data());
    const std::size_t early = device.commands.size() - m_kept;
    std::size_t kept = 0;
    for (std::size_t from = 0; from < device.commands.size(); ++from) {
        const Command &command = device.commands[from];
        const auto known = m_open.commands.find(command.ticket);
        const bool isOfRun = known != m_open.commands.end() && known->device == place && known->command == from;
        const bool mayEnd = isOfRun && !command.hasEnded;
        if (from >= early || (mayEnd && kept < m_kept / 2)) {
            if (isOfRun) {
                known->command = kept;
            }
            device.commands[kept++] = command;
            continue;
        }
        device.forgotten.count(command);
        if (isOfRun) {
            m_open.commands.erase(known);
        }
        if (mayEnd && device.openCommands > 0) {
            --device.openCommands;
        }
    }
    device.commands.resize(kept);
}

/** The kind of refusal that was not seen for longest. */
void HistoryBuilder::forgetRefusal(Device &device)
{
    std::vector<Refusal> &refusals = device.refusals;
    const auto oldest = std::min_element(refusals.begin(), refusals.end(),
                                         [](const Refusal &a, const Refusal &b) { return a.lastMs < b.lastMs; });
    const auto place = static_cast<std::size_t>(oldest - refusals.begin());
    std::map<QString, std::size_t> &known = m_refusals[static_cast<std::size_t>(&device - m_history.devices.data())];
    known.erase(clauseOf(*oldest));
    if (place + 1 < refusals.size()) {
        refusals[place] = refusals.back();
        known[clauseOf(refusals[place])] = place;
    }
    refusals.pop_back();
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

} // namespace biz::history
