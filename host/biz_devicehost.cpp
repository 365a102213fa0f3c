#include <host/biz_devicehost.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <thread>

#include <QtCore/QTimer>

#include <biz_cmdswork/biz_cmdswork.h>
#include <host/channel_claim_p.h>
#include <host/device_tickets_p.h>
#include <host/host_threads_p.h>
#include <host/quiet_time_p.h>
#include <host/reply_words.h>
#include <host/retirement_p.h>
#include <host/signal_outbox_p.h>
#include <host/statistics_p.h>
#include <host/thread_inbox_p.h>

using namespace biz::host;

namespace {

using std::chrono::milliseconds;

/** How often a command in flight is looked at: the library tells nobody that it gave one up. */
constexpr milliseconds pollPeriod{10};

/** What a watchdog adds to its two waits, and room for a busy machine. */
constexpr milliseconds watchdogMargin{500};

/** A start waits so long for loops that a hasty stop has left behind: a few of their passes. */
constexpr milliseconds formerLoopsGrace{100};

constexpr int defaultWaitMs = 500;

/** The library's own values for what a host may set. */
constexpr int anyDeviceType = -1;
constexpr int oneInFlight = 0;

/** What a loop's thread saw. */
struct Message
{
    enum class Kind { Announced, QueueSize, Accepted };

    Kind kind;
    model_Protocoldata record;
    bool gated = false;
    int queueSize = 0;
};

using Inbox = ThreadInbox<Message>;

/** The detached watchdogs of one run; shared with its send loop, which starts them. */
struct Watchdogs
{
    std::atomic<bool> areUsed{false};
    std::atomic<Clock::rep> goneAt{0}; ///< by when all that were started have ended

    void expectOne(milliseconds wait)
    {
        // It waits once, resends, and its successor waits once more.
        const TimePoint end = Clock::now() + 2 * wait + watchdogMargin;
        goneAt = std::max(goneAt.load(), end.time_since_epoch().count());
    }
};

const model_Protocoldata &recordAt(const void *pointer)
{
    return *static_cast<const model_Protocoldata *>(pointer);
}

bool isGateClosed()
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    return !biz_CMDSWork::bRetFlag;
}

/** Under the lock: nobody counts time-outs for the command in flight any more. */
void endWatch()
{
    biz_CMDSWork::iSN = static_cast<int>(static_cast<unsigned>(biz_CMDSWork::iSN) + 1U);
}

std::atomic<bool> channelIsHeld{false};

} // namespace

class biz_DeviceHost::Private
{
public:
    explicit Private(biz_DeviceHost *host);
    ~Private();

    // Settings
    std::unique_ptr<ChannelClaim> claim;
    QString error;
    int defaultWait = defaultWaitMs;
    bool skipping = false;
    std::unique_ptr<DeviceLink> link;
    std::unique_ptr<FrameCodec> codec = std::make_unique<DemoFrameCodec>();
    std::unique_ptr<ReplyMatcher> matcher; ///< null: by the sequence byte
    Statistics counters;
    DeviceTickets tickets;

    bool isValid() const { return claim->succeeded(); }
    bool mayChangeSettings();
    void setUseWatchdog(bool on);

    // Running
    bool start();
    StopReport stop(int deadlineMs);
    bool running = false;
    QuietTime quiet;

    // Commands
    Ticket enqueue(const model_Protocoldata &command);
    void clear();
    void setSkipping(bool on);

private:
    void connectLink();
    void startLoops();
    void connectWorker();
    void connectWatchdogs();
    void tellLoopsToReturn();
    void letWorkerGo();
    bool formerRunIsOver(TimePoint deadline);
    TimePoint watchdogsGoneAt() const;
    void resetChannel();
    void queue(const DeviceCommand &command);

    void drainInbox();
    void onAnnounced(const Message &message);
    void onFirstAnnouncement(DeviceCommand &command, const Message &message);
    void writeToLink(DeviceCommand &command);
    void onAccepted(model_Protocoldata reply);

