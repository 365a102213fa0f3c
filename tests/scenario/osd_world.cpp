#include <scenario/osd_model.h>
#include <scenario/world.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <queue>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <scenario/scheduler.h>

namespace biz::scenario {

namespace {

using std::chrono::seconds;

constexpr int millisecondsPerSecond = 1000;
constexpr int hostTask = 1; // the first one
constexpr seconds startOfWallClock{1704067200};
constexpr int furthestJump = 100; // seconds

constexpr milliseconds sendPass{3};
constexpr milliseconds receivePass{5};
constexpr milliseconds timeoutPass{500};

/** Broken seconds, none and less than none are waits like any other. */
constexpr std::array<int, 11> waits{0, 0, 1000, 1000, 2000, 1, 999, 1500, 2999, -1, -1500};
constexpr seconds longestWait{3};

enum class Habit { Prompt, Slow, Silent, Repeating, Lying };
constexpr int habitCount = 5;

struct Device
{
    QString ip;
    Habit habit = Habit::Prompt;
    seconds deadline{0};   ///< of the command in flight, by the wall clock
    nanoseconds heldAt{0}; ///< by that command, or by the host
};

struct DueReply
{
    nanoseconds at;
    model_OsdParam record;

    friend bool operator<(const DueReply &a, const DueReply &b) { return a.at > b.at; }
};

using Effect = std::function<void()>;

void silenceMessages(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString & /*message*/) {}

void resetChannel()
{
    biz_Osd_CMDSWork::m_qsIp.clear();
    biz_Osd_CMDSWork::queueHexCmd.clear();
    biz_Osd_CMDSWork::m_bRetFlag.clear();
    biz_Osd_CMDSWork::receivequeueHexCmd = std::queue<model_OsdParam>();
}

bool areSame(const model_OsdParam &a, const model_OsdParam &b)
{
    return std::memcmp(static_cast<const void *>(a.ucOsdHead), static_cast<const void *>(b.ucOsdHead),
                       sizeof a.ucOsdHead) == 0 &&
           a.qsIp == b.qsIp && a.ucOsdFlag == b.ucOsdFlag && a.iWaitTime == b.iWaitTime && a.qsOsdText == b.qsOsdText &&
           a.baData == b.baData && a.nTag == b.nTag;
}

// --- The world ------------------------------------------------------------------------------

enum class Role { Send, Receive, Timeout };

/** One loop of one worker: it has a pass at each multiple of its period, and ends with one. */
struct Loop
{
    Role role;
    int worker = 0;
    const char *name = "";
    milliseconds period;
    int task = 0; ///< 0 until it has shown itself
    bool isDue = false;
    nanoseconds lastPass{0};
    nanoseconds woken{-1};  ///< for the present pass
    seconds clockOfPass{0}; ///< as read then
    nanoseconds stopAt{-1}; ///< when its flag was cleared
};

/** What the slots of one worker have to hear next. */
struct Expected
{
    std::deque<int> commands;
    void *halfOfPair = nullptr;
    std::optional<int> reply;
};

/** A host, many simulated devices and the whole OSD channel. */
class OsdWorld
{
public:
    OsdWorld(std::uint64_t seed, const ScenarioClass &options, Coverage &coverage)
        : m_options(options)
        , m_coverage(coverage)
        , m_random(seed * 2654435761U + 2U)
        , m_chooser(seed)
        , m_scheduler(m_chooser)
        , m_expected(static_cast<std::size_t>(options.workers))
    {
        m_scheduler.watch(biz_Osd_CMDSWork::HexCmdlock.native_handle());
        m_scheduler.watch(biz_Osd_CMDSWork::receiveHexCmdlock.native_handle());
        m_scheduler.onPoint([this] { checkState(); });
    }

