#include <scenario/world.h>

#include <deque>
#include <map>
#include <memory>
#include <queue>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>

#include <biz_cmdswork/biz_cmdswork.h>
#include <scenario/scheduler.h>

namespace biz::scenario {

namespace {

constexpr int deviceTypeA2 = 0x1400;
constexpr int unknownDeviceType = -1;
constexpr int initialCounter = 1;
constexpr int defaultTimeout = 6000;

/** Give-ups open the gate; the library says so in its debug messages alone. */
int giveUpMessages = 0;

void countGiveUps(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString &message)
{
    giveUpMessages += message == QLatin1String("Resend stop") ? 1 : 0;
}

/** What is known of one command. */
struct Entry
{
    QByteArray payload; ///< shares its bytes with the record as long as that exists
    int announced = 0;
    int resent = 0;
    bool settled = false;
    nanoseconds settledAt{0};
};

struct DueReply
{
    nanoseconds at;
    model_Protocoldata record;
    bool isGood;

    friend bool operator<(const DueReply &a, const DueReply &b) { return a.at > b.at; }
};

/** A host, simulated devices and the whole device channel, with what must hold at each step. */
class DeviceWorld
{
public:
    DeviceWorld(std::uint64_t seed, const ScenarioClass &options, Coverage &coverage)
        : m_options(options)
        , m_coverage(coverage)
        , m_random(seed * 2654435761U + 1U)
        , m_scheduler(seed)
    {
        m_scheduler.watch(biz_CMDSWork::HexCmdlock.native_handle());
        m_scheduler.watch(biz_CMDSWork::receiveHexCmdlock.native_handle());
        m_scheduler.onPoint([this] { checkState(); });
    }

    void run();

private:
    // The host's script
    void host();
    void startLoops();
    void connect(biz_CMDSWork &worker);
    void act();
    void enqueueBurst();
    void clear();
    void timeoutClear();
    void skipForAWhile();
    void deliverDueReplies();
    void openWedgedGate();
    void pause(int fromMs, int toMs);
    void openGate();

    // The loops' slots
    void onSend(const model_Protocoldata &record);
    void onFirstSend(Entry &entry, const model_Protocoldata &record);
    void onResend(Entry &entry);
    void onInitCore(biz_CMDSWork &worker);
    void onAccepted(const model_Protocoldata &reply);
    void answer(const model_Protocoldata &command);
    void push(nanoseconds delay, const model_Protocoldata &command, bool good);

    // What must hold
    void require(bool holds, const std::string &what);
    void checkState();
    void checkAfterwards();
    void checkEveryCommandHasOneFate();
    void checkReplies();

    bool mayReachForTheQueue() const { return m_options.clears || m_options.skips; }
    bool isPlain() const { return m_options.workers == 1 && !mayReachForTheQueue() && !m_options.watchdogs; }

    const ScenarioClass &m_options;
    Coverage &m_coverage;
    Random m_random;
    Scheduler m_scheduler;