    void onReceived(const QByteArray &bytes);
    void feed(model_Protocoldata reply);
    DeviceCommand *commandOf(const model_Protocoldata &reply);
    const EndedCommand &endedCommandOf(const model_Protocoldata &reply) const;
    void reportUnmatched(const model_Protocoldata &reply);

    void poll();
    void updatePolling();
    void findGivenUp();
    void releaseOverdue();
    void settleGate();

    void end(Ticket ticket, Outcome outcome, const QString &reason);
    void end(DeviceCommand &command, CommandResult result);
    void endAnswered(DeviceCommand &command, const model_Protocoldata &reply, TimePoint arrival);
    void giveUp(DeviceCommand &command);
    void beginQuietTime(const DeviceCommand &answered, TimePoint arrival);
    void post(SignalOutbox::Emission emission) { outbox.post(std::move(emission)); }

    /** A good reply to a command in flight, on its way through the channel's receive queue. */
    struct FedReply
    {
        quint32 number;
        Ticket ticket;
        TimePoint arrival;
    };

    biz_DeviceHost *const q;
    // Children of the host, so that they follow it to another thread.
    SignalOutbox outbox;
    InboxReceiver receiver;
    std::shared_ptr<Inbox> inbox;
    QTimer pollTimer;
    TimePoint nextPoll;
    bool draining = false;

    std::unique_ptr<biz_CMDSWork> worker;
    std::vector<std::unique_ptr<LoopThread>> loops;
    std::shared_ptr<Watchdogs> watchdogs = std::make_shared<Watchdogs>();

    /** A stopped run whose loops have not returned yet: they still use the channel. */
    Retired former;

    std::deque<FedReply> fed;
    quint32 lastFed = 0;

    ExitGuard exitGuard;
};

biz_DeviceHost::Private::Private(biz_DeviceHost *host)
    : quiet([this] { settleGate(); }, host)
    , q(host)
    , outbox(host)
    , receiver([this] { drainInbox(); }, host)
    , inbox(std::make_shared<Inbox>(&receiver))
    , pollTimer(host)
    , exitGuard([this] {
        tellLoopsToReturn();
        joinAll(loops, Clock::now() + exitGrace);
    })
{
    releaseRetired();
    claim = std::make_unique<ChannelClaim>(channelIsHeld);
    if (isValid()) {
        biz_CMDSWork::deviceType = anyDeviceType;
        biz_CMDSWork::nSysPlan = oneInFlight;
    } else {
        error = QStringLiteral("the device channel is held by another biz_DeviceHost of this process");
    }
    pollTimer.setTimerType(Qt::PreciseTimer);
    pollTimer.setSingleShot(true);
    QObject::connect(&pollTimer, &QTimer::timeout, host, [this] { poll(); });
}

biz_DeviceHost::Private::~Private()
{
    constexpr int deadlineMs = 2000;
    if (isValid()) {
        stop(deadlineMs);
    }
    inbox->close();
    if (former.worker) {
        // Its loops would take what another host queues: the channel stays theirs.
        former.claim = std::move(claim);
        former.safeAfter = watchdogsGoneAt();
        retire(std::move(former));
    }
}

bool biz_DeviceHost::Private::mayChangeSettings()
{
    if (running) {
        error = QStringLiteral("link, codec and reply matcher cannot be changed while the host runs");
    }
    return !running;
}

void biz_DeviceHost::Private::setUseWatchdog(bool on)
{
    watchdogs->areUsed = on;
}

// --- Starting and stopping ----------------------------------------------------------

bool biz_DeviceHost::Private::start()
{
    if (!isValid()) {
        return false;
    }
    if (running) {
        error = QStringLiteral("the host runs already");
        return false;
    }
    if (!link) {
        error = QStringLiteral("the host has no link");
        return false;
    }
    if (!formerRunIsOver(Clock::now() + formerLoopsGrace)) {
        error = QStringLiteral("a loop of the former run has not returned");
        return false;
    }
    running = true;
    connectLink();
    link->open();
    return true;
}

