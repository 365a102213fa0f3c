#include <scenario/world.h>

#include <map>
#include <memory>
#include <queue>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <scenario/scheduler.h>

namespace biz::scenario {

namespace {

constexpr int millisecondsPerSecond = 1000;
constexpr int hostTask = 1; // the first one

enum class Habit { Prompt, Slow, Silent, Repeating };

struct Device
{
    QString ip;
    Habit habit = Habit::Prompt;
    int dispatched = -1; ///< nTag of the command in flight
    int waitMs = 0;
    nanoseconds dispatchedAt{0};
    int lastNumber = -1;
    bool isFree = true;        ///< answered or forgotten since its last dispatch
    int replies = 0;           ///< that the host has handed over
    int repliesBeforePass = 0; ///< when the present send pass began
};

struct DueReply
{
    nanoseconds at;
    model_OsdParam record;

    friend bool operator<(const DueReply &a, const DueReply &b) { return a.at > b.at; }
};

using Flags = QMap<QString, bool>;

void silenceMessages(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString & /*message*/) {}

void resetChannel()
{
    biz_Osd_CMDSWork::m_qsIp.clear();
    biz_Osd_CMDSWork::queueHexCmd.clear();
    biz_Osd_CMDSWork::m_bRetFlag.clear();
    biz_Osd_CMDSWork::receivequeueHexCmd = std::queue<model_OsdParam>();
}

/** A host, many simulated devices and the whole OSD channel. */
class OsdWorld
{
public:
    OsdWorld(std::uint64_t seed, const ScenarioClass &options, Coverage &coverage)
        : m_options(options)
        , m_coverage(coverage)
        , m_random(seed * 2654435761U + 2U)
        , m_scheduler(seed)
    {
        m_scheduler.watch(biz_Osd_CMDSWork::HexCmdlock.native_handle());
        m_scheduler.watch(biz_Osd_CMDSWork::receiveHexCmdlock.native_handle());
        m_scheduler.onPoint([this] { checkState(); });
    }

    void run();

private:
    void host();
    void makeDevices();
    void startLoops();
    void act();
    void enqueueBurst();
    void pause(int fromMs, int toMs);
    void deliverDueReplies();
    void handOver(const model_OsdParam &reply);
    static std::size_t waitingFor(const QString &ip);
    void stop();

    void onSend(int worker, void *pointer);
    void onSendUipro(void *pointer);
    void onReceived();
    void answer(const Device &device, const model_OsdParam &command);

    void require(bool holds, const std::string &what);
    void checkState();
    void beforeSendPass();
    void checkLastPass();
    void checkFreed(const Flags &before, const Flags &after);
    void checkAfterwards();

    Device &deviceOf(const QString &ip) { return m_devices.at(ip); }
    bool isPlain() const { return m_options.workers == 1 && !m_options.clears && !m_options.clockJumps; }

    const ScenarioClass &m_options;
    Coverage &m_coverage;
    Random m_random;
    Scheduler m_scheduler;

    std::vector<std::unique_ptr<biz_Osd_CMDSWork>> m_workers;
    std::vector<int> m_sendTasks;
    std::vector<int> m_receiveTasks;
    std::map<QString, Device> m_devices;
    std::vector<QByteArray> m_payloads; ///< by nTag
    std::vector<int> m_sent;            ///< by nTag
    std::vector<int> m_clearsAtEnqueue;
    std::priority_queue<DueReply> m_due;

    std::map<int, std::vector<QString>> m_expected; ///< by send task: who must be served in its pass
    std::map<int, std::vector<QString>> m_served;
    void *m_pairOf = nullptr;
    Flags m_flags;

