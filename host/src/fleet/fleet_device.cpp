#include <fleet/fleet_device_p.h>

#include <algorithm>
#include <utility>
#include <vector>

#include <QtCore/QDateTime>

namespace biz::host {

namespace {

/** What the workers alone can count. */
constexpr quint64 Counters::*countedByWorkers[] = {
    &Counters::dropped,       &Counters::overflowed, &Counters::refusedBytes,
    &Counters::refusedFrames, &Counters::bytesOut,   &Counters::bytesIn,
};

/** What the fleet counts itself: what it is given, how that ends, and what the workers tell of each command. */
constexpr quint64 Counters::*countedByTheFleet[] = {
    &Counters::enqueued,   &Counters::sent,      &Counters::resent,      &Counters::answered,    &Counters::gaveUp,
    &Counters::cleared,    &Counters::skipped,   &Counters::stopped,     &Counters::released,    &Counters::expired,
    &Counters::superseded, &Counters::cancelled, &Counters::unreachable, &Counters::interrupted, &Counters::rejected,
    &Counters::late,       &Counters::duplicate, &Counters::foreign,
};
static_assert(std::size(countedByWorkers) + std::size(countedByTheFleet) == counterRows.size(),
              "a total was added, and nobody counts it for a fleet");

QByteArray headOf(const model_Protocoldata &record)
{
    return {reinterpret_cast<const char *>(record.ucHead), sizeof(record.ucHead)};
}

} // namespace

FleetDevice::FleetDevice(const QString &name, const WorkerPlan &plan, WhileDown whileDown, Signals *signalsOfFleet,
                         FleetTap *tap, QObject *parent)
    : QObject(parent)
    , m_name(name)
    , m_whileDown(whileDown)
    , m_signals(signalsOfFleet)
    , m_tap(tap)
    , m_worker(plan, this)
{
    connect(&m_worker, &Worker::serving, this, [this] {
        enterLinkState({LinkState::Connecting, {}, 0, {}, {}});
        giveHeld();
    });
    connect(&m_worker, &Worker::line, this, [this](const QByteArray &line) { onLine(line); });
    connect(&m_worker, &Worker::writable, this, [this] { giveHeld(); });
    connect(&m_worker, &Worker::ended, this, [this] { onWorkerEnded(); });
    connect(&m_worker, &Worker::away, this, [this](Error error, const QString &reason) { onAway(error, reason); });
}

void FleetDevice::start()
{
    enterLinkState({LinkState::Connecting, {}, 0, {}, {}});
    m_worker.start();
}

void FleetDevice::startAfter(Worker *former)
{
    enterLinkState({LinkState::Connecting, {}, 0, {}, {}});
    connect(former, &Worker::gone, &m_worker, &Worker::start);
}

// --- Commands ---------------------------------------------------------------------------------

/** The one whose place it takes needs no room beside it. */
bool FleetDevice::hasRoomFor(const model_Protocoldata &command, const CommandOptions &options) const
{
    const Command *const replaced = heldWithKey(options.replaceKey);
    const int others = pending() - (replaced != nullptr ? 1 : 0);
    const qint64 othersPayload = m_payload - (replaced != nullptr ? replaced->record.baData.size() : 0);
    return others < DeviceFleet::mostPending && othersPayload + command.baData.size() <= DeviceFleet::mostPendingBytes;
}

/** Null when there is none. */
const FleetDevice::Command *FleetDevice::heldWithKey(const QString &replaceKey) const
{
    const auto newest = m_commands.find(m_newestWithKey.value(replaceKey));
    return newest != m_commands.end() && !newest->second.isGiven ? &newest->second : nullptr;
}

void FleetDevice::enqueue(Ticket ticket, const model_Protocoldata &command, const CommandOptions &options)
{
    Command entry;
    entry.record = command;
    entry.options = options;
    entry.history = CommandHistory(pending());
    m_payload += command.baData.size();
    const auto added = m_commands.emplace(ticket, std::move(entry)).first;
    tellGiven(ticket, added->second);
    count([](Statistics &totals) {
        ++totals.enqueued;
        totals.setWaiting(totals.queueLength + 1);
    });
    if (!options.replaceKey.isEmpty()) {
        const auto before = m_commands.find(std::exchange(m_newestWithKey[options.replaceKey], ticket));
        if (before != m_commands.end()) {
            before->second.supersededBy = ticket;
        }
    }
    if (isFailingFast()) {
        endByFleet(added, Outcome::Unreachable, QStringLiteral("the link is down: ") + m_link.reason);
        return;
    }
    hold(ticket, options);
    giveHeld();
}

void FleetDevice::hold(Ticket ticket, const CommandOptions &options)
{
    Held held;
    held.ticket = ticket;
    held.options = options;
    if (const auto replaced = m_held.push(std::move(held))) {
        endByFleet(m_commands.find(replaced->ticket), Outcome::Superseded,
                   QStringLiteral("ticket %1 took its place").arg(ticket));
    }
}

void FleetDevice::giveHeld()
{
    while (!m_held.isEmpty() && m_worker.canTake()) {
        give(m_held.takeFirst());
    }
}

/** What is left of its validity goes with it. */
void FleetDevice::give(const Held &held)
{
    const auto found = m_commands.find(held.ticket);
    Command &command = found->second;
    CommandOptions options = held.options;
    if (options.validFor.count() != 0) {
        const auto waited =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - command.history.enqueuedAt());
        options.validFor -= waited;
        if (options.validFor.count() <= 0) {
            endByFleet(found, Outcome::Expired,
                       QStringLiteral("the time for which it was valid had passed before its worker took it"));
            return;
        }
    }
    command.isGiven = true;
    m_worker.write(commandLine(held.ticket, command.record, options));
}