void biz_DeviceHost::Private::connectLink()
{
    QObject::connect(link.get(), &DeviceLink::opened, q, [this] {
        startLoops();
        post([this] { Q_EMIT q->linkOpened(); });
    });
    QObject::connect(link.get(), &DeviceLink::closed, q, [this](const QString &reason) {
        codec->reset();
        // Also where it could not be opened: commands end by their time-outs, not never.
        startLoops();
        post([this, reason] { Q_EMIT q->linkClosed(reason); });
    });
    QObject::connect(link.get(), &DeviceLink::received, q, [this](const QByteArray &bytes) { onReceived(bytes); });
}

void biz_DeviceHost::Private::startLoops()
{
    if (worker) {
        return;
    }
    worker = std::make_unique<biz_CMDSWork>();
    worker->m_bSendRun = true;
    worker->m_bRecvRun = true;
    connectWorker();
    connectWatchdogs();
    resetChannel();
    for (const Ticket ticket : tickets.all()) {
        queue(*tickets.find(ticket));
    }

    biz_CMDSWork *const loopsWorker = worker.get();
    loops.push_back(
        std::make_unique<LoopThread>(QStringLiteral("biz-send"), [loopsWorker] { loopsWorker->a1_GetQueueWork(); }));
    loops.push_back(std::make_unique<LoopThread>(QStringLiteral("biz-receive"),
                                                 [loopsWorker] { loopsWorker->a1_receiveGetQueueWork(); }));
}

// The slots run on the loops' threads: they copy and leave.
void biz_DeviceHost::Private::connectWorker()
{
    biz_CMDSWork *const emitter = worker.get();
    const std::shared_ptr<Inbox> box = inbox;

    QObject::connect(
        emitter, &biz_CMDSWork::signalSendMessage, emitter,
        [box](void *record) {
            box->push({Message::Kind::Announced, recordAt(record), isGateClosed(), 0});
        },
        Qt::DirectConnection);
    QObject::connect(
        emitter, &biz_CMDSWork::signalQueueSize, emitter,
        [box](int size) {
            box->push({Message::Kind::QueueSize, {}, false, size});
        },
        Qt::DirectConnection);
    QObject::connect(
        emitter, &biz_CMDSWork::signalSendReceiveMessage, emitter,
        [box](void *record) {
            box->push({Message::Kind::Accepted, recordAt(record), false, 0});
        },
        Qt::DirectConnection);
}

void biz_DeviceHost::Private::connectWatchdogs()
{
    biz_CMDSWork *const emitter = worker.get();
    auto own = std::make_shared<Watchdogs>();
    own->areUsed = watchdogs->areUsed.load();
    watchdogs = own;
    QObject::connect(
        emitter, &biz_CMDSWork::signalSendMessageUipro, emitter,
        [emitter, own](void *record) {
            if (!own->areUsed) {
                return;
            }
            own->expectOne(milliseconds(recordAt(record).iWaitTime));
            int sequence = 0;
            {
                // The counter that stands after the send names the command to the watchdog.
                const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
                sequence = biz_CMDSWork::iSN;
            }
            std::thread(&biz_CMDSWork::timeoutWatchdog, emitter, sequence).detach();
        },
        Qt::DirectConnection);
}

StopReport biz_DeviceHost::Private::stop(int deadlineMs)
{
    StopReport report;
    const TimePoint deadline = Clock::now() + milliseconds(deadlineMs);
    if (worker) {
        drainInbox();
        tellLoopsToReturn();
        joinAll(loops, deadline);
    }
    if (running) {
        running = false;
        link->close();
        link->disconnect(q);
        codec->reset();
    }
    if (worker) {
        // With the link closed: what was announced meanwhile counts, but is not sent.
        drainInbox();
        letWorkerGo();
    }
    if (!formerRunIsOver(deadline)) {
        report.slowSteps = joinAll(former.loops, deadline);
    }
    resetChannel();
    for (const Ticket ticket : tickets.all()) {
        ++report.pending;
        const bool wasSent = tickets.find(ticket)->attempts > 0;
        end(ticket, Outcome::Stopped,
            wasSent ? QStringLiteral("the host was stopped while its reply was awaited")
                    : QStringLiteral("the host was stopped before it was sent"));
    }
    return report;
}

