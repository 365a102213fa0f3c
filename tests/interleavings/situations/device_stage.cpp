#include <interleavings/situations/device_stage.h>

#include <utility>

namespace biz::interleavings {

namespace {

using scenario::Scheduler;

constexpr int firstCount = 1;

DeviceStage *theStage = nullptr;

void resetChannel()
{
    biz_CMDSWork::queueHexCmd = {};
    biz_CMDSWork::receivequeueHexCmd = {};
    biz_CMDSWork::deviceType = -1; // every reply is accepted
    biz_CMDSWork::iSN = firstCount;
    biz_CMDSWork::bRetFlag = true;
    biz_CMDSWork::iTimeoutCount = 0;
    biz_CMDSWork::iWatchdogSleepCnt = 0;
    biz_CMDSWork::nSysPlan = 0;
}

int numberIn(void *record)
{
    return static_cast<int>(static_cast<model_Protocoldata *>(record)->nTag);
}

model_Protocoldata recordOf(int number, int waitMs)
{
    model_Protocoldata record;
    record.iWaitTime = waitMs;
    record.nTag = static_cast<quint32>(number);
    return record;
}

} // namespace

DeviceStage::DeviceStage(RecordingChooser &chooser, bool planted)
    : Stage(chooser, planted)
{
    resetChannel();
    theStage = this;
    scheduler().watch(biz_CMDSWork::HexCmdlock.native_handle());
    scheduler().watch(biz_CMDSWork::receiveHexCmdlock.native_handle());
    // What is read without a lock. The run flags change when the race is over.
    scheduler().watch(&biz_CMDSWork::queueHexCmd);
    scheduler().watch(&biz_CMDSWork::receivequeueHexCmd);
    scheduler().watch(&biz_CMDSWork::bRetFlag);
    scheduler().watch(&biz_CMDSWork::iSN);
    scheduler().watch(&biz_CMDSWork::iTimeoutCount);
}

DeviceStage::~DeviceStage()
{
    theStage = nullptr;
    resetChannel();
}

/** Give-ups open the gate; the library says so in its debug messages alone. */
void DeviceStage::noteMessage(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString &message)
{
    if (message == QLatin1String("Resend stop")) {
        theStage->m_inFlight.clear();
    }
}

Findings DeviceStage::play(HostsScript script, RecordingChooser &chooser, bool planted)
{
    const auto before = qInstallMessageHandler(noteMessage);
    DeviceStage stage(chooser, planted);
    Findings findings = stage.run([script, &stage] {
        script(stage);
        stage.finish();
    });
    qInstallMessageHandler(before);
    return findings;
}

// --- For the host's script --------------------------------------------------------------

biz_CMDSWork &DeviceStage::startWorker()
{
    m_workers.push_back(std::make_unique<biz_CMDSWork>());
    biz_CMDSWork &worker = *m_workers.back();
    worker.m_bSendRun = true;
    worker.m_bRecvRun = true;
    scheduler().watch(&worker.m_bSkipSendcmd);
    connect(worker);
    scheduler().start("send loop", [&worker] { worker.a1_GetQueueWork(); });
    return worker;
}

void DeviceStage::startReceiveLoop(biz_CMDSWork &worker)
{
    scheduler().start("receive loop", [&worker] { worker.a1_receiveGetQueueWork(); });
}

int DeviceStage::push(int waitMs)
{
    const int number = static_cast<int>(m_commands.size());
    m_commands.emplace_back();
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::queueHexCmd.push(recordOf(number, waitMs));
    return number;
}

void DeviceStage::deliverReply(int number)
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
    biz_CMDSWork::receivequeueHexCmd.push(recordOf(number, 0));
}

void DeviceStage::settle(int number)
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    if (m_inFlight.erase(number) != 0) {
        command(number).isSettled = true;
        command(number).settledAt = scheduler().now();
        // A clear has opened it already for what it has overtaken, and another command may have gone.
        biz_CMDSWork::bRetFlag = biz_CMDSWork::bRetFlag || number >= m_forgiven;
    }
}

