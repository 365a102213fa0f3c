#include <host/biz_osdhost.h>

#include <algorithm>
#include <atomic>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

#include <QtCore/QHash>
#include <QtCore/QTimer>
#include <QtNetwork/QNetworkDatagram>
#include <QtNetwork/QUdpSocket>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <host/channel_claim_p.h>
#include <host/command_history_p.h>
#include <host/frame_codec.h>
#include <host/host_threads_p.h>
#include <host/retirement_p.h>
#include <host/signal_outbox_p.h>
#include <host/statistics_p.h>
#include <host/thread_inbox_p.h>

using namespace biz::host;

namespace {

using std::chrono::milliseconds;

/** How often the channel is asked which devices it has given up; it decides twice a second. */
constexpr milliseconds pollPeriod{100};

/**
 * How long the channel's detached time-out thread can be alive after a stop: one period of
 * 500 ms that may just have begun, and its last pass on a busy machine.
 */
constexpr milliseconds timeoutThreadLifetime{750};

/** A start waits so long for loops that a hasty stop has left behind: a few of their passes. */
constexpr milliseconds formerLoopsGrace{100};

/**
 * Datagrams that are read in one go: more than a receive buffer of the usual size holds, and
 * an end of it where they come faster than they can be read.
 */
constexpr int datagramsPerTurn = 1000;

/**
 * The channel counts whole seconds from the second in which it sent: with 1000 a device can be
 * given up right after the next second has begun, so this is the least that is safe.
 */
constexpr int defaultWaitMs = 2000;

/** What a loop's thread saw. */
struct Message
{
    enum class Kind { Announced, Received };

    Kind kind;
    model_OsdParam record;
};

using Inbox = ThreadInbox<Message>;

struct Command
{
    Ticket ticket = 0;
    model_OsdParam record; ///< as the application gave it
    int attempts = 0;      ///< 0: it waits in the channel's queue
    TimePoint writtenAt;
    QString problem; ///< what went wrong with it, for the reason of a give-up
    CommandHistory history;
};

struct Device
{
    QString ip;
    QHostAddress address;
    Statistics counters;
    int waiting = 0;
    Ticket inFlight = 0;
    Ticket lastEnded = 0; ///< the last command that had been sent
    Outcome lastOutcome = Outcome::Stopped;
    TimePoint lastEndedAt;
    model_OsdParam lastEndedRecord; ///< only while there is a matcher to look at it
};

/** A socket that takes both families shows IPv4 senders in an IPv6 spelling. */
QString keyOf(const QHostAddress &address)
{
    bool isIpv4 = false;
    const quint32 ipv4 = address.toIPv4Address(&isIpv4);
    return isIpv4 ? QHostAddress(ipv4).toString() : address.toString();
}

/** What the time-out thread did under the lock is over and visible once this returns. */
void meetTimeoutThread()
{
    const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::HexCmdlock);
}

std::atomic<bool> channelIsHeld{false};

/** When the time-out thread of the last stopped run is gone; shared by all hosts. */
std::atomic<Clock::rep> timeoutThreadGoneAt{0};

} // namespace

class biz_OsdHost::Private
{
public:
    explicit Private(biz_OsdHost *host);
    ~Private();

    // Settings
    bool mayChangeSettings();
    QString error;
    std::unique_ptr<ChannelClaim> claim;
    bool isValid() const { return claim->succeeded(); }
    int defaultWait = defaultWaitMs;
    quint16 port = defaultPort;
    QHostAddress localAddress{QHostAddress::Any};
    bool keepUnmatched = false;
    std::unique_ptr<OsdReplyMatcher> matcher; ///< null: any datagram of the device is a reply

    // Running
    bool start();
    StopReport stop(int deadlineMs);
    bool running = false;

    // Commands
    Ticket enqueue(const model_OsdParam &command);
    void clear();
    int waiting = 0;
    int pending() const { return static_cast<int>(commands.size()); }
    QVector<DeviceStatus> status() const;
    Statistics counters;

private:
    bool bindSocket();
    void startLoops();
    void connectWorker();
    void tellLoopsToReturn();
    void letWorkerGo();
    bool formerRunIsOver(TimePoint deadline);
    static TimePoint expectEndOfTimeoutThread();
    static void emptyChannel();