void biz_DeviceHost::Private::tellLoopsToReturn()
{
    if (worker) {
        worker->m_bSendRun = false;
        worker->m_bRecvRun = false;
    }
}

void biz_DeviceHost::Private::letWorkerGo()
{
    // What the former loops still say is of no interest to the next ones.
    inbox->close();
    inbox = std::make_shared<Inbox>(&receiver);
    former.worker = std::move(worker);
    former.loops = std::move(loops);
    loops.clear();
}

/** Whether no loop of a former run uses the channel any more. */
bool biz_DeviceHost::Private::formerRunIsOver(TimePoint deadline)
{
    if (!former.worker) {
        return true;
    }
    if (!joinAll(former.loops, deadline).isEmpty()) {
        return false;
    }
    former.safeAfter = watchdogsGoneAt();
    if (Clock::now() < former.safeAfter) {
        retire(std::move(former));
    }
    former = {};
    return true;
}

TimePoint biz_DeviceHost::Private::watchdogsGoneAt() const
{
    return TimePoint(Clock::duration(watchdogs->goneAt.load()));
}

/** Nothing waits and nothing is watched any more; the gate is open. */
void biz_DeviceHost::Private::resetChannel()
{
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        biz_CMDSWork::queueHexCmd = {};
        biz_CMDSWork::bRetFlag = true;
        endWatch();
    }
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
        biz_CMDSWork::receivequeueHexCmd = {};
    }
    fed.clear();
    quiet.cancel();
    updatePolling();
}

// --- Commands -------------------------------------------------------------------------

Ticket biz_DeviceHost::Private::enqueue(const model_Protocoldata &command)
{
    if (!isValid()) {
        return 0;
    }
    model_Protocoldata own = command;
    if (own.iWaitTime <= 0) {
        own.iWaitTime = defaultWait;
    }
    const QString before = tickets.pending() == 0 ? QStringLiteral("queued with nothing before it")
                                                  : QStringLiteral("queued behind %1, the last of them ticket %2")
                                                        .arg(tickets.pending())
                                                        .arg(tickets.newest());
    const Ticket ticket = tickets.add(own);
    tickets.find(ticket)->history.note(before);
    ++counters.enqueued;
    if (skipping) {
        end(ticket, Outcome::Skipped, QStringLiteral("it was given while skip mode was on"));
        return ticket;
    }
    counters.noteWaiting(tickets.waiting());
    // Until the loops run it waits here: loops of a former run could still take it.
    if (worker) {
        queue(*tickets.find(ticket));
        settleGate();
    }
    return ticket;
}

void biz_DeviceHost::Private::queue(const DeviceCommand &command)
{
    model_Protocoldata queued = command.record;
    queued.nTag = DeviceTickets::tagOf(command.ticket);

    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::queueHexCmd.push(queued);
}

void biz_DeviceHost::Private::clear()
{
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        biz_CMDSWork::queueHexCmd = {};
        endWatch();
    }
    for (const Ticket ticket : tickets.all()) {
        const bool wasSent = tickets.find(ticket)->attempts > 0;
        end(ticket, Outcome::Cleared,
            wasSent ? QStringLiteral("the queue was cleared while its reply was awaited")
                    : QStringLiteral("the queue was cleared before it was sent"));
    }
    settleGate();
}

