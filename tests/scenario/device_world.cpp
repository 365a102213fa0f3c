#include <scenario/device_watch.h>
#include <scenario/world.h>

#include <array>
#include <memory>
#include <queue>

#include <QtCore/QDir>
#include <QtCore/QFile>

namespace biz::scenario {

namespace {

constexpr int deviceTypeA2 = 0x1400;
constexpr int unknownDeviceType = -1;
constexpr int defaultTimeout = 6000;

/** Where the sequence counter starts: as in a new process, before its low byte wraps, before all of it does. */
constexpr std::array<int, 3> initialCounters = {1, 250, 2147483640};

/** Longer than any wait here with its resend and its give-up: what is shut so long stays shut. */
constexpr milliseconds longestWait{800};

int giveUps = 0;
DeviceWatch *theWatch = nullptr;

/** Give-ups open the gate; the library says so in its debug messages alone. */
void noteGiveUps(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString &message)
{
    if (message == QLatin1String("Resend stop")) {
        ++giveUps;
        theWatch->noteGiveUp();
    }
}

struct DueReply
{
    nanoseconds at;
    model_Protocoldata record;
    bool isGood;

    friend bool operator<(const DueReply &a, const DueReply &b) { return a.at > b.at; }
};

/** A reply that was handed over; its payload begins with its number. */
struct Reply
{
    bool isGood = false;
    int announced = 0;
    int logged = 0;
};

/** A host, simulated devices and the whole device channel, with what must hold at each step. */
class DeviceWorld
{
public:
    DeviceWorld(std::uint64_t seed, const ScenarioClass &options, Coverage &coverage)
        : m_options(options)
        , m_coverage(coverage)
        , m_random(seed * 2654435761U + 1U)
        , m_chooser(seed)
        , m_scheduler(m_chooser)
        , m_watch(m_scheduler, options, coverage)
    {
        m_initialCounter = initialCounters[static_cast<std::size_t>(m_random.below(initialCounters.size()))];
        m_scheduler.watch(biz_CMDSWork::HexCmdlock.native_handle());
        m_scheduler.watch(biz_CMDSWork::receiveHexCmdlock.native_handle());
        m_scheduler.onPoint([this] { m_watch.atPoint(); });
        theWatch = &m_watch;
    }

    void run();

private:
    // The host's script
    void host();
    void startLoops();
    void connect(biz_CMDSWork &worker);
    void act();
    void produceBesideTheHost();
    void enqueueBurst();
    void clear();
    void timeoutClear();
    void skipForAWhile();
    void deliverDueReplies();
    void lookAtTheGate();
    nanoseconds untilASendPass(nanoseconds duration) const;
    void pause(int fromMs, int toMs);
    void openGate();
    void awaitTheEnd();
    bool isQuiet() const;

    // The loops' slots
    void onSend(const model_Protocoldata &record);
    void onFirstSend(Command &command, const model_Protocoldata &record);
    void onResend(Command &command);
    void onPeripherals(biz_CMDSWork &worker, const model_Protocoldata &record);
    void onInitCore(biz_CMDSWork &worker);
    void onAccepted(const model_Protocoldata &reply);
    void answer(const model_Protocoldata &command);
    void push(nanoseconds delay, const model_Protocoldata &command, bool good);

    // What must hold
    void require(bool holds, const char *what);
    void requireOfCommand(bool holds, const char *what, std::size_t number);
    void checkAfterwards();
    void checkEveryCommandHasOneFate();
    void checkReplies();
    Reply *replyIn(const QByteArray &payload);

    bool isPlain() const
    {
        return m_options.workers == 1 && !m_options.clears && !m_options.skips && !m_options.watchdogs;
    }

    const ScenarioClass &m_options;
    Coverage &m_coverage;
    Random m_random;
    RandomChooser m_chooser;
    Scheduler m_scheduler;
    DeviceWatch m_watch;