    std::vector<std::unique_ptr<biz_CMDSWork>> m_workers;
    std::vector<int> m_sendTasks;
    std::vector<int> m_receiveTasks;
    /** By nTag. A slot may hold one while another thread enqueues, so they must stay where they are. */
    std::deque<Entry> m_entries;
    std::priority_queue<DueReply> m_due;
    std::map<int, bool> m_resendFollows; ///< by task: signalInitCore has announced one
    nanoseconds m_stopAt{0};
    int m_firstSends = 0;
    int m_hostOpenings = 0;
    int m_lastFirst = -1;
    int m_inFlight = -1;
    nanoseconds m_inFlightSince{0};
    bool m_isClearing = false;
    int m_clears = 0;
    int m_discards = 0; ///< clears and skips so far
    std::vector<int> m_discardsAtEnqueue;
    int m_pushed = 0;
    int m_pushedGood = 0;
    int m_accepted = 0;
    bool m_planChanged = false;
    bool m_typeChanged = false;
};

void resetChannel()
{
    biz_CMDSWork::queueHexCmd = std::queue<model_Protocoldata>();
    biz_CMDSWork::receivequeueHexCmd = std::queue<model_Protocoldata>();
    biz_CMDSWork::deviceType = deviceTypeA2;
    biz_CMDSWork::iSN = initialCounter;
    biz_CMDSWork::iTimeout = defaultTimeout;
    biz_CMDSWork::bRetFlag = true;
    biz_CMDSWork::iTimeoutCount = 0;
    biz_CMDSWork::iWatchdogSleepCnt = 0;
    biz_CMDSWork::nSysPlan = 0;
    giveUpMessages = 0;
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

void DeviceWorld::require(bool holds, const std::string &what)
{
    if (!holds) {
        m_scheduler.violate(what);
    }
}

// --- The host's script ------------------------------------------------------------------

void DeviceWorld::run()
{
    resetChannel();
    QDir(QStringLiteral("Errorlog")).removeRecursively();
    m_scheduler.run([this] { host(); });
    checkAfterwards();
    m_scheduler.throwViolation();
    m_workers.clear();
    m_coverage.commands += m_entries.size();
    m_coverage.replies += static_cast<std::uint64_t>(m_pushed);
    m_coverage.points += m_scheduler.points();
    m_coverage.virtualMs +=
        static_cast<std::uint64_t>(std::chrono::duration_cast<milliseconds>(m_scheduler.now()).count());
    m_coverage.giveUps += static_cast<std::uint64_t>(giveUpMessages);
    resetChannel();
}

void DeviceWorld::host()
{
    startLoops();
    const int actions = m_random.between(10, 40);
    for (int i = 0; i < actions; ++i) {
        act();
        for (int pauses = m_random.between(0, 4); pauses >= 0; --pauses) {
            pause(1, 25);
        }
    }
    // Until all is settled, or long enough for every wait to have run out.
    constexpr int endOfPatience = 400;
    for (int i = 0; i < endOfPatience && (!biz_CMDSWork::queueHexCmd.empty() || !m_due.empty()); ++i) {
        pause(5, 20);
    }
    m_stopAt = m_scheduler.now();
    for (const auto &worker : m_workers) {
        worker->m_bSendRun = false;
        worker->m_bRecvRun = false;
    }
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
            require(Scheduler::locksHeld() == 0, "signalQueueSize leaves with a lock held");
            require(size >= 0, "a negative queue size is reported");
        },
        Qt::DirectConnection);
    if (m_options.watchdogs) {
        QObject::connect(
            &worker, &biz_CMDSWork::signalSendMessageUipro, &worker,
            [this, &worker] {
                const int sn = biz_CMDSWork::iSN;
                m_scheduler.start("watchdog", [&worker, sn] { worker.timeoutWatchdog(sn); });
            },
            Qt::DirectConnection);
    }
}

void DeviceWorld::act()
{
    const int dice = m_random.below(100);
    if (dice < 45) {
        enqueueBurst();
    } else if (dice < 70 && m_options.clears) {
        m_random.chance(70) ? clear() : timeoutClear();
    } else if (dice < 76 && m_options.skips) {
        skipForAWhile();
    } else if (dice < 82 && m_options.planChanges) {
        biz_CMDSWork::nSysPlan = m_random.below(2);
        m_planChanged = true;
    } else if (dice < 88 && m_options.typeChanges) {
        biz_CMDSWork::deviceType = m_random.chance(50) ? deviceTypeA2 : unknownDeviceType;
        m_typeChanged = true;
    } else if (dice < 94 && m_options.clockJumps) {
        m_scheduler.setWallClock(std::chrono::seconds(1704067200 + m_random.between(-200000, 200000)));
    }
}

/** Every other pause ends when a send pass begins, so that the two meet in every order. */
void DeviceWorld::pause(int fromMs, int toMs)
{
    constexpr milliseconds sendPass{10};

    nanoseconds duration = milliseconds(m_random.between(fromMs, toMs));
    if (m_random.chance(50)) {
        duration += sendPass - (m_scheduler.now() + duration) % nanoseconds(sendPass);
    }
    m_scheduler.sleep(duration);
    deliverDueReplies();
    openWedgedGate();
}

void DeviceWorld::enqueueBurst()
{
    for (int i = m_random.between(1, 5); i > 0; --i) {
        model_Protocoldata command;
        command.ucHead[1] = 0xF1;
        command.ucHead[2] = 0x08;
        command.iWaitTime = 15 * m_random.between(1, 12);
        command.nTag = static_cast<quint32>(m_entries.size());
        command.baData = QByteArray(8, static_cast<char>(m_random.below(128)));

        m_entries.emplace_back();
        m_entries.back().payload = command.baData;
        m_discardsAtEnqueue.push_back(m_discards);
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        biz_CMDSWork::queueHexCmd.push(command);
    }
}

void DeviceWorld::clear()
{
    ++m_discards;
    ++m_clears;
    ++m_coverage.clears;
    m_isClearing = true;
    m_workers.front()->clearQueue();
    m_isClearing = false;
}

void DeviceWorld::timeoutClear()
{
    constexpr int enoughTimeouts = 10;
    {
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
        biz_CMDSWork::iTimeoutCount = enoughTimeouts;
    }
    ++m_discards;
    m_workers.front()->timeoutClearQueue();
}

/** As the host must: while it lasts, and for a pass after it, nothing is pushed or cleared. */
void DeviceWorld::skipForAWhile()
{
    ++m_discards;
    m_workers.front()->setSkipSendcmd(true);
    pause(15, 60);
    m_workers.front()->setSkipSendcmd(false);
    pause(15, 20);
}

void DeviceWorld::deliverDueReplies()
{
    while (!m_due.empty() && m_due.top().at <= m_scheduler.now()) {
        const DueReply due = m_due.top();
        m_due.pop();
        ++m_pushed;
        m_pushedGood += due.isGood ? 1 : 0;
        const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
        biz_CMDSWork::receivequeueHexCmd.push(due.record);
    }
}

void DeviceWorld::openGate()
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::bRetFlag = true;
    ++m_hostOpenings;
}