// The channel's own skip mode stays off: it discards without the lock and without a word, and
// may still be at it when the mode has been switched off and the next command is pushed.
void biz_DeviceHost::Private::setSkipping(bool on)
{
    skipping = on;
    if (!on) {
        return;
    }
    const QString reason = QStringLiteral("skip mode was switched on before it was sent");
    if (!worker) {
        for (const Ticket ticket : tickets.all()) {
            end(ticket, Outcome::Skipped, reason);
        }
        return;
    }
    std::queue<model_Protocoldata> discarded;
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        discarded.swap(biz_CMDSWork::queueHexCmd);
    }
    for (; !discarded.empty(); discarded.pop()) {
        if (const DeviceCommand *command = tickets.find(discarded.front().nTag)) {
            end(command->ticket, Outcome::Skipped, reason);
        }
    }
}

// --- What the loops report --------------------------------------------------------------

void biz_DeviceHost::Private::drainInbox()
{
    // A link may receive, or close, inside its write(): the command that is being written
    // must still be there afterwards.
    if (draining) {
        return;
    }
    draining = true;
    for (Message &message : inbox->takeAll()) {
        switch (message.kind) {
        case Message::Kind::Announced:
            onAnnounced(message);
            break;
        case Message::Kind::QueueSize:
            settleGate();
            post([this, size = message.queueSize] { Q_EMIT q->queueSize(size); });
            break;
        case Message::Kind::Accepted:
            onAccepted(std::move(message.record));
            break;
        }
    }
    draining = false;
    updatePolling();
}

void biz_DeviceHost::Private::onAnnounced(const Message &message)
{
    DeviceCommand *const command = tickets.find(message.record.nTag);
    if (command == nullptr) {
        // Cleared while it was being taken, or answered while it was being resent: it is
        // not sent, and a gate that its take closed has nothing to wait for.
        settleGate();
        return;
    }
    if (command->attempts == 0) {
        onFirstAnnouncement(*command, message);
    } else {
        ++command->attempts;
    }
    writeToLink(*command);
}

void biz_DeviceHost::Private::onFirstAnnouncement(DeviceCommand &command, const Message &message)
{
    // The next command leaves only when the gate has been opened, and if not by us, then by
    // the library when it gave the command before it up.
    if (DeviceCommand *before = tickets.gatedInFlight()) {
        giveUp(*before);
    }
    const Ticket older = tickets.markInFlight(command, message.record.ucHead[0], message.gated);
    if (older != 0) {
        end(older, Outcome::Released, QStringLiteral("its sequence byte was used again before a reply came"));
    }
}

void biz_DeviceHost::Private::writeToLink(DeviceCommand &command)
{
    command.writtenAt = Clock::now();
    const QByteArray bytes = codec->encode(command.record);
    if (bytes.isEmpty() || !link->write(bytes)) {
        command.lastProblem =
            bytes.isEmpty() ? QStringLiteral("it does not fit into a frame") : QStringLiteral("the link was not open");
        command.history.note(QStringLiteral("not sent: ") + command.lastProblem);
        return;
    }
    command.history.note(command.attempts == 1
                             ? QStringLiteral("sent with sequence byte %1").arg(command.record.ucHead[0])
                             : QStringLiteral("resent: no acceptable reply had come within its wait"),
                         command.writtenAt);
    ++(command.attempts == 1 ? counters.sent : counters.resent);
    counters.bytesOut += static_cast<quint64>(bytes.size());
    post([this, ticket = command.ticket, attempt = command.attempts, record = command.record] {
        Q_EMIT q->sent(ticket, attempt, record);
    });
}

void biz_DeviceHost::Private::onAccepted(model_Protocoldata reply)
{
    // The channel hands replies on in the order in which they were fed. It has refused by
    // itself, without a word, those that are passed over: the device type has been changed
    // since they were judged here.
    const auto wasFedBefore = [&reply](const FedReply &other) {
        return static_cast<qint32>(other.number - reply.nTag) < 0;
    };
    while (!fed.empty() && wasFedBefore(fed.front())) {
        fed.pop_front();
    }
    // Those that stood for nothing in flight were reported when they came.
    if (fed.empty() || fed.front().number != reply.nTag) {
        return;
    }
    const FedReply origin = fed.front();
    fed.pop_front();
    reply.nTag = 0;
    if (DeviceCommand *command = tickets.find(origin.ticket)) {
        endAnswered(*command, reply, origin.arrival);
        settleGate();
    } else {
        reportUnmatched(reply);
    }
}