    std::vector<std::unique_ptr<biz_CMDSWork>> m_workers;
    std::vector<int> m_sendTasks;
    std::vector<int> m_receiveTasks;
    int m_initialCounter = 1;
    std::priority_queue<DueReply> m_due;
    std::vector<Reply> m_replies;
    std::size_t m_firstUnannounced = 0;
    std::map<int, bool> m_resendFollows; ///< by task: signalInitCore has announced one
    nanoseconds m_stopAt{0};
    int m_firstSends = 0;
    bool m_typeChanged = false;
};

void resetChannel(int counter)
{
    biz_CMDSWork::queueHexCmd = std::queue<model_Protocoldata>();
    biz_CMDSWork::receivequeueHexCmd = std::queue<model_Protocoldata>();
    biz_CMDSWork::deviceType = deviceTypeA2;
    biz_CMDSWork::iSN = counter;
    biz_CMDSWork::iTimeout = defaultTimeout;
    biz_CMDSWork::bRetFlag = true;
    biz_CMDSWork::iTimeoutCount = 0;
    biz_CMDSWork::iWatchdogSleepCnt = 0;
    biz_CMDSWork::nSysPlan = 0;
    giveUps = 0;
}

/**
 * The library counts blocked passes for the whole process, from one report of the queue's size to the next.
 * After a report each seed counts from 0, whatever has run before it.
 */
void countBlockedPassesFromZero()
{
    biz_CMDSWork worker;
    QObject::connect(
        &worker, &biz_CMDSWork::signalQueueSize, &worker, [&worker] { worker.m_bSendRun = false; },
        Qt::DirectConnection);
    biz_CMDSWork::bRetFlag = false;
    biz_CMDSWork::queueHexCmd.push({});
    worker.m_bSendRun = true;
    worker.a1_GetQueueWork();
}

/** Wraps at 32 bits. */
int counterAfter(int counter, int steps)
{
    return static_cast<int>(static_cast<unsigned>(counter) + static_cast<unsigned>(steps));
}

/** A reply that A2's rule for F1/08 accepts, or one whose index breaks it. */
model_Protocoldata replyTo(const model_Protocoldata &command, bool good)
{
    constexpr int length = 354;
    constexpr uchar indexTooHigh = 16;

    model_Protocoldata reply = command;
    reply.ucHead[3] = good ? 3 : indexTooHigh;
    reply.ucHead[4] = length % 256;
    reply.ucHead[5] = length / 256;
    reply.baData = QByteArray(length, 'r');
    return reply;
}

constexpr int digitsOfReply = 6;

QByteArray textOf(std::size_t replyNumber)
{
    return QByteArray::number(static_cast<qulonglong>(replyNumber)).rightJustified(digitsOfReply, '0');
}

void DeviceWorld::require(bool holds, const char *what)
{
    if (!holds) {
        m_scheduler.violate(what);
    }
}

void DeviceWorld::requireOfCommand(bool holds, const char *what, std::size_t number)
{
    if (!holds) {
        m_scheduler.violate("command " + std::to_string(number) + " " + what);
    }
}

// --- The host's script ------------------------------------------------------------------

void DeviceWorld::run()
{
    countBlockedPassesFromZero();
    resetChannel(m_initialCounter);
    QDir(QStringLiteral("Errorlog")).removeRecursively();
    m_scheduler.run([this] { host(); });
    checkAfterwards();
    m_scheduler.throwViolation();
    m_workers.clear();
    m_coverage.commands += m_watch.commands().size();
    m_coverage.replies += m_replies.size();
    m_coverage.points += m_scheduler.points();
    m_coverage.fingerprint = m_scheduler.fingerprint();
    m_coverage.virtualMs +=
        static_cast<std::uint64_t>(std::chrono::duration_cast<milliseconds>(m_scheduler.now()).count());
    m_coverage.giveUps += static_cast<std::uint64_t>(giveUps);
    resetChannel(m_initialCounter);
}

void DeviceWorld::host()
{
    startLoops();
    // Not in skip mode, while which nothing may be pushed.
    const bool hasProducer = !m_options.skips && m_random.chance(50);
    const int producer = hasProducer ? m_scheduler.start("producer", [this] { produceBesideTheHost(); }) : 0;
    const int actions = m_random.between(10, 40);
    for (int i = 0; i < actions; ++i) {
        act();
        for (int pauses = m_random.between(0, 4); pauses >= 0; --pauses) {
            pause(1, 25);
        }
    }
    while (hasProducer && m_scheduler.endOf(producer) < nanoseconds(0)) {
        pause(5, 20);
    }
    awaitTheEnd();
    m_stopAt = m_scheduler.now();
    for (const auto &worker : m_workers) {
        worker->m_bSendRun = false;
        worker->m_bRecvRun = false;
    }
}

/** A second thread of the host, whose pushes meet each other's and the host's clears. */
void DeviceWorld::produceBesideTheHost()
{
    for (int bursts = m_random.between(1, 10); bursts > 0; --bursts) {
        enqueueBurst();
        m_scheduler.sleep(milliseconds(m_random.between(1, 100)));
    }
}

bool DeviceWorld::isQuiet() const
{
    return biz_CMDSWork::queueHexCmd.empty() && biz_CMDSWork::receivequeueHexCmd.empty() && m_due.empty() &&
           m_watch.gateShutFor() == nanoseconds(0);
}

/** Whatever has happened, the channel comes to rest within the waits of what is left. */
void DeviceWorld::awaitTheEnd()
{
    const auto left = static_cast<int>(biz_CMDSWork::queueHexCmd.size() + m_due.size()) + 2;
    const nanoseconds patience = m_scheduler.now() + 2 * left * longestWait;
    while (!isQuiet() && m_scheduler.now() < patience && !m_scheduler.hasViolation()) {
        pause(5, 20);
    }
    require(biz_CMDSWork::queueHexCmd.empty(), "commands wait for ever");
    require(biz_CMDSWork::receivequeueHexCmd.empty(), "replies wait for ever");
    require(isQuiet(), "the gate stays shut");
    constexpr milliseconds someReceivePasses{20};
    m_scheduler.sleep(someReceivePasses); // the last reply is announced or logged
}

void DeviceWorld::startLoops()
{
    for (int i = 0; i < m_options.workers; ++i) {
        m_workers.push_back(std::make_unique<biz_CMDSWork>());
        biz_CMDSWork &worker = *m_workers.back();
        worker.m_bSendRun = true;
        worker.m_bRecvRun = true;
        connect(worker);
    }
    for (const auto &worker : m_workers) {
        biz_CMDSWork *const own = worker.get();
        m_sendTasks.push_back(m_scheduler.start("send loop", [own] { own->a1_GetQueueWork(); }));
        m_watch.addSendLoop(m_sendTasks.back(), *own);
        m_receiveTasks.push_back(m_scheduler.start("receive loop", [own] { own->a1_receiveGetQueueWork(); }));
    }
}

void DeviceWorld::connect(biz_CMDSWork &worker)
{
    const auto recordAt = [](void *pointer) {
        return *static_cast<model_Protocoldata *>(pointer);
    };
    QObject::connect(
        &worker, &biz_CMDSWork::signalSendMessage, &worker,
        [this, recordAt](void *record) { onSend(recordAt(record)); }, Qt::DirectConnection);
    QObject::connect(
        &worker, &biz_CMDSWork::signalInitCore, &worker, [this, &worker] { onInitCore(worker); }, Qt::DirectConnection);
    QObject::connect(
        &worker, &biz_CMDSWork::signalSendReceiveMessage, &worker,
        [this, recordAt](void *record) { onAccepted(recordAt(record)); }, Qt::DirectConnection);
    QObject::connect(
        &worker, &biz_CMDSWork::signalQueueSize, &worker,
        [this](int size) {
            m_scheduler.trace("signalQueueSize", size);
            require(Scheduler::locksHeld() == 0, "signalQueueSize leaves with a lock held");
            require(size >= 0, "a negative queue size is reported");
        },
        Qt::DirectConnection);
    QObject::connect(
        &worker, &biz_CMDSWork::signalSendMessageUipro, &worker,
        [this, &worker, recordAt](void *record) { onPeripherals(worker, recordAt(record)); }, Qt::DirectConnection);
}

void DeviceWorld::act()
{
    const int dice = m_random.below(100);
    if (dice < 45) {
        enqueueBurst();
    } else if (dice < 70 && m_options.clears) {
        m_random.chance(70) ? clear() : timeoutClear();
    } else if (dice < 70 && m_options.openings) {
        openGate();
    } else if (dice < 76 && m_options.skips) {
        skipForAWhile();
    } else if (dice < 82 && m_options.planChanges) {
        biz_CMDSWork::nSysPlan = m_random.below(3); // anything but 0 is the same
    } else if (dice < 88 && m_options.typeChanges) {
        biz_CMDSWork::deviceType = m_random.chance(50) ? deviceTypeA2 : unknownDeviceType;
        m_typeChanged = true;
    } else if (dice < 94 && m_options.clockJumps) {
        m_scheduler.setWallClock(std::chrono::seconds(1704067200 + m_random.between(-200000, 200000)));
    }
}

/** From now to the send pass that begins after this duration. */
nanoseconds DeviceWorld::untilASendPass(nanoseconds duration) const
{
    constexpr nanoseconds sendPass = milliseconds(10);
    return duration + sendPass - (m_scheduler.now() + duration) % sendPass;
}

/** Every other pause ends when a send pass begins, so that the two meet in every order. */
void DeviceWorld::pause(int fromMs, int toMs)
{
    const nanoseconds duration = milliseconds(m_random.between(fromMs, toMs));
    m_scheduler.sleep(m_random.chance(50) ? untilASendPass(duration) : duration);
    deliverDueReplies();
    lookAtTheGate();
}

void DeviceWorld::enqueueBurst()
{
    for (int i = m_random.between(1, 5); i > 0; --i) {
        model_Protocoldata command;
        command.ucHead[1] = 0xF1;
        command.ucHead[2] = 0x08;
        command.iWaitTime = m_random.chance(95) ? 15 * m_random.between(1, 12) : -m_random.below(2);
        command.baData = QByteArray(8, static_cast<char>(m_random.below(128)));
        const int number = m_watch.add(command.baData);
        command.nTag = static_cast<quint32>(number);

        m_watch.begin(Deed::Push, number);
        {
            const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
            biz_CMDSWork::queueHexCmd.push(std::move(command));
        }
        m_watch.end();
    }
}

/** Every other one when a send pass begins over commands that wait: the two are to meet. */
void DeviceWorld::clear()
{
    if (m_random.chance(50)) {
        enqueueBurst();
        m_scheduler.sleep(untilASendPass(nanoseconds(0)));
    }
    ++m_coverage.clears;
    m_watch.begin(Deed::Clear);
    m_workers.front()->clearQueue();
    m_watch.end();
}

void DeviceWorld::timeoutClear()
{
    constexpr int enoughTimeouts = 10;
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        biz_CMDSWork::iTimeoutCount = enoughTimeouts;
    }
    m_watch.begin(Deed::TimeoutClear);
    m_workers.front()->timeoutClearQueue();
    m_watch.end();
}

/** As the host must: while it lasts, and for a pass after it, nothing is pushed or cleared. */
void DeviceWorld::skipForAWhile()
{
    m_watch.setSkipping(true);
    m_workers.front()->setSkipSendcmd(true);
    pause(31, 80); // a pass that has begun with a resend is over
    require(biz_CMDSWork::queueHexCmd.empty(), "skip mode leaves commands in the queue");
    m_workers.front()->setSkipSendcmd(false);
    pause(15, 20);
    m_watch.setSkipping(false);
}

void DeviceWorld::deliverDueReplies()
{
    while (!m_due.empty() && m_due.top().at <= m_scheduler.now()) {
        DueReply due = m_due.top();
        m_due.pop();
        due.record.baData.replace(0, digitsOfReply, textOf(m_replies.size()));
        m_replies.push_back({due.isGood, 0, 0});
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
        biz_CMDSWork::receivequeueHexCmd.push(due.record);
    }
}

void DeviceWorld::openGate()
{
    m_watch.begin(Deed::Open);
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        biz_CMDSWork::bRetFlag = true;
    }
    m_watch.end();
}