/** The host's duty after a clear that raced a take: nobody else would open the gate. */
void DeviceWorld::openWedgedGate()
{
    constexpr milliseconds longestWait{1000};
    const bool isIdle = m_inFlight < 0 || m_scheduler.now() - m_inFlightSince > longestWait;
    if (!isPlain() && isIdle && !biz_CMDSWork::bRetFlag) {
        ++m_coverage.wedgedGates;
        openGate();
    }
}

// --- The loops' slots ---------------------------------------------------------------------

void DeviceWorld::onSend(const model_Protocoldata &record)
{
    require(Scheduler::locksHeld() == 0, "signalSendMessage leaves with a lock held");
    require(record.nTag < m_entries.size(), "a command is announced that nobody enqueued");
    Entry &entry = m_entries.at(record.nTag);
    const bool isResend = std::exchange(m_resendFollows[Scheduler::currentTask()], false);
    if (isResend) {
        onResend(entry);
    } else {
        onFirstSend(entry, record);
    }
    answer(record);
}

void DeviceWorld::onFirstSend(Entry &entry, const model_Protocoldata &record)
{
    require(entry.announced++ == 0, "a command is taken twice");
    const int number = static_cast<int>(record.nTag);
    if (m_options.workers == 1) {
        require(number > m_lastFirst, "commands are announced out of order");
    }
    m_lastFirst = number;
    if (isPlain()) {
        const auto expected = static_cast<uchar>(initialCounter + m_firstSends);
        require(record.ucHead[0] == expected, "the sequence byte does not follow the counter");
    }
    ++m_firstSends;
    if (isPlain() && !m_planChanged) {
        require(m_firstSends <= m_hostOpenings + giveUpMessages + 1, "a command is taken through a closed gate");
    }
    m_inFlight = number;
    m_inFlightSince = m_scheduler.now();
}