    void run();

private:
    void host();
    void makeDevices();
    void makeWorkers();
    void startLoops();
    void startLoop(Role role, int worker, const std::function<void()> &body);
    void act();
    void enqueueBurst(int most);
    void setFlag(const QString &ip, bool value);
    void clear();
    void pause(int fromMs, int toMs);
    void deliverDueReplies();
    void handOver(model_OsdParam reply);
    void drain();
    bool isDrained() const;
    void stop();
    void stopLoop(Loop &own);
    void awaitTimeoutPass();
    void call(std::vector<Effect> effects, const Effect &function);
    QString anyIp();

    void onSend(int worker, void *pointer);
    void onSendUipro(int worker, void *pointer);
    void onReceived(int worker, void *pointer);
    void answer(const model_OsdParam &command);
    void lie(const model_OsdParam &command);

    bool require(bool holds, const std::string &what);
    seconds wallSecond() const { return std::chrono::floor<seconds>(m_scheduler.wallClock()); }
    Loop *loopOf(int task);
    Loop &loop(Role role, int worker);
    void checkState();
    void checkTime();
    void noteClock(int task);
    void checkNobodyWaitsTooLong();
    void sectionEnded(int task);
    void passEnded(Loop &loop);
    void compare();
    void compareSlot(int index);
    void checkAfterwards();
    void checkFates();

    Expected &expectedOf(int worker) { return m_expected.at(static_cast<std::size_t>(worker)); }
    bool isPlain() const { return m_options.workers == 1 && !m_options.clears && !m_options.clockJumps; }

    const ScenarioClass &m_options;
    Coverage &m_coverage;
    Random m_random;
    RandomChooser m_chooser;
    Scheduler m_scheduler;

    std::vector<std::unique_ptr<biz_Osd_CMDSWork>> m_workers;
    std::deque<Loop> m_loops;
    std::map<QString, Device> m_devices;
    std::vector<model_OsdParam> m_commands;   ///< by nTag
    std::vector<model_OsdParam> m_handedOver; ///< by nTag, too
    std::vector<int> m_sent;
    std::vector<int> m_announced;
    std::priority_queue<DueReply> m_due;

    OsdModel m_model;
    std::vector<Expected> m_expected; ///< by worker
    /** By task: what its present call does, one for each holding of a lock. */
    std::map<int, std::deque<Effect>> m_effects;
    std::map<int, bool> m_holdsLock; ///< by task, when it was last looked at