    bool isAcceptable(const model_OsdParam &command);
    Device &deviceOf(const QString &ip);
    static void queue(const Command &command);

    void drainInbox();
    void onAnnounced(quint32 tag);
    void writeToDevice(Device &device, Command &command);
    void readDatagrams();
    void onDatagram(const QString &sender, const QByteArray &datagram);
    bool belongsTo(const model_OsdParam &command, const model_OsdParam &reply) const;
    void onReply(Device &device, const model_OsdParam &reply);
    void freeDevice(const QString &ip, quint32 tag);
    static void handOver(const model_OsdParam &reply);
    void onUnmatchedReply(Device &device, const model_OsdParam &reply);
    void poll();
    void updatePolling();

    void end(Command &command, OsdCommandResult result);
    void endWith(Command &command, Outcome outcome, const QString &reason);
    void giveUp(Command &command);
    void endAll(Outcome outcome, const QString &whenSent, const QString &whenWaiting);
    void post(SignalOutbox::Emission emission) { outbox.post(std::move(emission)); }

    static quint32 tagOf(Ticket ticket) { return static_cast<quint32>(ticket); }
    Command *find(quint32 tag);

    biz_OsdHost *const q;
    // Children of the host, so that they follow it to another thread.
    SignalOutbox outbox;
    InboxReceiver receiver;
    std::shared_ptr<Inbox> inbox;
    QTimer pollTimer;
    QTimer startTimer;
    QUdpSocket socket;

    std::unique_ptr<biz_Osd_CMDSWork> worker;
    std::vector<std::unique_ptr<LoopThread>> loops;

    /** A stopped run whose loops have not returned yet: they still use the channel. */
    Retired former;

    std::map<quint32, Command> commands; ///< by tag
    std::deque<Device> deviceList;       ///< in the order of their first command
    QHash<QString, Device *> devicesByIp;
    Ticket lastTicket = 0;

    ExitGuard exitGuard;
};

biz_OsdHost::Private::Private(biz_OsdHost *host)
    : q(host)
    , outbox(host)
    , receiver([this] { drainInbox(); }, host)
    , inbox(std::make_shared<Inbox>(&receiver))
    , pollTimer(host)
    , startTimer(host)
    , socket(host)
    , exitGuard([this] {
        if (worker) {
            tellLoopsToReturn();
            joinAll(loops, Clock::now() + exitGrace);
            std::this_thread::sleep_for(timeoutThreadLifetime);
            meetTimeoutThread();
        }
    })
{
    releaseRetired();
    claim = std::make_unique<ChannelClaim>(channelIsHeld);
    if (!isValid()) {
        error = QStringLiteral("the OSD channel is held by another biz_OsdHost of this process");
    }
    pollTimer.setInterval(pollPeriod);
    QObject::connect(&pollTimer, &QTimer::timeout, host, [this] { poll(); });
    startTimer.setSingleShot(true);
    QObject::connect(&startTimer, &QTimer::timeout, host, [this] { startLoops(); });
    QObject::connect(&socket, &QUdpSocket::readyRead, host, [this] { readDatagrams(); });
}

biz_OsdHost::Private::~Private()
{
    constexpr int deadlineMs = 2000;
    if (isValid()) {
        stop(deadlineMs);
    }
    inbox->close();
    if (former.worker) {
        // Its loops would take what another host queues: the channel stays theirs.
        former.claim = std::move(claim);
        former.safeAfter = expectEndOfTimeoutThread();
        retire(std::move(former));
    }
}

bool biz_OsdHost::Private::mayChangeSettings()
{
    if (running) {
        error = QStringLiteral("port, local address and reply matcher cannot be changed while the host runs");
    }
    return !running;
}

// --- Starting and stopping ----------------------------------------------------------