bool FleetDevice::cancel(Ticket ticket)
{
    const auto command = m_commands.find(ticket);
    if (command == m_commands.end()) {
        return false;
    }
    if (command->second.isGiven) {
        askForEnd(command->second, cancelLine(ticket));
    } else {
        endByFleet(command, Outcome::Cancelled, QStringLiteral("it was cancelled before it was sent"));
    }
    return true;
}

void FleetDevice::clear()
{
    endHeld(Outcome::Cleared, QStringLiteral("the queue was cleared before it was sent"));
    const auto isAskable = [](const auto &entry) {
        return entry.second.isGiven && !entry.second.isEndAskedFor;
    };
    const auto first = std::find_if(m_commands.begin(), m_commands.end(), isAskable);
    if (first == m_commands.end()) {
        return;
    }
    askForEnd(first->second, clearLine());
    for (auto &entry : m_commands) {
        entry.second.isEndAskedFor = entry.second.isGiven;
    }
}

/** Once for each command, so that a worker that does not read costs no memory. */
void FleetDevice::askForEnd(Command &command, const QByteArray &line)
{
    if (!std::exchange(command.isEndAskedFor, true)) {
        m_worker.write(line);
    }
}

void FleetDevice::remove()
{
    m_worker.disconnect(this);
    while (!m_commands.empty()) {
        endByFleet(m_commands.begin(), Outcome::Stopped, QStringLiteral("its device was removed"));
    }
    enterLinkState({LinkState::Closed, {}, 0, {}, {}});
    m_worker.stop();
}

// --- What the worker says ---------------------------------------------------------------------

void FleetDevice::onLine(const QByteArray &text)
{
    const std::optional<WorkerLine> line = readWorkerLine(text);
    if (!line) {
        return;
    }
    if (line->counters) {
        onCounters(*line->counters);
        return;
    }
    if (const auto outcome = outcomeOf(line->event.kind)) {
        onEnd(line->ticket, line->event, *outcome);
        return;
    }
    if (line->event.link) {
        enterLinkState(*line->event.link);
    } else if (line->event.kind == EventKind::Error) {
        onError(*line);
    } else if (line->event.kind == EventKind::Refused) {
        onRefused(line->event);
    } else if (line->event.kind != EventKind::Start && line->event.kind != EventKind::Given) {
        tellEvent(line->event, line->ticket);
        onWritten(*line);
        onReply(*line);
    }
}