    nanoseconds m_checkedAt{-1};
    int m_clears = 0;
    bool m_isQuiet = false; ///< the host does nothing more of its own accord
};

/** False: whoever asked had better not build on it. */
bool OsdWorld::require(bool holds, const std::string &what)
{
    if (!holds) {
        m_scheduler.violate(what);
    }
    return holds;
}

// --- The host's script ------------------------------------------------------------------

void OsdWorld::run()
{
    resetChannel();
    m_scheduler.run([this] { host(); });
    checkAfterwards();
    m_scheduler.throwViolation();
    m_coverage.commands += m_commands.size();
    m_coverage.replies += m_handedOver.size();
    m_coverage.points += m_scheduler.points();
    m_coverage.fingerprint = m_scheduler.fingerprint();
    m_coverage.clears += static_cast<std::uint64_t>(m_clears);
    m_coverage.virtualMs +=
        static_cast<std::uint64_t>(std::chrono::duration_cast<milliseconds>(m_scheduler.now()).count());
    m_workers.clear();
    resetChannel();
}

void OsdWorld::host()
{
    makeDevices();
    makeWorkers();
    if (m_random.chance(20)) {
        enqueueBurst(4); // nobody listens yet
    }
    startLoops();
    for (int actions = m_random.between(5, 20); actions > 0 && !m_scheduler.hasViolation(); --actions) {
        act();
        for (int pauses = m_random.between(0, 4); pauses >= 0; --pauses) {
            pause(1, 40);
        }
    }
    if (m_random.chance(75)) {
        drain();
    }
    stop();
}

void OsdWorld::makeDevices()
{
    const int count = m_random.between(1, 8);
    for (int i = 0; i < count; ++i) {
        Device device;
        device.ip = QStringLiteral("10.0.0.%1").arg(i + 1);
        device.habit = static_cast<Habit>(m_random.below(habitCount));
        m_devices[device.ip] = device;
    }
}

void OsdWorld::makeWorkers()
{
    for (int i = 0; i < m_options.workers; ++i) {
        m_workers.push_back(std::make_unique<biz_Osd_CMDSWork>());
        biz_Osd_CMDSWork *const worker = m_workers.back().get();
        QObject::connect(
            worker, &biz_Osd_CMDSWork::signalSendMessage, worker, [this, i](void *record) { onSend(i, record); },
            Qt::DirectConnection);
        QObject::connect(
            worker, &biz_Osd_CMDSWork::signalSendMessageUipro, worker,
            [this, i](void *record) { onSendUipro(i, record); }, Qt::DirectConnection);
        QObject::connect(
            worker, &biz_Osd_CMDSWork::signalSendReceiveMessage, worker,
            [this, i](void *record) { onReceived(i, record); }, Qt::DirectConnection);
        m_loops.push_back({Role::Send, i, "a send loop", sendPass});
        m_loops.push_back({Role::Timeout, i, "a time-out loop", timeoutPass});
        m_loops.push_back({Role::Receive, i, "a receive loop", receivePass});
    }
}

/** Not all at the same instant, so that their passes fall together in other ways for each seed. */
void OsdWorld::startLoops()
{
    for (int i = 0; i < m_options.workers; ++i) {
        biz_Osd_CMDSWork *const own = m_workers.at(static_cast<std::size_t>(i)).get();
        pause(0, 3);
        startLoop(Role::Send, i, [own] { own->a1_GetQueueWork(); });
        pause(0, 3);
        startLoop(Role::Receive, i, [own] { own->a1_receiveGetQueueWork(); });
    }
}

void OsdWorld::startLoop(Role role, int worker, const std::function<void()> &body)
{
    Loop *const own = &loop(role, worker);
    Loop *const timeout = role == Role::Send ? &loop(Role::Timeout, worker) : nullptr;
    m_scheduler.start(own->name, [this, own, timeout, body] {
        own->task = Scheduler::currentTask();
        own->lastPass = m_scheduler.now();
        own->isDue = true;
        if (timeout != nullptr) {
            timeout->lastPass = m_scheduler.now();
            timeout->isDue = true;
        }
        body();
    });
}

void OsdWorld::act()
{
    if (m_random.chance(15)) {
        awaitTimeoutPass();
    }
    const int dice = m_random.below(100);
    if (dice < 65) {
        enqueueBurst(8);
    } else if (dice < 75) {
        const QString ip = anyIp();
        setFlag(ip, m_random.chance(40));
    } else if (dice < 85 && m_options.clears) {
        clear();
    } else if (m_options.clockJumps) {
        if (m_random.chance(50)) {
            awaitTimeoutPass();
        }
        m_scheduler.setWallClock(startOfWallClock + seconds(m_random.between(-furthestJump, furthestJump)));
    }
}

/** So that the act comes at the same instant as a pass that is rare, before, within or behind it. */
void OsdWorld::awaitTimeoutPass()
{
    const Loop &timeout = loop(Role::Timeout, 0);
    if (timeout.isDue && timeout.lastPass + timeout.period > m_scheduler.now()) {
        m_scheduler.sleep(timeout.lastPass + timeout.period - m_scheduler.now());
    }
}

void OsdWorld::enqueueBurst(int most)
{
    for (int i = m_random.between(1, most); i > 0; --i) {
        auto device = m_devices.begin();
        std::advance(device, m_random.below(static_cast<int>(m_devices.size())));
        const int number = static_cast<int>(m_commands.size());
        model_OsdParam command;
        command.ucOsdHead[0] = static_cast<unsigned char>(number);
        command.ucOsdHead[10] = 0xAA;
        command.qsIp = device->first;
        command.ucOsdFlag = static_cast<quint8>(number % 3);
        command.iWaitTime = waits.at(static_cast<std::size_t>(m_random.below(static_cast<int>(waits.size()))));
        command.qsOsdText = QStringLiteral("text");
        command.nTag = static_cast<quint32>(number);
        command.baData = QByteArray(8, static_cast<char>('a' + number % 26));
        m_commands.push_back(command);
        m_sent.push_back(0);
        const Waiting waiting{number, command.iWaitTime};
        call({[this, command, waiting] {
                 m_model.enqueue(command.qsIp, waiting);
             }},
             [&command] { biz_Osd_CMDSWork::addToSendQueue(command); });
    }
}

/** A host may hold a device back, and let it go, whatever the device has been sent. */
void OsdWorld::setFlag(const QString &ip, bool value)
{
    const auto effect = [this, ip, value] {
        m_model.setFlag(ip, value);
        const auto device = m_devices.find(ip);
        if (device != m_devices.end() && !value) {
            device->second.heldAt = m_scheduler.now();
        }
    };
    call({effect}, [&ip, value] { biz_Osd_CMDSWork::setRetFlag(ip, value); });
}

void OsdWorld::clear()
{
    ++m_clears;
    const int worker = m_random.below(m_options.workers);
    call({[this, worker] {
             m_model.clear(worker);
         }},
         [this, worker] { m_workers.at(static_cast<std::size_t>(worker))->clearQueue(); });
    if (m_random.chance(40)) {
        // Known again and held before it is sent to: what was sent before the clear must not count.
        enqueueBurst(3);
        const std::vector<Slot> known = m_model.slots();
        for (const Slot &slot : known) {
            setFlag(slot.ip, false);
        }
    }
}

/** The device that was made first, any of them, or one that nobody has ever sent to. */
QString OsdWorld::anyIp()
{
    static const std::array<QString, 4> strangers{QStringLiteral("10.9.9.9"), QStringLiteral("10.0.0.1 "), QString(),
                                                  QStringLiteral("10.0.0.01")};
    if (m_random.chance(30)) {
        return strangers.at(static_cast<std::size_t>(m_random.below(static_cast<int>(strangers.size()))));
    }
    auto device = m_devices.begin();
    std::advance(device, m_random.below(static_cast<int>(m_devices.size())));
    return device->first;
}

void OsdWorld::pause(int fromMs, int toMs)
{
    m_scheduler.sleep(milliseconds(m_random.between(fromMs, toMs)));
    deliverDueReplies();
}

void OsdWorld::deliverDueReplies()
{
    while (!m_due.empty() && m_due.top().at <= m_scheduler.now()) {
        const model_OsdParam reply = m_due.top().record;
        m_due.pop();
        handOver(reply);
    }
}

/** The reply's number stands in its tag, so no two are alike. */
void OsdWorld::handOver(model_OsdParam reply)
{
    const int number = static_cast<int>(m_handedOver.size());
    reply.nTag = static_cast<quint32>(number);
    m_handedOver.push_back(reply);
    m_announced.push_back(0);
    const QString ip = reply.qsIp;
    call({[this, ip] { m_model.setFlag(ip, true); },
          [this, number] {
              m_model.handOver(number);
          }},
         [&reply] { biz_Osd_CMDSWork::addToReceiveQueue(reply); });
}

/**
 * Calls the library. Each of `effects` is what one holding of a lock has to do to the
 * channel, in the order in which the call takes the locks.
 */
void OsdWorld::call(std::vector<Effect> effects, const Effect &function)
{
    std::deque<Effect> &own = m_effects[Scheduler::currentTask()];
    own.assign(effects.begin(), effects.end());
    function();
    require(own.empty(), "a call does not take the locks that it has to");
    own.clear();
}

/**
 * Once the host has become quiet, everything that waits has to leave. Long queues to silent
 * devices would take minutes, so then the devices have become prompt; what is in flight
 * needs its time-out even so.
 */
void OsdWorld::drain()
{
    constexpr std::size_t patience = 2; // commands

    m_isQuiet = true;
    if (m_options.clockJumps) {
        // Deliberate: a clock that was set back keeps devices waiting for the old deadline.
        // All deadlines there are have passed on this clock.
        const auto sinceStart = std::chrono::ceil<seconds>(m_scheduler.now());
        m_scheduler.setWallClock(startOfWallClock + seconds(furthestJump) + sinceStart + longestWait);
    }
    const std::size_t longest = m_model.longestQueue();
    for (auto &entry : m_devices) {
        entry.second.habit = longest > patience ? Habit::Prompt : entry.second.habit;
    }
    constexpr milliseconds lastReply = longestWait + milliseconds(800);
    const milliseconds perCommand = longestWait + milliseconds(millisecondsPerSecond) + timeoutPass + sendPass;
    const nanoseconds bound = m_scheduler.now() + perCommand * (longest + 1) + lastReply +
                              receivePass * (m_handedOver.size() + 2 * m_commands.size());
    while (!isDrained() && m_scheduler.now() <= bound && !m_scheduler.hasViolation()) {
        pause(5, 20);
    }
    require(isDrained(), "commands, replies or held devices are left though the host was quiet for long enough");
}

/** By the channel's own tables: nothing waits, and nobody is waited for. */
bool OsdWorld::isDrained() const
{
    const auto &queues = biz_Osd_CMDSWork::queueHexCmd;
    const auto &flags = biz_Osd_CMDSWork::m_bRetFlag;
    return m_due.empty() && biz_Osd_CMDSWork::receivequeueHexCmd.empty() &&
           std::all_of(queues.cbegin(), queues.cend(), [](const auto &queue) { return queue.empty(); }) &&
           std::all_of(flags.cbegin(), flags.cend(), [](bool isFree) { return isFree; });
}

/** Each worker's two flags, in any order: what one of them stops must not stop the others. */
void OsdWorld::stop()
{
    m_isQuiet = true;
    std::deque<Loop *> running;
    for (Loop &own : m_loops) {
        if (own.role != Role::Timeout) {
            running.push_back(&own);
        }
    }
    while (!running.empty()) {
        const auto next = running.begin() + m_random.below(static_cast<int>(running.size()));
        stopLoop(**next);
        running.erase(next);
        if (m_random.chance(10)) {
            pause(500, 600);
        } else if (m_random.chance(50)) {
            pause(0, 10);
        }
    }
}

void OsdWorld::stopLoop(Loop &own)
{
    biz_Osd_CMDSWork &worker = *m_workers.at(static_cast<std::size_t>(own.worker));
    own.stopAt = m_scheduler.now();
    if (own.role == Role::Send) {
        worker.m_bSendRun = false;
        loop(Role::Timeout, own.worker).stopAt = m_scheduler.now();
    } else {
        worker.m_bRecvRun = false;
    }
}

// --- The loops' slots ---------------------------------------------------------------------

void OsdWorld::onSend(int worker, void *pointer)
{
    Expected &expected = expectedOf(worker);
    if (!require(Scheduler::locksHeld() == 0, "signalSendMessage leaves with a lock held") ||
        !require(expected.halfOfPair == nullptr, "signalSendMessage comes twice without its partner") ||
        !require(!expected.commands.empty(), "signalSendMessage comes for a command that this pass did not take")) {
        return;
    }
    const model_OsdParam &command = *static_cast<model_OsdParam *>(pointer);
    const int number = expected.commands.front();
    const model_OsdParam &enqueued = m_commands.at(static_cast<std::size_t>(number));
    if (!require(areSame(command, enqueued), "a command is not dispatched in its turn, or not as it was enqueued")) {
        return;
    }
    m_scheduler.trace("signalSendMessage", number);
    ++m_sent.at(static_cast<std::size_t>(number));
    expected.halfOfPair = pointer;
    Device &device = m_devices.at(enqueued.qsIp);
    device.deadline = wallSecond() + seconds(enqueued.iWaitTime / millisecondsPerSecond);
    device.heldAt = m_scheduler.now();
}

void OsdWorld::onSendUipro(int worker, void *pointer)
{
    Expected &expected = expectedOf(worker);
    if (!require(Scheduler::locksHeld() == 0, "signalSendMessageUipro leaves with a lock held") ||
        !require(pointer != nullptr && expected.halfOfPair == pointer, "the pair of signals carries two records")) {
        return;
    }
    expected.halfOfPair = nullptr;
    const model_OsdParam command = *static_cast<model_OsdParam *>(pointer);
    const auto number = static_cast<std::size_t>(expected.commands.front());
    m_scheduler.trace("signalSendMessageUipro", expected.commands.front());
    expected.commands.pop_front();
    if (require(areSame(command, m_commands.at(number)), "a record has changed between the two signals")) {
        answer(command);
    }
}

void OsdWorld::onReceived(int worker, void *pointer)
{
    Expected &expected = expectedOf(worker);
    if (!require(Scheduler::locksHeld() == 0, "signalSendReceiveMessage leaves with a lock held") ||
        !require(expected.reply.has_value(), "a reply is announced that this pass did not take")) {
        return;
    }
    const auto number = static_cast<std::size_t>(*expected.reply);
    m_scheduler.trace("signalSendReceiveMessage", *expected.reply);
    expected.reply.reset();
    const model_OsdParam &reply = *static_cast<model_OsdParam *>(pointer);
    if (!require(areSame(reply, m_handedOver.at(number)), "a reply is announced out of turn, or not as it came")) {
        return;
    }
    ++m_announced.at(number);
    if (!m_isQuiet && m_random.chance(5)) {
        enqueueBurst(1);
    }
}

void OsdWorld::answer(const model_OsdParam &command)
{
    const auto reply = [this, &command](int delayMs) {
        m_due.push({m_scheduler.now() + milliseconds(delayMs), command});
    };
    switch (m_devices.at(command.qsIp).habit) {
    case Habit::Prompt:
        if (m_random.chance(10)) {
            handOver(command); // in the slot itself
        } else {
            reply(m_random.between(1, 20));
        }
        break;
    case Habit::Slow:
        reply(command.iWaitTime + m_random.between(-400, 800));
        break;
    case Habit::Repeating:
        reply(m_random.between(1, 20));
        reply(m_random.between(1, 60));
        break;
    case Habit::Lying:
        lie(command);
        break;
    case Habit::Silent:
        break;
    }
}

/** Another record than the one that was asked for, once or twice, and perhaps under another's name. */
void OsdWorld::lie(const model_OsdParam &command)
{
    for (int i = m_random.between(1, 2); i > 0; --i) {
        model_OsdParam reply;
        reply.qsIp = m_random.chance(30) ? command.qsIp : anyIp();
        reply.ucOsdFlag = 0xFF;
        reply.iWaitTime = -1;
        reply.baData = QByteArray(m_random.between(0, 3), 'x');
        m_due.push({m_scheduler.now() + milliseconds(m_random.between(1, 60)), reply});
    }
}

// --- What must hold -------------------------------------------------------------------------

Loop &OsdWorld::loop(Role role, int worker)
{
    return *std::find_if(m_loops.begin(), m_loops.end(),
                         [role, worker](const Loop &other) { return other.role == role && other.worker == worker; });
}

/** The loop that runs as this task. A time-out loop is known by the send loop that started it. */
Loop *OsdWorld::loopOf(int task)
{
    const auto byTask = [this](int wanted) {
        return std::find_if(m_loops.begin(), m_loops.end(),
                            [wanted](const Loop &other) { return other.task == wanted; });
    };
    const auto known = byTask(task);
    if (known != m_loops.end()) {
        return &*known;
    }
    const int starter = task == hostTask ? 0 : m_scheduler.starterOf(task);
    const auto sender = starter == 0 ? m_loops.end() : byTask(starter);
    if (sender == m_loops.end() || sender->role != Role::Send) {
        return nullptr;
    }
    Loop &timeout = loop(Role::Timeout, sender->worker);
    timeout.task = timeout.task == 0 ? task : timeout.task;
    return timeout.task == task ? &timeout : nullptr;
}

/** Runs at each point, so it looks at the tables only where something may have changed. */
void OsdWorld::checkState()
{
    const int task = Scheduler::currentTask();
    require(Scheduler::locksHeld() <= 1, "both locks of the channel are held");
    if (m_checkedAt != m_scheduler.now()) {
        m_checkedAt = m_scheduler.now();
        checkTime();
    }
    bool &holdsLock = m_holdsLock[task];
    if (m_scheduler.pointsSinceSleep(task) == 1) {
        noteClock(task);
    }
    const bool hasEnded = holdsLock && Scheduler::locksHeld() == 0;
    holdsLock = Scheduler::locksHeld() > 0;
    if (hasEnded) {
        sectionEnded(task);
    }
}

/**
 * The first point of a pass comes before its lock is taken, so the clock is what a loop has
 * read that reads it before. A loop that finds the lock held comes by here more than once.
 */
void OsdWorld::noteClock(int task)
{
    Loop *const own = loopOf(task);
    if (own != nullptr && own->woken != m_scheduler.now()) {
        own->woken = m_scheduler.now();
        own->clockOfPass = wallSecond();
    }
}

/** At the first point of each instant: no loop has left out a pass. */
void OsdWorld::checkTime()
{
    for (const Loop &own : m_loops) {
        const bool isRunning = own.isDue && own.stopAt < nanoseconds(0);
        require(!isRunning || m_scheduler.now() <= own.lastPass + own.period,
                std::string(own.name) + " has left out a pass");
    }
    if (isPlain() && loop(Role::Timeout, 0).stopAt < nanoseconds(0)) {
        checkNobodyWaitsTooLong();
    }
}

/**
 * Looks only at flags and signals: a device is free again with the first pass of the time-out
 * loop after the second in which its wait ends, or after it was held if that is later.
 */
void OsdWorld::checkNobodyWaitsTooLong()
{
    const auto &flags = biz_Osd_CMDSWork::m_bRetFlag;
    for (auto flag = flags.cbegin(); flag != flags.cend(); ++flag) {
        const auto device = m_devices.find(flag.key());
        if (flag.value() || device == m_devices.end()) {
            continue;
        }
        const nanoseconds deadline = device->second.deadline - startOfWallClock;
        const nanoseconds from = std::max(deadline, device->second.heldAt);
        require(m_scheduler.now() <= from + timeoutPass, "a device is given up too late");
    }
}

/** The lock has been left: what was done under it is what had to be done, and nothing else. */
void OsdWorld::sectionEnded(int task)
{
    std::deque<Effect> &effects = m_effects[task];
    if (!effects.empty()) {
        const Effect effect = effects.front();
        effects.pop_front();
        effect();
    } else if (Loop *const own = loopOf(task)) {
        passEnded(*own);
    } else {
        require(false, "a lock is taken that no call accounts for");
    }
    compare();
}

void OsdWorld::passEnded(Loop &loop)
{
    require(m_scheduler.now() == loop.lastPass + loop.period,
            std::string("a pass of ") + loop.name + " does not come at its time");
    loop.lastPass = m_scheduler.now();
    Expected &expected = expectedOf(loop.worker);
    switch (loop.role) {
    case Role::Send:
        require(expected.commands.empty(), "a send pass begins before the last one's commands are announced");
        // Read for each command, and nobody else has run since.
        expected.commands = m_model.take(loop.worker, wallSecond());
        break;
    case Role::Timeout:
        m_coverage.giveUps += static_cast<std::uint64_t>(m_model.giveUp(loop.worker, loop.clockOfPass));
        break;
    case Role::Receive:
        require(!expected.reply, "a receive pass begins before the last one's reply is announced");
        expected.reply = m_model.takeReply();
        break;
    }
}

void OsdWorld::compare()
{
    const int count = static_cast<int>(m_model.slots().size());
    if (!require(biz_Osd_CMDSWork::m_qsIp.size() == count && biz_Osd_CMDSWork::queueHexCmd.size() == count &&
                     biz_Osd_CMDSWork::m_bRetFlag.size() == count,
                 "the channel knows other devices than it was told of")) {
        return;
    }
    for (int i = 0; i < count; ++i) {
        compareSlot(i);
    }
    const auto &replies = biz_Osd_CMDSWork::receivequeueHexCmd;
    const std::deque<int> &expected = m_model.replies();
    require(replies.size() == expected.size() &&
                (replies.empty() || replies.back().nTag == static_cast<quint32>(expected.back())),
            "the queue of replies is not what it must be");
}

void OsdWorld::compareSlot(int index)
{
    const Slot &slot = m_model.slots()[static_cast<std::size_t>(index)];
    const auto flag = biz_Osd_CMDSWork::m_bRetFlag.constFind(slot.ip);
    if (!require(biz_Osd_CMDSWork::m_qsIp.at(index) == slot.ip && flag != biz_Osd_CMDSWork::m_bRetFlag.cend(),
                 "the channel's devices are not in the order in which they came")) {
        return;
    }
    require(*flag || !slot.isFree, "a device is not free though it must be");
    require(!*flag || slot.isFree, "a device is free though it must not be");
    const auto &queue = biz_Osd_CMDSWork::queueHexCmd.at(index);
    require(queue.size() == slot.waiting.size() &&
                (queue.empty() || queue.back().nTag == static_cast<quint32>(slot.waiting.back().number)),
            "a device's queue is not what it must be");
}

/** Also of the last pass of each loop, behind which no other has looked. */
void OsdWorld::checkAfterwards()
{
    for (const Loop &own : m_loops) {
        const std::string name(own.name);
        if (!require(own.task != 0, name + " has never had a pass")) {
            continue;
        }
        require(m_scheduler.endOf(own.task) == own.lastPass, name + " does not end with its pass");
        require(own.lastPass >= own.stopAt && own.lastPass <= own.stopAt + own.period, name + " does not end in time");
    }
    for (const Expected &expected : m_expected) {
        require(expected.commands.empty() && expected.halfOfPair == nullptr,
                "commands of the last pass are not announced");
        require(!expected.reply, "the reply of the last pass is not announced");
    }
    compare();
    checkFates();
}

/** By the records themselves: what left, what a clear discarded and what is left over. */
void OsdWorld::checkFates()
{
    std::vector<int> fates = m_sent;
    for (const int number : m_model.discarded()) {
        ++fates.at(static_cast<std::size_t>(number));
    }
    for (auto queue : biz_Osd_CMDSWork::queueHexCmd) {
        for (; !queue.empty(); queue.pop()) {
            const std::size_t number = queue.front().nTag;
            if (require(number < fates.size() && areSame(queue.front(), m_commands[number]),
                        "a queued command is not as it was enqueued")) {
                ++fates[number];
            }
        }
    }
    for (std::size_t i = 0; i < fates.size(); ++i) {
        require(fates[i] == 1, "command " + std::to_string(i) + (fates[i] == 0 ? " is lost" : " has two fates"));
    }
    std::vector<int> replies = m_announced;
    for (auto queue = biz_Osd_CMDSWork::receivequeueHexCmd; !queue.empty(); queue.pop()) {
        if (require(queue.front().nTag < replies.size(), "a queued reply was never handed over")) {
            ++replies[queue.front().nTag];
        }
    }
    require(std::all_of(replies.cbegin(), replies.cend(), [](int times) { return times == 1; }),
            "a reply is neither announced nor queued, or both");
}

} // namespace

void runOsdScenario(std::uint64_t seed, const ScenarioClass &options, Coverage &coverage)
{
    const auto before = qInstallMessageHandler(silenceMessages);
    OsdWorld world(seed, options, coverage);
    try {
        world.run();
    } catch (...) {
        qInstallMessageHandler(before);
        throw;
    }
    qInstallMessageHandler(before);
}

} // namespace biz::scenario