/** The host's duty after a clear that raced a take: nobody else would open the gate. */
void DeviceWorld::lookAtTheGate()
{
    if (m_watch.gateShutFor() <= longestWait) {
        return;
    }
    require(m_options.clears, "the gate stays shut although no clear has met a take");
    ++m_coverage.wedgedGates;
    openGate();
}

// --- The loops' slots ---------------------------------------------------------------------

void DeviceWorld::onSend(const model_Protocoldata &record)
{
    m_scheduler.trace("signalSendMessage", record.nTag);
    require(Scheduler::locksHeld() == 0, "signalSendMessage leaves with a lock held");
    if (!m_watch.knows(record.nTag)) {
        require(false, "a command is announced that nobody enqueued");
        return;
    }
    Command &command = m_watch.command(record.nTag);
    const bool isResend = std::exchange(m_resendFollows[Scheduler::currentTask()], false);
    if (isResend) {
        onResend(command);
    } else {
        onFirstSend(command, record);
    }
    answer(record);
}

void DeviceWorld::onFirstSend(Command &command, const model_Protocoldata &record)
{
    const int task = Scheduler::currentTask();
    require(m_watch.isSendLoop(task), "a command is announced by another thread than a send loop's");
    require(command.fate == Fate::Taken, "a command is announced that was not taken");
    require(command.announced++ == 0, "a command is announced twice without a resend");
    if (m_watch.isSendLoop(task)) {
        require(m_watch.takenBy(task) == static_cast<int>(record.nTag), "a loop announces what another one has taken");
    }
    if (isPlain()) {
        const auto expected = static_cast<uchar>(counterAfter(m_initialCounter, m_firstSends));
        require(record.ucHead[0] == expected, "the sequence byte does not follow the counter");
    }
    ++m_firstSends;
}