void DeviceStage::openGate()
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::bRetFlag = true;
}

void DeviceStage::clear(biz_CMDSWork &worker)
{
    worker.clearQueue();
    noteCount();
    allowDiscards();
    m_forgiven = static_cast<int>(m_commands.size());
}

void DeviceStage::timeoutClear(biz_CMDSWork &worker)
{
    allowDiscards();
    worker.timeoutClearQueue();
}

void DeviceStage::startWatchdog(biz_CMDSWork &worker, int number, int sn)
{
    scheduler().start("watchdog", [this, &worker, number, sn] {
        m_watched[Scheduler::currentTask()] = number;
        worker.timeoutWatchdog(sn);
    });
}

std::optional<int> DeviceStage::inFlight() const
{
    return m_inFlight.empty() ? std::nullopt : std::optional(*m_inFlight.begin());
}

void DeviceStage::answerAll()
{
    constexpr int rounds = 6;
    constexpr milliseconds answerTime{15}; // behind the pass that follows the send

    for (int round = 0; round < rounds && !(m_inFlight.empty() && biz_CMDSWork::queueHexCmd.empty()); ++round) {
        sleep(answerTime);
        while (const auto number = inFlight()) {
            settle(*number);
        }
    }
}

void DeviceStage::finish()
{
    require(biz_CMDSWork::bRetFlag || !m_inFlight.empty(), finding::gateStaysShut);
    require(biz_CMDSWork::queueHexCmd.empty() || !biz_CMDSWork::bRetFlag, "commands wait at an open gate");
    for (int number = 0; number < static_cast<int>(m_commands.size()); ++number) {
        const bool hasFate = timesAnnounced(number) != 0 || number < m_mayBeDiscarded;
        require(hasFate || !biz_CMDSWork::queueHexCmd.empty(), finding::commandIsLost);
    }
    require(biz_CMDSWork::iSN == firstCount + m_takes + m_countedByHost, finding::counterIsWrong);
    for (const auto &worker : m_workers) {
        worker->m_bSendRun = false;
        worker->m_bRecvRun = false;
    }
}

// --- The loops' slots ---------------------------------------------------------------------

void DeviceStage::connect(biz_CMDSWork &worker)
{
    QObject::connect(
        &worker, &biz_CMDSWork::signalSendMessage, &worker,
        [this, &worker](void *record) {
            enterSlot();
            onSend(worker, numberIn(record));
        },
        Qt::DirectConnection);
    QObject::connect(
        &worker, &biz_CMDSWork::signalInitCore, &worker,
        [this, &worker] {
            enterSlot();
            onInitCore(numberIn(&worker.m_curSend));
        },
        Qt::DirectConnection);
    QObject::connect(
        &worker, &biz_CMDSWork::signalSendReceiveMessage, &worker,
        [this](void *record) {
            enterSlot();
            onAccepted(numberIn(record));
        },
        Qt::DirectConnection);
}

void DeviceStage::onSend(biz_CMDSWork &worker, int number)
{
    const int task = Scheduler::currentTask();
    if (std::exchange(m_resendFollows[task], false)) {
        const auto watched = m_watched.find(task);
        require(watched == m_watched.end() || watched->second == number, finding::watchdogResendsAnother);
        return;
    }
    ++m_takes;
    require(++command(number).announced == 1, finding::announcedTwice);
    require(m_inFlight.lower_bound(m_forgiven) == m_inFlight.end() || number < m_forgiven, finding::twoInFlight);
    m_inFlight.insert(number);
    if (onAnnounced) {
        onAnnounced(worker, number);
    }
}

/** A reply that comes in the same moment comes too late for the resend. */
void DeviceStage::onInitCore(int number)
{
    m_resendFollows[Scheduler::currentTask()] = true;
    const Command &resent = command(number);
    require(!resent.isSettled || resent.settledAt == scheduler().now(), finding::settledIsResent);
}

} // namespace biz::interleavings