// --- What the link brings ----------------------------------------------------------------

void biz_DeviceHost::Private::onReceived(const QByteArray &bytes)
{
    counters.bytesIn += static_cast<quint64>(bytes.size());
    counters.noteSeen();
    const Decoded decoded = codec->decode(bytes);
    for (const Refusal &refusal : decoded.refusals) {
        ++counters.refusedFrames;
        counters.refusedBytes += static_cast<quint64>(refusal.bytes);
        post([this, refusal] { Q_EMIT q->refused(refusal.bytes, refusal.reason); });
    }
    // A reply can be here before the announcement of its command has been looked at.
    drainInbox();
    for (const model_Protocoldata &reply : decoded.records) {
        feed(reply);
    }
}

void biz_DeviceHost::Private::feed(model_Protocoldata reply)
{
    if (!worker) {
        return;
    }
    // The channel logs what it refuses and tells nobody; the same rules tell us why.
    const ReplyJudgement judgement = judgeReply(biz_CMDSWork::deviceType, reply);
    DeviceCommand *const command = commandOf(reply);
    if (command == nullptr) {
        reportUnmatched(reply);
    } else if (judgement.accepted) {
        command->history.note(QStringLiteral("a reply came and was accepted"));
    } else {
        counters.noteRejected(commandText(reply) + QStringLiteral(": ") + judgement.rule);
        command->history.note(QStringLiteral("a reply came and was refused: ") + judgement.broken);
        command->lastProblem = QStringLiteral("the last reply was refused: ") + judgement.broken;
        post([this, ticket = command->ticket, reply, why = judgement.broken] {
            Q_EMIT q->rejected(ticket, reply, why);
        });
    }
    reply.nTag = ++lastFed;
    if (command != nullptr && judgement.accepted) {
        fed.push_back({lastFed, command->ticket, Clock::now()});
    }

    const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
    biz_CMDSWork::receivequeueHexCmd.push(reply);
}

/** The command in flight that a reply belongs to; null when it belongs to none. */
DeviceCommand *biz_DeviceHost::Private::commandOf(const model_Protocoldata &reply)
{
    if (!matcher) {
        return tickets.inFlight(reply.ucHead[0]);
    }
    std::vector<Ticket> inFlight = tickets.allInFlight();
    std::sort(inFlight.begin(), inFlight.end());
    for (const Ticket ticket : inFlight) {
        DeviceCommand *const command = tickets.find(ticket);
        if (matcher->matches(command->record, reply)) {
            return command;
        }
    }
    return nullptr;
}

/** The ended command that an unmatched reply belongs to; its ticket is 0 when there is none. */
const EndedCommand &biz_DeviceHost::Private::endedCommandOf(const model_Protocoldata &reply) const
{
    static const EndedCommand none;
    if (!matcher) {
        return tickets.lastEnded(reply.ucHead[0]);
    }
    return matcher->matches(tickets.latestEndedRecord(), reply) ? tickets.latestEnded() : none;
}

/** A reply to a command that is not in flight: it changes nothing. */
void biz_DeviceHost::Private::reportUnmatched(const model_Protocoldata &reply)
{
    const EndedCommand &ended = endedCommandOf(reply);
    if (ended.ticket == 0) {
        ++counters.foreign;
        post([this, reply] { Q_EMIT q->foreign(reply); });
    } else if (ended.outcome == Outcome::Answered) {
        ++counters.duplicate;
        post([this, ticket = ended.ticket, reply] { Q_EMIT q->duplicate(ticket, reply); });
    } else {
        ++counters.late;
        const double afterEndMs = millisecondsBetween(ended.endedAt, Clock::now());
        post([this, ticket = ended.ticket, reply, afterEndMs] { Q_EMIT q->late(ticket, reply, afterEndMs); });
    }
}