void DeviceWorld::onResend(Entry &entry)
{
    constexpr milliseconds resendDelay{20};

    ++m_coverage.resends;
    ++entry.resent;
    if (m_options.workers == 1 && !m_options.watchdogs) {
        require(entry.announced == 1, "a command is resent that was never sent");
    }
    if (isPlain()) {
        require(entry.resent == 1, "a command is resent twice");
        require(!entry.settled || m_scheduler.now() <= entry.settledAt + resendDelay, "a settled command is resent");
    }
}

void DeviceWorld::onInitCore(biz_CMDSWork &worker)
{
    require(Scheduler::locksHeld() == 0, "signalInitCore leaves with a lock held");
    m_resendFollows[Scheduler::currentTask()] = true;
    const Entry &entry = m_entries.at(worker.m_curSend.nTag);
    if (isPlain()) {
        require(!entry.settled || entry.settledAt == m_scheduler.now(), "a resend starts for a settled command");
    }
}

void DeviceWorld::onAccepted(const model_Protocoldata &reply)
{
    require(Scheduler::locksHeld() == 0, "signalSendReceiveMessage leaves with a lock held");
    ++m_accepted;
    Entry &entry = m_entries.at(reply.nTag);
    if (static_cast<int>(reply.nTag) == m_inFlight && !entry.settled) {
        m_inFlight = -1;
        openGate();
        entry.settled = true;
        entry.settledAt = m_scheduler.now();
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

/** At every point, while one thread runs and all others stand still. */
void DeviceWorld::checkState()
{
    require(Scheduler::locksHeld() <= 1, "both locks of the channel are held");
    if (m_isClearing && Scheduler::locksHeld() == 1 && !biz_CMDSWork::queueHexCmd.empty()) {
        const auto at = static_cast<std::size_t>(m_scheduler.pointsSinceSleep(m_sendTasks.front()));
        ++m_coverage.clearsAtPoint[std::min(at, m_coverage.clearsAtPoint.size() - 1)];
    }
}

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
    const int counted = m_firstSends + m_clears;
    require(biz_CMDSWork::iSN == initialCounter + counted, "iSN does not count each send and each clear once");
    checkEveryCommandHasOneFate();
    checkReplies();
}

void DeviceWorld::checkEveryCommandHasOneFate()
{
    std::vector<int> queued(m_entries.size(), 0);
    for (auto rest = biz_CMDSWork::queueHexCmd; !rest.empty(); rest.pop()) {
        ++queued.at(rest.front().nTag);
    }
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
        const int fates = m_entries[i].announced + queued[i];
        require(fates <= 1, "command " + std::to_string(i) + " has two fates");
        const bool mayHaveBeenDiscarded = m_discards > m_discardsAtEnqueue[i];
        require(fates == 1 || mayHaveBeenDiscarded, "command " + std::to_string(i) + " is lost");
        if (fates == 0) {
            require(m_entries[i].payload.isDetached(), "discarded command " + std::to_string(i) + " still exists");
        }
    }
}

int countLogLines()
{
    int lines = 0;
    const QDir folder(QStringLiteral("Errorlog"));
    for (const QString &name : folder.entryList({QStringLiteral("*.log")}, QDir::Files)) {
        QFile file(folder.filePath(name));
        if (file.open(QIODevice::ReadOnly)) {
            lines += file.readAll().count('\n');
        }
    }
    return lines;
}

void DeviceWorld::checkReplies()
{
    const int logged = countLogLines();
    const int left = static_cast<int>(biz_CMDSWork::receivequeueHexCmd.size());
    require(m_pushed == m_accepted + logged + left, "a reply is neither announced, logged nor queued");
    if (!m_typeChanged && left == 0) {
        require(m_accepted == m_pushedGood, "the announced replies are not the good ones");
    }
}

} // namespace

void runDeviceScenario(std::uint64_t seed, const ScenarioClass &options, Coverage &coverage)
{
    const auto before = qInstallMessageHandler(countGiveUps);
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