bool biz_OsdHost::Private::start()
{
    if (!isValid()) {
        return false;
    }
    if (running) {
        error = QStringLiteral("the host runs already");
        return false;
    }
    if (!formerRunIsOver(Clock::now() + formerLoopsGrace)) {
        error = QStringLiteral("a loop of the former run has not returned");
        return false;
    }
    if (!bindSocket()) {
        return false;
    }
    running = true;
    // A former time-out thread would free devices that the new run has just sent to.
    const TimePoint safeAfter{Clock::duration(timeoutThreadGoneAt.load())};
    const auto wait = std::chrono::ceil<milliseconds>(safeAfter - Clock::now());
    startTimer.start(std::max(wait, milliseconds(0)));
    return true;
}

bool biz_OsdHost::Private::bindSocket()
{
    if (socket.bind(localAddress, 0)) {
        return true;
    }
    error = QStringLiteral("cannot bind a UDP socket to %1: %2").arg(localAddress.toString(), socket.errorString());
    socket.close();
    return false;
}

void biz_OsdHost::Private::startLoops()
{
    worker = std::make_unique<biz_Osd_CMDSWork>();
    connectWorker();
    emptyChannel();
    for (const auto &entry : commands) {
        queue(entry.second);
    }

    biz_Osd_CMDSWork *const loopsWorker = worker.get();
    loops.push_back(std::make_unique<LoopThread>(QStringLiteral("biz-osd-send"),
                                                 [loopsWorker] { loopsWorker->a1_GetQueueWork(); }));
    loops.push_back(std::make_unique<LoopThread>(QStringLiteral("biz-osd-receive"),
                                                 [loopsWorker] { loopsWorker->a1_receiveGetQueueWork(); }));
    post([this] { Q_EMIT q->started(); });
}

// The slots run on the loops' threads: they copy and leave.
void biz_OsdHost::Private::connectWorker()
{
    biz_Osd_CMDSWork *const emitter = worker.get();
    const std::shared_ptr<Inbox> box = inbox;
    const auto copyTo = [box](Message::Kind kind) {
        return [box, kind](void *record) {
            box->push({kind, *static_cast<const model_OsdParam *>(record)});
        };
    };
    QObject::connect(emitter, &biz_Osd_CMDSWork::signalSendMessage, emitter, copyTo(Message::Kind::Announced),
                     Qt::DirectConnection);
    QObject::connect(emitter, &biz_Osd_CMDSWork::signalSendReceiveMessage, emitter, copyTo(Message::Kind::Received),
                     Qt::DirectConnection);
}

StopReport biz_OsdHost::Private::stop(int deadlineMs)
{
    StopReport report;
    const TimePoint deadline = Clock::now() + milliseconds(deadlineMs);
    startTimer.stop();
    if (worker) {
        drainInbox();
        tellLoopsToReturn();
        letWorkerGo();
    }
    if (!formerRunIsOver(deadline)) {
        report.slowSteps = joinAll(former.loops, deadline);
    }
    socket.close();
    running = false;
    emptyChannel();
    report.pending = pending();
    endAll(Outcome::Stopped, QStringLiteral("the host was stopped while its reply was awaited"),
           QStringLiteral("the host was stopped before it was sent"));
    updatePolling();
    return report;
}

void biz_OsdHost::Private::tellLoopsToReturn()
{
    worker->m_bSendRun = false;
    worker->m_bRecvRun = false;
}

void biz_OsdHost::Private::letWorkerGo()
{
    // What the former loops still say is of no interest to the next ones.
    inbox->close();
    inbox = std::make_shared<Inbox>(&receiver);
    former.worker = std::move(worker);
    former.loops = std::move(loops);
    former.meetThreads = meetTimeoutThread;
    loops.clear();
}

/** Whether no loop of a former run uses the channel any more; its time-out thread still may. */
bool biz_OsdHost::Private::formerRunIsOver(TimePoint deadline)
{
    if (!former.worker) {
        return true;
    }
    if (!joinAll(former.loops, deadline).isEmpty()) {
        return false;
    }
    former.safeAfter = expectEndOfTimeoutThread();
    retire(std::move(former));
    former = {};
    return true;
}