void DeviceWorld::onResend(Command &command)
{
    constexpr milliseconds resendDelay{20};

    ++m_coverage.resends;
    ++command.resent;
    if (m_options.workers == 1 && !m_options.watchdogs) {
        require(command.announced == 1, "a command is resent that was never sent");
    }
    if (isPlain()) {
        require(command.resent == 1, "a command is resent twice");
        require(!command.settled || m_scheduler.now() <= command.settledAt + resendDelay,
                "a settled command is resent");
    }
}

/** Once for each take, behind its announcement; a watchdog can be started there. */
void DeviceWorld::onPeripherals(biz_CMDSWork &worker, const model_Protocoldata &record)
{
    m_scheduler.trace("signalSendMessageUipro", record.nTag);
    require(Scheduler::locksHeld() == 0, "signalSendMessageUipro leaves with a lock held");
    if (!m_watch.knows(record.nTag)) {
        require(false, "signalSendMessageUipro tells of a command that nobody enqueued");
        return;
    }
    Command &command = m_watch.command(record.nTag);
    require(++command.announcedToPeripherals == command.announced, "signalSendMessageUipro does not follow a send");
    if (m_options.watchdogs) {
        const int sn = biz_CMDSWork::iSN;
        m_scheduler.start("watchdog", [&worker, sn] { worker.timeoutWatchdog(sn); });
    }
}