void FleetDevice::onWritten(const WorkerLine &line)
{
    const EventKind kind = line.event.kind;
    const auto found = m_commands.find(line.ticket);
    if (found == m_commands.end()) {
        return;
    }
    Command &command = found->second;
    const int attempt = line.event.attempts.value_or(1);
    if (kind == EventKind::Writing) {
        command.attempts = attempt;
        command.history.note(QStringLiteral("about to be written"));
    } else if (kind == EventKind::Sent || kind == EventKind::Resent) {
        count([attempt](Statistics &totals) { ++(attempt == 1 ? totals.sent : totals.resent); });
        m_signals->post(&DeviceFleet::sent, m_name, line.ticket, attempt, recordOf(line.event));
    }
}

void FleetDevice::onReply(const WorkerLine &line)
{
    const Event &event = line.event;
    if (event.kind == EventKind::Rejected) {
        onRejected(line);
    } else if (event.kind == EventKind::Late) {
        countStray(&Statistics::late);
        m_signals->post(&DeviceFleet::late, m_name, line.ticket, recordOf(event), event.afterEndMs.value_or(0.0));
    } else if (event.kind == EventKind::Duplicate) {
        countStray(&Statistics::duplicate);
        m_signals->post(&DeviceFleet::duplicate, m_name, line.ticket, recordOf(event));
    } else if (event.kind == EventKind::Foreign) {
        countStray(&Statistics::foreign);
        m_signals->post(&DeviceFleet::foreign, m_name, recordOf(event));
    }
}

/** The device is there, whatever its reply was for. */
void FleetDevice::countStray(quint64 Counters::*counter)
{
    count([counter](Statistics &totals) {
        ++(totals.*counter);
        totals.noteSeen();
    });
}

void FleetDevice::onRejected(const WorkerLine &line)
{
    const model_Protocoldata reply = recordOf(line.event);
    ReplyJudgement judgement;
    judgement.accepted = false;
    judgement.rule = line.event.rule;
    judgement.broken = line.event.reason;
    count([&](Statistics &totals) {
        totals.noteRejected(commandText(reply) + QStringLiteral(": ") + judgement.rule);
        totals.noteSeen();
    });
    m_signals->post(&DeviceFleet::rejected, m_name, line.ticket, reply, judgement);
}

void FleetDevice::onRefused(const Event &event)
{
    count([](Statistics &totals) { totals.noteSeen(); });
    tellEvent(event, 0);
    m_signals->post(&DeviceFleet::refused, m_name, event.bytes.value_or(0), event.reason);
}

/** A worker of another kind may not take what this one would. */
void FleetDevice::onError(const WorkerLine &line)
{
    const auto command = m_commands.find(line.ticket);
    if (command != m_commands.end() && command->second.attempts == 0) {
        endByFleet(command, Outcome::GaveUp, QStringLiteral("its worker refused it: ") + line.event.reason);
    }
}

void FleetDevice::onEnd(Ticket ticket, const Event &event, Outcome outcome)
{
    const auto command = m_commands.find(ticket);
    if (command == m_commands.end()) {
        return;
    }
    CommandResult result = resultOf(event, outcome);
    if (outcome == Outcome::Superseded) {
        result.supersededBy = command->second.supersededBy;
    }
    count([&result](Statistics &totals) {
        if (result.roundTripMs >= 0.0) {
            totals.noteRoundTrip(result.roundTripMs);
            totals.noteSeen();
        }
    });
    end(command, std::move(result));
    giveHeld();
}

void FleetDevice::onCounters(const Counters &ofWorker)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_ofWorker = ofWorker;
}

// --- When the worker is away ------------------------------------------------------------------

void FleetDevice::onWorkerEnded()
{
    endGiven();
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto counter : countedByWorkers) {
        m_ofFormerWorkers.*counter += std::exchange(m_ofWorker.*counter, 0);
    }
}

void FleetDevice::onAway(Error error, const QString &reason)
{
    enterLinkState({LinkState::Lost, {}, 0, error, reason});
    endGiven(); // before those that are held, which came later
    if (isFailingFast()) {
        endHeld(Outcome::Unreachable, QStringLiteral("the link is down: ") + reason);
    }
}

/** What the worker told before each write is all that is known of what the device got. */
void FleetDevice::endGiven()
{
    std::vector<Ticket> given;
    for (const auto &entry : m_commands) {
        if (entry.second.isGiven) {
            given.push_back(entry.first);
        }
    }
    for (const Ticket ticket : given) {
        const auto command = m_commands.find(ticket);
        endByFleet(command, Outcome::Interrupted,
                   command->second.attempts == 0
                       ? QStringLiteral("its worker ended before it was written")
                       : QStringLiteral("its worker ended after it had been written, or was about to be"));
    }
}