/** To be called when the run flag has been cleared. */
TimePoint biz_OsdHost::Private::expectEndOfTimeoutThread()
{
    const TimePoint end = Clock::now() + timeoutThreadLifetime;
    timeoutThreadGoneAt = end.time_since_epoch().count();
    return end;
}

/** No devices, no commands, no replies. */
void biz_OsdHost::Private::emptyChannel()
{
    {
        const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::HexCmdlock);
        biz_Osd_CMDSWork::m_qsIp.clear();
        biz_Osd_CMDSWork::queueHexCmd.clear();
        biz_Osd_CMDSWork::m_bRetFlag.clear();
    }
    const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::receiveHexCmdlock);
    biz_Osd_CMDSWork::receivequeueHexCmd = {};
}

// --- Commands -------------------------------------------------------------------------

Ticket biz_OsdHost::Private::enqueue(const model_OsdParam &command)
{
    if (!isValid() || !isAcceptable(command)) {
        return 0;
    }
    // The tag 0 stands for no command.
    lastTicket += tagOf(lastTicket + 1) == 0 ? 2 : 1;
    const Ticket ticket = lastTicket;
    Command &own = commands[tagOf(ticket)];
    own.ticket = ticket;
    own.record = command;
    if (own.record.iWaitTime <= 0) {
        own.record.iWaitTime = defaultWait;
    }
    Device &device = deviceOf(command.qsIp);
    const int before = device.waiting + (device.inFlight != 0 ? 1 : 0);
    own.history.note(before == 0 ? QStringLiteral("queued with nothing before it")
                                 : QStringLiteral("queued behind %1 of its device").arg(before));
    ++device.waiting;
    ++device.counters.enqueued;
    ++counters.enqueued;
    ++waiting;
    device.counters.noteWaiting(device.waiting);
    counters.noteWaiting(waiting);

    // Until the loops run it waits here: loops of a former run could still take it.
    if (worker) {
        queue(own);
    }
    return ticket;
}

void biz_OsdHost::Private::queue(const Command &command)
{
    model_OsdParam queued = command.record;
    queued.nTag = tagOf(command.ticket);
    biz_Osd_CMDSWork::addToSendQueue(queued);
}

bool biz_OsdHost::Private::isAcceptable(const model_OsdParam &command)
{
    const QHostAddress address(command.qsIp);
    const QString canonical = keyOf(address);
    if (address.isNull()) {
        error = QStringLiteral("\"%1\" is not an IP address").arg(command.qsIp);
        return false;
    }
    if (canonical != command.qsIp) {
        error = QStringLiteral("\"%1\" is not the canonical text of its address, which is \"%2\"")
                    .arg(command.qsIp, canonical);
        return false;
    }
    if (command.baData.size() > OsdDatagramCodec::maxPayload) {
        error = QStringLiteral("a payload of %1 bytes does not fit into a datagram, which holds %2 at most")
                    .arg(command.baData.size())
                    .arg(OsdDatagramCodec::maxPayload);
        return false;
    }
    return true;
}

Device &biz_OsdHost::Private::deviceOf(const QString &ip)
{
    Device *&device = devicesByIp[ip];
    if (device == nullptr) {
        deviceList.emplace_back();
        device = &deviceList.back();
        device->ip = ip;
        device->address = QHostAddress(ip);
    }
    return *device;
}

void biz_OsdHost::Private::clear()
{
    if (worker) {
        worker->clearQueue();
    }
    // What the send loop holds in its hands right now has ended as well: its announcement
    // will find no command, and nothing is sent.
    endAll(Outcome::Cleared, QStringLiteral("the channel was cleared while its reply was awaited"),
           QStringLiteral("the channel was cleared before it was sent"));
}

void biz_OsdHost::Private::endAll(Outcome outcome, const QString &whenSent, const QString &whenWaiting)
{
    while (!commands.empty()) {
        Command &command = commands.begin()->second;
        endWith(command, outcome, command.attempts > 0 ? whenSent : whenWaiting);
    }
}