void DeviceWorld::onInitCore(biz_CMDSWork &worker)
{
    m_scheduler.trace("signalInitCore", worker.m_curSend.nTag);
    require(Scheduler::locksHeld() == 0, "signalInitCore leaves with a lock held");
    m_resendFollows[Scheduler::currentTask()] = true;
    m_watch.noteResend();
    if (isPlain() && m_watch.knows(worker.m_curSend.nTag)) {
        const Command &command = m_watch.command(worker.m_curSend.nTag);
        require(!command.settled || command.settledAt == m_scheduler.now(), "a resend starts for a settled command");
    }
}

void DeviceWorld::onAccepted(const model_Protocoldata &record)
{
    m_scheduler.trace("signalSendReceiveMessage", record.nTag);
    require(Scheduler::locksHeld() == 0, "signalSendReceiveMessage leaves with a lock held");
    Reply *const reply = replyIn(record.baData);
    if (reply == nullptr || !m_watch.knows(record.nTag)) {
        require(false, "a reply is announced that nobody handed over");
        return;
    }
    require(++reply->announced == 1, "a reply is announced twice");
    require(reply->isGood || m_typeChanged, "a reply that breaks its rule is announced");
    const auto number = static_cast<std::size_t>(reply - m_replies.data());
    require(number >= m_firstUnannounced || m_options.workers > 1, "replies are announced out of order");
    m_firstUnannounced = number + 1;
    if (static_cast<int>(record.nTag) == m_watch.inFlight()) {
        m_watch.setSettled(m_watch.inFlight());
        openGate();
    }
}