void FleetDevice::endHeld(Outcome outcome, const QString &reason)
{
    while (!m_held.isEmpty()) {
        endByFleet(m_commands.find(m_held.takeFirst().ticket), outcome, reason);
    }
}

bool FleetDevice::isFailingFast() const
{
    return m_whileDown == WhileDown::FailFast && m_link.state == LinkState::Lost && !m_worker.isServing();
}

void FleetDevice::enterLinkState(LinkStatus status)
{
    if (status.state == m_link.state && status.reason == m_link.reason && m_link.since.isValid()) {
        return;
    }
    if (!status.since.isValid()) {
        status.since = QDateTime::currentDateTimeUtc();
    }
    m_link = status;
    Event event;
    event.kind = EventKind::LinkStateChanged;
    event.link = status;
    event.error = status.error;
    event.reason = status.reason;
    tellEvent(std::move(event), 0);
    m_signals->post(&DeviceFleet::linkStateChanged, m_name, status);
}

// --- Ends -------------------------------------------------------------------------------------

void FleetDevice::endByFleet(Commands::iterator command, Outcome outcome, const QString &reason)
{
    CommandResult result;
    result.outcome = outcome;
    result.attempts = command->second.attempts;
    result.reason = reason;
    result.supersededBy = outcome == Outcome::Superseded ? command->second.supersededBy : 0;
    command->second.history.note(outcomeName(outcome) + QStringLiteral(": ") + reason);
    result.history = command->second.history.events();
    end(command, std::move(result));
}

void FleetDevice::end(Commands::iterator command, CommandResult result)
{
    const Ticket ticket = command->first;
    const Command &ended = command->second;
    tellEnd(ticket, ended, result);
    m_payload -= ended.record.baData.size();
    if (!ended.isGiven) {
        (void)m_held.take(ticket);
    }
    const auto newest = m_newestWithKey.find(ended.options.replaceKey);
    if (newest != m_newestWithKey.end() && newest.value() == ticket) {
        m_newestWithKey.erase(newest);
    }
    m_commands.erase(command);
    count([outcome = result.outcome, waiting = pending()](Statistics &totals) {
        ++(totals.*counterOf(outcome));
        totals.setWaiting(waiting);
    });
    m_signals->post(&DeviceFleet::ended, m_name, ticket, std::move(result));
}

// --- Events -------------------------------------------------------------------------------------

/** With the fleet's names of device and command. It leaves as signals do: its listeners may call the fleet. */
void FleetDevice::tellEvent(Event event, Ticket ticket) const
{
    if (!m_tap->isHeard()) {
        return;
    }
    const auto command = m_commands.find(ticket);
    event.ticket = ticket;
    event.id = command != m_commands.end() ? command->second.options.id : QString();
    event.device = m_name;
    m_signals->outbox()->post([tap = m_tap, event = std::move(event)] { Q_EMIT tap->happened(event); });
}

void FleetDevice::tellGiven(Ticket ticket, const Command &command) const
{
    Event event;
    event.kind = EventKind::Given;
    event.codes = commandText(command.record);
    event.head = headOf(command.record);
    event.data = command.record.baData;
    event.waitMs = command.record.iWaitTime;
    tellEvent(std::move(event), ticket);
}

void FleetDevice::tellEnd(Ticket ticket, const Command &command, const CommandResult &result) const
{
    const model_Protocoldata &record = result.outcome == Outcome::Answered ? result.reply : command.record;
    Event event;
    event.setEnd(ticket, result);
    event.codes = commandText(command.record);
    event.head = headOf(record);
    event.data = record.baData;
    tellEvent(std::move(event), ticket);
}

// --- Counters ---------------------------------------------------------------------------------

Counters FleetDevice::counters() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    Counters totals = m_statistics.snapshot();
    for (const auto counter : countedByWorkers) {
        totals.*counter = m_ofFormerWorkers.*counter + m_ofWorker.*counter;
    }
    return totals;
}

} // namespace biz::host