QVector<biz_OsdHost::DeviceStatus> biz_OsdHost::Private::status() const
{
    QVector<DeviceStatus> all;
    all.reserve(static_cast<int>(deviceList.size()));
    for (const Device &device : deviceList) {
        DeviceStatus status;
        status.ip = device.ip;
        status.counters = device.counters.snapshot(device.waiting);
        status.waiting = device.waiting;
        status.inFlight = device.inFlight != 0;
        status.roundTripMedianMs = status.counters.roundTripMedianMs;
        status.roundTripMaxMs = status.counters.roundTripMaxMs;
        all.append(status);
    }
    return all;
}

// --- What the loops report --------------------------------------------------------------

void biz_OsdHost::Private::drainInbox()
{
    // First the replies that are here: none can be to a command that is only sent now.
    readDatagrams();
    for (const Message &message : inbox->takeAll()) {
        if (message.kind == Message::Kind::Announced) {
            onAnnounced(message.record.nTag);
        } else {
            post([this, reply = message.record] { Q_EMIT q->received(reply); });
        }
    }
    updatePolling();
}

Command *biz_OsdHost::Private::find(quint32 tag)
{
    const auto found = commands.find(tag);
    return found == commands.end() ? nullptr : &found->second;
}

void biz_OsdHost::Private::onAnnounced(quint32 tag)
{
    Command *const command = find(tag);
    if (command == nullptr) {
        return;
    }
    Device &device = deviceOf(command->record.qsIp);
    // The channel sends to a device again only when it has been answered or given up.
    if (Command *before = find(tagOf(device.inFlight))) {
        giveUp(*before);
    }
    device.inFlight = command->ticket;
    --device.waiting;
    --waiting;
    command->attempts = 1;
    writeToDevice(device, *command);
}

void biz_OsdHost::Private::writeToDevice(Device &device, Command &command)
{
    const QByteArray datagram = OsdDatagramCodec::encode(command.record);
    command.writtenAt = Clock::now();
    if (socket.writeDatagram(datagram, device.address, port) != datagram.size()) {
        command.problem = QStringLiteral("it could not be sent: ") + socket.errorString();
        command.history.note(command.problem);
        post([this, why = device.ip + QStringLiteral(": ") + socket.errorString()] { Q_EMIT q->socketError(why); });
        return;
    }
    command.history.note(QStringLiteral("sent"), command.writtenAt);
    for (Counters *totals : {static_cast<Counters *>(&counters), static_cast<Counters *>(&device.counters)}) {
        ++totals->sent;
        totals->bytesOut += static_cast<quint64>(datagram.size());
    }
    post([this, ticket = command.ticket, record = command.record] { Q_EMIT q->sent(ticket, record); });
}

// --- What the socket brings ----------------------------------------------------------------

void biz_OsdHost::Private::readDatagrams()
{
    for (int i = 0; i < datagramsPerTurn && socket.hasPendingDatagrams(); ++i) {
        const QNetworkDatagram datagram = socket.receiveDatagram();
        if (datagram.isValid()) {
            onDatagram(keyOf(datagram.senderAddress()), datagram.data());
        }
    }
    updatePolling();
}

void biz_OsdHost::Private::onDatagram(const QString &sender, const QByteArray &datagram)
{
    counters.bytesIn += static_cast<quint64>(datagram.size());
    model_OsdParam reply;
    QString why;
    if (!OsdDatagramCodec::decode(datagram, &reply, &why)) {
        ++counters.refusedFrames;
        counters.refusedBytes += static_cast<quint64>(datagram.size());
        post([this, sender, size = datagram.size(), why] { Q_EMIT q->refused(sender, size, why); });
        return;
    }
    reply.qsIp = sender;
    Device *const device = devicesByIp.value(sender, nullptr);
    if (device == nullptr) {
        ++counters.foreign;
        post([this, sender, reply] { Q_EMIT q->foreign(sender, reply); });
        return;
    }
    device->counters.bytesIn += static_cast<quint64>(datagram.size());
    device->counters.noteSeen();
    counters.noteSeen();
    Command *const command = find(tagOf(device->inFlight));
    if (command != nullptr && belongsTo(command->record, reply)) {
        onReply(*device, reply);
    } else {
        if (command != nullptr) {
            command->history.note(QStringLiteral("a datagram came that is not its reply"));
        }
        onUnmatchedReply(*device, reply);
    }
}