/** Devices are prompt, slow, silent, lying, repeating, or so late that nobody waits any more. */
void DeviceWorld::answer(const model_Protocoldata &command)
{
    const int dice = m_random.below(100);
    if (dice < 45) {
        push(milliseconds(m_random.between(1, 40)), command, true);
    } else if (dice < 60) {
        push(milliseconds(command.iWaitTime * 2 / 3 + m_random.between(-5, 30)), command, true);
    } else if (dice < 70) {
        push(milliseconds(command.iWaitTime * 2 + m_random.between(0, 50)), command, true);
    } else if (dice < 80) {
        push(milliseconds(m_random.between(1, 20)), command, false);
    } else if (dice < 90) {
        push(milliseconds(m_random.between(1, 20)), command, true);
        push(milliseconds(m_random.between(1, 60)), command, true);
    }
}

void DeviceWorld::push(nanoseconds delay, const model_Protocoldata &command, bool good)
{
    m_due.push({m_scheduler.now() + delay, replyTo(command, good), good});
}

// --- What must hold -------------------------------------------------------------------------

void DeviceWorld::checkAfterwards()
{
    constexpr milliseconds longestSendPass{30}; // its sleep and the delay of a resend
    constexpr milliseconds longestReceivePass{5};

    for (const int task : m_sendTasks) {
        require(m_scheduler.endOf(task) <= m_stopAt + longestSendPass, "a send loop does not end in time");
    }
    for (const int task : m_receiveTasks) {
        require(m_scheduler.endOf(task) <= m_stopAt + longestReceivePass, "a receive loop does not end in time");
    }
    require(biz_CMDSWork::iSN == counterAfter(m_initialCounter, m_watch.takes() + m_watch.clears()),
            "iSN does not count each take and each clear once");
    checkEveryCommandHasOneFate();
    checkReplies();
}

void DeviceWorld::checkEveryCommandHasOneFate()
{
    for (std::size_t i = 0; i < m_watch.commands().size(); ++i) {
        const Command &command = m_watch.commands()[i];
        const bool isTaken = command.fate == Fate::Taken;
        requireOfCommand(command.fate != Fate::Waiting, "is still queued", i);
        requireOfCommand(command.announced == (isTaken ? 1 : 0), "is not announced exactly if it was taken", i);
        requireOfCommand(command.announcedToPeripherals == command.announced, "has no signalSendMessageUipro", i);
    }
}

Reply *DeviceWorld::replyIn(const QByteArray &payload)
{
    bool isNumber = false;
    const std::size_t number = payload.left(digitsOfReply).toUInt(&isNumber);
    return isNumber && number < m_replies.size() ? &m_replies[number] : nullptr;
}

/** The payloads' first bytes in the lines of the error log. */
std::vector<QByteArray> loggedReplies()
{
    std::vector<QByteArray> logged;
    const QDir folder(QStringLiteral("Errorlog"));
    for (const QString &name : folder.entryList({QStringLiteral("*.log")}, QDir::Files)) {
        QFile file(folder.filePath(name));
        if (file.open(QIODevice::ReadOnly)) {
            for (const QByteArray &line : file.readAll().split('\n')) {
                const QByteArray payload = line.mid(line.indexOf('>') + 1).left(2 * digitsOfReply);
                if (!line.isEmpty()) {
                    logged.push_back(QByteArray::fromHex(payload));
                }
            }
        }
    }
    return logged;
}

void DeviceWorld::checkReplies()
{
    for (const QByteArray &payload : loggedReplies()) {
        Reply *const reply = replyIn(payload);
        require(reply != nullptr, "a line of the error log is no reply's");
        if (reply != nullptr) {
            ++reply->logged;
        }
    }
    for (const Reply &reply : m_replies) {
        require(reply.announced + reply.logged == 1, "a reply is not either announced or logged, once");
        require(!reply.isGood || reply.logged == 0, "a good reply is logged");
    }
}

} // namespace

void runDeviceScenario(std::uint64_t seed, const ScenarioClass &options, Coverage &coverage)
{
    const auto before = qInstallMessageHandler(noteGiveUps);
    DeviceWorld world(seed, options, coverage);
    try {
        world.run();
    } catch (...) {
        qInstallMessageHandler(before);
        throw;
    }
    qInstallMessageHandler(before);
}

} // namespace biz::scenario