    nanoseconds m_stopAt{0};
    int m_clears = 0;
    int m_replies = 0;
    int m_received = 0;
};

void OsdWorld::require(bool holds, const std::string &what)
{
    if (!holds) {
        m_scheduler.violate(what);
    }
}

// --- The host's script ------------------------------------------------------------------

void OsdWorld::run()
{
    resetChannel();
    m_scheduler.run([this] { host(); });
    checkAfterwards();
    m_scheduler.throwViolation();
    m_coverage.commands += m_payloads.size();
    m_coverage.replies += static_cast<std::uint64_t>(m_replies);
    m_coverage.points += m_scheduler.points();
    m_coverage.clears += static_cast<std::uint64_t>(m_clears);
    m_coverage.virtualMs +=
        static_cast<std::uint64_t>(std::chrono::duration_cast<milliseconds>(m_scheduler.now()).count());
    m_workers.clear();
    resetChannel();
}

void OsdWorld::host()
{
    makeDevices();
    startLoops();
    for (int actions = m_random.between(5, 20); actions > 0; --actions) {
        act();
        for (int pauses = m_random.between(0, 4); pauses >= 0; --pauses) {
            pause(1, 40);
        }
    }
    for (int i = 0; i < 100; ++i) {
        pause(5, 20);
    }
    stop();
}

void OsdWorld::makeDevices()
{
    const int count = m_random.between(1, 8);
    for (int i = 0; i < count; ++i) {
        Device device;
        device.ip = QStringLiteral("10.0.0.%1").arg(i + 1);
        device.habit = static_cast<Habit>(m_random.below(4));
        m_devices[device.ip] = device;
    }
}

void OsdWorld::startLoops()
{
    for (int i = 0; i < m_options.workers; ++i) {
        m_workers.push_back(std::make_unique<biz_Osd_CMDSWork>());
        biz_Osd_CMDSWork *const worker = m_workers.back().get();
        QObject::connect(
            worker, &biz_Osd_CMDSWork::signalSendMessage, worker, [this, i](void *record) { onSend(i, record); },
            Qt::DirectConnection);
        QObject::connect(
            worker, &biz_Osd_CMDSWork::signalSendMessageUipro, worker, [this](void *record) { onSendUipro(record); },
            Qt::DirectConnection);
        QObject::connect(
            worker, &biz_Osd_CMDSWork::signalSendReceiveMessage, worker, [this](void *) { onReceived(); },
            Qt::DirectConnection);
    }
    for (const auto &worker : m_workers) {
        biz_Osd_CMDSWork *const own = worker.get();
        m_sendTasks.push_back(m_scheduler.start("OSD send loop", [own] { own->a1_GetQueueWork(); }));
        m_receiveTasks.push_back(m_scheduler.start("OSD receive loop", [own] { own->a1_receiveGetQueueWork(); }));
    }
}

void OsdWorld::act()
{
    const int dice = m_random.below(100);
    if (dice < 75) {
        enqueueBurst();
    } else if (dice < 85 && m_options.clears) {
        ++m_clears;
        for (auto &entry : m_devices) {
            entry.second.isFree = true;
        }
        m_workers.front()->clearQueue();
    } else if (m_options.clockJumps) {
        m_scheduler.setWallClock(std::chrono::seconds(1704067200 + m_random.between(-100, 100)));
    }
}

void OsdWorld::enqueueBurst()
{
    for (int i = m_random.between(1, 8); i > 0; --i) {
        auto device = m_devices.begin();
        std::advance(device, m_random.below(static_cast<int>(m_devices.size())));
        model_OsdParam command;
        command.qsIp = device->first;
        command.iWaitTime = m_random.between(0, 2) * millisecondsPerSecond;
        command.nTag = static_cast<quint32>(m_payloads.size());
        command.baData = QByteArray(8, 'c');
        m_payloads.push_back(command.baData);
        m_sent.push_back(0);
        m_clearsAtEnqueue.push_back(m_clears);
        biz_Osd_CMDSWork::addToSendQueue(command);
    }
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

void OsdWorld::handOver(const model_OsdParam &reply)
{
    Device &device = deviceOf(reply.qsIp);
    ++m_replies;
    ++device.replies;
    device.isFree = true;
    const std::size_t waiting = waitingFor(device.ip);
    biz_Osd_CMDSWork::addToReceiveQueue(reply);
    // Unless the send loop has taken its next command already.
    const bool isKnown = biz_Osd_CMDSWork::m_bRetFlag.contains(device.ip);
    const bool isFree = biz_Osd_CMDSWork::m_bRetFlag.value(device.ip);
    require(!isKnown || isFree || waitingFor(device.ip) < waiting, "a reply does not free its device");
    if (isFree) {
        // Also when a pass that began after the first lines has taken a command before the reply was let in.
        ++device.replies;
        device.isFree = true;
    }
}

std::size_t OsdWorld::waitingFor(const QString &ip)
{
    const int slot = biz_Osd_CMDSWork::m_qsIp.indexOf(ip);
    return slot < 0 ? 0 : biz_Osd_CMDSWork::queueHexCmd.at(slot).size();
}

void OsdWorld::stop()
{
    m_stopAt = m_scheduler.now();
    for (const auto &worker : m_workers) {
        worker->m_bSendRun = false;
        worker->m_bRecvRun = false;
    }
}

// --- The loops' slots ---------------------------------------------------------------------

void OsdWorld::onSend(int worker, void *pointer)
{
    require(Scheduler::locksHeld() == 0, "signalSendMessage leaves with a lock held");
    require(m_pairOf == nullptr || m_options.workers > 1, "signalSendMessage comes twice without its partner");
    m_pairOf = pointer;
    const model_OsdParam command = *static_cast<model_OsdParam *>(pointer);
    require(command.nTag < m_sent.size() && m_sent.at(command.nTag)++ == 0, "a command is dispatched twice");
    m_served[m_sendTasks.at(static_cast<std::size_t>(worker))].push_back(command.qsIp);

    Device &device = deviceOf(command.qsIp);
    const int number = static_cast<int>(command.nTag);
    if (m_options.workers == 1) {
        require(number > device.lastNumber, "a device's commands are dispatched out of order");
    }
    if (isPlain()) {
        const nanoseconds soonestGiveUp = device.dispatchedAt + milliseconds(device.waitMs - millisecondsPerSecond);
        require(device.isFree || m_scheduler.now() > soonestGiveUp, "a device has two commands in flight");
    }
    device.isFree = device.replies > device.repliesBeforePass;
    device.lastNumber = number;
    device.dispatched = number;
    device.waitMs = command.iWaitTime;
    device.dispatchedAt = m_scheduler.now();
    answer(device, command);
}

void OsdWorld::onSendUipro(void *pointer)
{
    require(Scheduler::locksHeld() == 0, "signalSendMessageUipro leaves with a lock held");
    require(m_pairOf == pointer || m_options.workers > 1, "the pair of signals carries two records");
    m_pairOf = nullptr;
}

void OsdWorld::onReceived()
{
    require(Scheduler::locksHeld() == 0, "signalSendReceiveMessage leaves with a lock held");
    ++m_received;
}

void OsdWorld::answer(const Device &device, const model_OsdParam &command)
{
    const auto reply = [this, &command](int delayMs) {
        m_due.push({m_scheduler.now() + milliseconds(delayMs), command});
    };
    switch (device.habit) {
    case Habit::Prompt:
        reply(m_random.between(1, 20));
        break;
    case Habit::Slow:
        reply(command.iWaitTime + m_random.between(-400, 800));
        break;
    case Habit::Repeating:
        reply(m_random.between(1, 20));
        reply(m_random.between(1, 60));
        break;
    case Habit::Silent:
        break;
    }
}

// --- What must hold -------------------------------------------------------------------------

void OsdWorld::checkState()
{
    require(Scheduler::locksHeld() <= 1, "both locks of the channel are held");
    checkFreed(m_flags, biz_Osd_CMDSWork::m_bRetFlag);
    m_flags = biz_Osd_CMDSWork::m_bRetFlag;
    const bool isSendTask =
        std::find(m_sendTasks.begin(), m_sendTasks.end(), Scheduler::currentTask()) != m_sendTasks.end();
    if (isSendTask && Scheduler::locksHeld() == 1) {
        beforeSendPass();
    }
}

/** The lock is held and nothing has been taken yet: who is free and has a command is served. */
void OsdWorld::beforeSendPass()
{
    checkLastPass();
    std::vector<QString> &expected = m_expected[Scheduler::currentTask()];
    expected.clear();
    for (auto &entry : m_devices) {
        entry.second.repliesBeforePass = entry.second.replies;
    }
    const auto &devices = biz_Osd_CMDSWork::m_qsIp;
    for (int slot = 0; slot < devices.size(); ++slot) {
        const bool isFree = biz_Osd_CMDSWork::m_bRetFlag.value(devices.at(slot), false);
        if (isFree && !biz_Osd_CMDSWork::queueHexCmd.at(slot).empty()) {
            expected.push_back(devices.at(slot));
        }
    }
}

/** Nobody else is served, nobody waits for a silent device, and the order is that of the slots. */
void OsdWorld::checkLastPass()
{
    const int task = Scheduler::currentTask();
    require(m_served[task] == m_expected[task], "a pass does not serve exactly the free devices with commands");
    m_served[task].clear();
}

/**
 * A device that the time-out loop frees has waited for as long as its command says, to the
 * clock's second. Whoever reaches the first point after the change has made it.
 */
void OsdWorld::checkFreed(const Flags &before, const Flags &after)
{
    constexpr milliseconds tooEarlyBy{1000};
    constexpr milliseconds tooLateBy{500};

    if (!isPlain() || Scheduler::currentTask() == hostTask) {
        return;
    }
    for (auto &entry : m_devices) {
        Device &device = entry.second;
        const bool freed = !before.value(device.ip, true) && after.value(device.ip, true);
        if (freed) {
            const nanoseconds waited = m_scheduler.now() - device.dispatchedAt;
            const milliseconds wait(device.waitMs);
            require(waited > wait - tooEarlyBy, "a device is given up too early");
            require(waited <= wait + tooLateBy, "a device is given up too late");
            ++m_coverage.giveUps;
        }
    }
}

void OsdWorld::checkAfterwards()
{
    constexpr milliseconds sendPass{3};
    constexpr milliseconds receivePass{5};
    constexpr milliseconds timeoutPass{500};

    for (const int task : m_sendTasks) {
        require(m_scheduler.endOf(task) <= m_stopAt + sendPass, "a send loop does not end in time");
    }
    for (const int task : m_receiveTasks) {
        require(m_scheduler.endOf(task) <= m_stopAt + receivePass, "a receive loop does not end in time");
    }
    require(m_scheduler.now() <= m_stopAt + timeoutPass, "a time-out thread does not end in time");

    std::vector<int> queued(m_payloads.size(), 0);
    for (auto queue : biz_Osd_CMDSWork::queueHexCmd) {
        for (; !queue.empty(); queue.pop()) {
            ++queued.at(queue.front().nTag);
        }
    }
    for (std::size_t i = 0; i < m_payloads.size(); ++i) {
        const int fates = m_sent[i] + queued[i];
        require(fates <= 1, "command " + std::to_string(i) + " has two fates");
        require(fates == 1 || m_clears > m_clearsAtEnqueue[i], "command " + std::to_string(i) + " is lost");
    }
    const int left = static_cast<int>(biz_Osd_CMDSWork::receivequeueHexCmd.size());
    require(m_replies == m_received + left, "a reply is neither announced nor queued");
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