bool biz_OsdHost::Private::belongsTo(const model_OsdParam &command, const model_OsdParam &reply) const
{
    return !matcher || matcher->matches(command, reply);
}

void biz_OsdHost::Private::onReply(Device &device, const model_OsdParam &reply)
{
    Command &command = *find(tagOf(device.inFlight));
    OsdCommandResult result;
    result.outcome = Outcome::Answered;
    result.reply = reply;
    result.roundTripMs = millisecondsBetween(command.writtenAt, Clock::now());
    result.reason =
        QStringLiteral("its reply came %1 ms after it was sent").arg(QString::number(result.roundTripMs, 'f', 1));
    device.counters.noteRoundTrip(result.roundTripMs);
    counters.noteRoundTrip(result.roundTripMs);
    freeDevice(device.ip, tagOf(command.ticket));
    end(command, result);
    handOver(reply);
}

/**
 * In one step, unlike the channel's own addToReceiveQueue(): it may have given the command up
 * and sent the next one a moment ago, and the reply to the former must not free the device
 * for a third.
 */
void biz_OsdHost::Private::freeDevice(const QString &ip, quint32 tag)
{
    const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::HexCmdlock);
    const auto current = worker->m_mapCurSend.constFind(ip);
    const auto flag = biz_Osd_CMDSWork::m_bRetFlag.find(ip);
    if (current != worker->m_mapCurSend.constEnd() && current->nTag == tag &&
        flag != biz_Osd_CMDSWork::m_bRetFlag.end()) {
        *flag = true;
    }
}

void biz_OsdHost::Private::handOver(const model_OsdParam &reply)
{
    const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::receiveHexCmdlock);
    biz_Osd_CMDSWork::receivequeueHexCmd.push(reply);
}

/** It frees no device: the channel may be sending to it at this very moment. */
void biz_OsdHost::Private::onUnmatchedReply(Device &device, const model_OsdParam &reply)
{
    if (device.lastEnded == 0 || !belongsTo(device.lastEndedRecord, reply)) {
        ++counters.foreign;
        ++device.counters.foreign;
        post([this, reply] { Q_EMIT q->foreign(reply.qsIp, reply); });
    } else if (device.lastOutcome == Outcome::Answered) {
        ++counters.duplicate;
        ++device.counters.duplicate;
        post([this, ticket = device.lastEnded, reply] { Q_EMIT q->duplicate(ticket, reply); });
    } else {
        ++counters.late;
        ++device.counters.late;
        const double afterEndMs = millisecondsBetween(device.lastEndedAt, Clock::now());
        post([this, ticket = device.lastEnded, reply, afterEndMs] { Q_EMIT q->late(ticket, reply, afterEndMs); });
    }
    if (keepUnmatched) {
        handOver(reply);
    }
}

// --- Time ----------------------------------------------------------------------------------

void biz_OsdHost::Private::updatePolling()
{
    const bool anyInFlight = pending() > waiting;
    if (!anyInFlight) {
        pollTimer.stop();
    } else if (!pollTimer.isActive()) {
        pollTimer.start();
    }
}

/** Finds the devices that the channel has freed without a reply. */
void biz_OsdHost::Private::poll()
{
    drainInbox();
    std::vector<quint32> givenUp;
    {
        const std::lock_guard<std::mutex> lock(biz_Osd_CMDSWork::HexCmdlock);
        for (const Device &device : deviceList) {
            if (device.inFlight != 0 && biz_Osd_CMDSWork::m_bRetFlag.value(device.ip, false)) {
                givenUp.push_back(tagOf(device.inFlight));
            }
        }
    }
    for (const quint32 tag : givenUp) {
        giveUp(*find(tag));
    }
    updatePolling();
}