// --- Time ----------------------------------------------------------------------------------

/**
 * A quarter of its wait after a write is the earliest that a command can be over without a
 * reply: the library counts two thirds of the wait for each attempt, and a watchdog that
 * runs beside it gives up a third after the resend. A prompt reply costs no look at all.
 */
void biz_DeviceHost::Private::updatePolling()
{
    constexpr int firstLookPart = 4;

    TimePoint next = TimePoint::max();
    for (const Ticket ticket : tickets.allInFlight()) {
        const DeviceCommand *command = tickets.find(ticket);
        next = std::min(next, command->writtenAt + milliseconds(command->record.iWaitTime) / firstLookPart);
    }
    if (next == TimePoint::max()) {
        return; // a timer that still runs finds nothing, and is not started again
    }
    next = std::max(next, Clock::now() + pollPeriod);
    if (!pollTimer.isActive() || next < nextPoll) {
        nextPoll = next;
        pollTimer.start(std::chrono::ceil<milliseconds>(next - Clock::now()));
    }
}

void biz_DeviceHost::Private::poll()
{
    drainInbox();
    findGivenUp();
    releaseOverdue();
    updatePolling();
}

/** Only the library opens the gate of a command in flight without ending it here. */
void biz_DeviceHost::Private::findGivenUp()
{
    DeviceCommand *const gated = tickets.gatedInFlight();
    if (gated != nullptr && !isGateClosed()) {
        giveUp(*gated);
    }
}

void biz_DeviceHost::Private::releaseOverdue()
{
    for (const Ticket ticket : tickets.allInFlight()) {
        const DeviceCommand *command = tickets.find(ticket);
        const milliseconds wait(command->record.iWaitTime);
        if (!command->gated && Clock::now() >= command->writtenAt + wait) {
            end(ticket, Outcome::Released,
                QStringLiteral("no reply came within the %1 ms of its wait").arg(wait.count()));
        }
    }
}

/**
 * Opens a gate that is closed for nothing: its command has been settled, or a clear left
 * the take that closed it empty-handed. Never in the middle of a take: then the channel's
 * queue is shorter than the host's thread knows.
 */
void biz_DeviceHost::Private::settleGate()
{
    if (!worker || tickets.gatedInFlight() != nullptr || !quiet.isOver()) {
        return;
    }
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    if (biz_CMDSWork::queueHexCmd.size() == static_cast<std::size_t>(tickets.waiting())) {
        biz_CMDSWork::bRetFlag = true;
    }
}

// --- Ends ------------------------------------------------------------------------------------

void biz_DeviceHost::Private::endAnswered(DeviceCommand &command, const model_Protocoldata &reply, TimePoint arrival)
{
    CommandResult result;
    result.outcome = Outcome::Answered;
    result.reply = reply;
    result.roundTripMs = millisecondsBetween(command.writtenAt, arrival);
    result.reason = QStringLiteral("its reply came %1 ms after it was %2")
                        .arg(QString::number(result.roundTripMs, 'f', 1),
                             command.attempts > 1 ? QStringLiteral("resent") : QStringLiteral("sent"));
    counters.noteRoundTrip(result.roundTripMs);
    beginQuietTime(command, arrival);
    end(command, result);
}

/** The gate stays closed a little longer, which the channel must not take for a time-out. */
void biz_DeviceHost::Private::beginQuietTime(const DeviceCommand &answered, TimePoint arrival)
{
    quiet.begin(arrival);
    // The channel counts its passes, and so a wait as less than it is; half of it is safe. Not
    // every time, since it uses up a sequence number.
    const milliseconds wait(answered.record.iWaitTime);
    if (quiet.end() > arrival && quiet.end() > answered.writtenAt + wait / 2) {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        endWatch();
    }
}

void biz_DeviceHost::Private::giveUp(DeviceCommand &command)
{
    QString reason = QStringLiteral("no acceptable reply came, nor after the resend");
    if (!command.lastProblem.isEmpty()) {
        reason += QStringLiteral("; ") + command.lastProblem;
    }
    end(command.ticket, Outcome::GaveUp, reason);
}

void biz_DeviceHost::Private::end(Ticket ticket, Outcome outcome, const QString &reason)
{
    CommandResult result;
    result.outcome = outcome;
    result.reason = reason;
    end(*tickets.find(ticket), result);
}

void biz_DeviceHost::Private::end(DeviceCommand &command, CommandResult result)
{
    const Ticket ticket = command.ticket;
    result.attempts = command.attempts;
    command.history.note(outcomeName(result.outcome) + QStringLiteral(": ") + result.reason);
    result.history = command.history.events();
    ++counterOf(counters, result.outcome);
    tickets.end(ticket, result.outcome);
    post([this, ticket, result] { Q_EMIT q->ended(ticket, result); });
}

// --- The public face ---------------------------------------------------------------------------

biz_DeviceHost::biz_DeviceHost(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>(this))
{
    qRegisterMetaType<model_Protocoldata>();
    qRegisterMetaType<CommandResult>();
    qRegisterMetaType<Ticket>("biz::host::Ticket");
}

biz_DeviceHost::~biz_DeviceHost() = default;

bool biz_DeviceHost::isValid() const
{
    return d->isValid();
}

QString biz_DeviceHost::errorString() const
{
    return d->error;
}

void biz_DeviceHost::setDeviceType(int deviceType)
{
    if (d->isValid()) {
        biz_CMDSWork::deviceType = deviceType;
    }
}

void biz_DeviceHost::setSysPlan(int sysPlan)
{
    if (d->isValid()) {
        biz_CMDSWork::nSysPlan = sysPlan;
    }
}

void biz_DeviceHost::setDefaultWaitTime(int milliseconds)
{
    d->defaultWait = milliseconds;
}

void biz_DeviceHost::setUseWatchdog(bool on)
{
    d->setUseWatchdog(on);
}

void biz_DeviceHost::setSettleTime(int milliseconds)
{
    d->quiet.setLength(milliseconds);
}

void biz_DeviceHost::setReplyMatcher(std::unique_ptr<ReplyMatcher> matcher)
{
    if (d->mayChangeSettings()) {
        d->matcher = std::move(matcher);
    }
}

void biz_DeviceHost::setLink(std::unique_ptr<DeviceLink> link)
{
    if (!d->mayChangeSettings()) {
        return;
    }
    d->link = std::move(link);
    if (d->link) {
        d->link->setParent(this); // it follows the host to another thread
    }
}

void biz_DeviceHost::setCodec(std::unique_ptr<FrameCodec> codec)
{
    if (!d->mayChangeSettings()) {
        return;
    }
    if (!codec) {
        d->error = QStringLiteral("there is no codec to be set");
        return;
    }
    d->codec = std::move(codec);
}

bool biz_DeviceHost::start()
{
    return d->start();
}

bool biz_DeviceHost::isRunning() const
{
    return d->running;
}

StopReport biz_DeviceHost::stop(int deadlineMs)
{
    return d->isValid() ? d->stop(deadlineMs) : StopReport();
}

Ticket biz_DeviceHost::enqueue(const model_Protocoldata &command)
{
    return d->enqueue(command);
}

void biz_DeviceHost::clear()
{
    if (d->isValid()) {
        d->clear();
    }
}

void biz_DeviceHost::setSkipping(bool on)
{
    if (d->isValid()) {
        d->setSkipping(on);
    }
}

int biz_DeviceHost::waiting() const
{
    return d->tickets.waiting();
}

int biz_DeviceHost::pending() const
{
    return d->tickets.pending();
}

Counters biz_DeviceHost::counters() const
{
    return d->counters.snapshot(d->tickets.waiting());
}