// --- Ends ------------------------------------------------------------------------------------

void biz_OsdHost::Private::giveUp(Command &command)
{
    QString reason = QStringLiteral("no reply came within its wait");
    if (!command.problem.isEmpty()) {
        reason += QStringLiteral("; ") + command.problem;
    }
    endWith(command, Outcome::GaveUp, reason);
}

void biz_OsdHost::Private::endWith(Command &command, Outcome outcome, const QString &reason)
{
    OsdCommandResult result;
    result.outcome = outcome;
    result.reason = reason;
    end(command, result);
}

void biz_OsdHost::Private::end(Command &command, OsdCommandResult result)
{
    Device &device = deviceOf(command.record.qsIp);
    result.ip = device.ip;
    result.attempts = command.attempts;
    if (command.attempts == 0) {
        --device.waiting;
        --waiting;
    } else {
        device.inFlight = 0;
        device.lastEnded = command.ticket;
        device.lastOutcome = result.outcome;
        device.lastEndedAt = Clock::now();
        device.lastEndedRecord = matcher ? command.record : model_OsdParam();
    }
    command.history.note(outcomeName(result.outcome) + QStringLiteral(": ") + result.reason);
    result.history = command.history.events();
    ++counterOf(counters, result.outcome);
    ++counterOf(device.counters, result.outcome);
    const Ticket ticket = command.ticket;
    commands.erase(tagOf(ticket));
    post([this, ticket, result] { Q_EMIT q->ended(ticket, result); });
}

// --- The public face ---------------------------------------------------------------------------

biz_OsdHost::biz_OsdHost(QObject *parent)
    : QObject(parent)
    , d(std::make_unique<Private>(this))
{
    qRegisterMetaType<model_OsdParam>();
    qRegisterMetaType<OsdCommandResult>();
    qRegisterMetaType<Ticket>("biz::host::Ticket");
}

biz_OsdHost::~biz_OsdHost() = default;

bool biz_OsdHost::isValid() const
{
    return d->isValid();
}

QString biz_OsdHost::errorString() const
{
    return d->error;
}

void biz_OsdHost::setDefaultWaitTime(int milliseconds)
{
    d->defaultWait = milliseconds;
}

void biz_OsdHost::setPort(quint16 port)
{
    if (d->mayChangeSettings()) {
        d->port = port;
    }
}

void biz_OsdHost::setLocalAddress(const QString &address)
{
    const QHostAddress local(address);
    if (!d->mayChangeSettings()) {
        return;
    }
    if (local.isNull()) {
        d->error = QStringLiteral("\"%1\" is not an IP address").arg(address);
        return;
    }
    d->localAddress = local;
}

void biz_OsdHost::setKeepUnmatchedReplies(bool on)
{
    d->keepUnmatched = on;
}

void biz_OsdHost::setReplyMatcher(std::unique_ptr<OsdReplyMatcher> matcher)
{
    if (d->mayChangeSettings()) {
        d->matcher = std::move(matcher);
    }
}

bool biz_OsdHost::start()
{
    return d->start();
}

bool biz_OsdHost::isRunning() const
{
    return d->running;
}

StopReport biz_OsdHost::stop(int deadlineMs)
{
    return d->isValid() ? d->stop(deadlineMs) : StopReport();
}

Ticket biz_OsdHost::enqueue(const model_OsdParam &command)
{
    return d->enqueue(command);
}

void biz_OsdHost::clear()
{
    if (d->isValid()) {
        d->clear();
    }
}

int biz_OsdHost::waiting() const
{
    return d->waiting;
}

int biz_OsdHost::pending() const
{
    return d->pending();
}

Counters biz_OsdHost::counters() const
{
    return d->counters.snapshot(d->waiting);
}

QVector<biz_OsdHost::DeviceStatus> biz_OsdHost::devices() const
{
    return d->status();
}
