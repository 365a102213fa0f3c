#include <interleavings/situations/osd_stage.h>

#include <algorithm>

namespace biz::interleavings {

namespace {

constexpr int millisecondsPerSecond = 1000;

void silenceMessages(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString & /*message*/) {}

void resetChannel()
{
    biz_Osd_CMDSWork::m_qsIp.clear();
    biz_Osd_CMDSWork::queueHexCmd.clear();
    biz_Osd_CMDSWork::m_bRetFlag.clear();
    biz_Osd_CMDSWork::receivequeueHexCmd = {};
}

int numberIn(void *record)
{
    return static_cast<int>(static_cast<model_OsdParam *>(record)->nTag);
}

} // namespace

OsdStage::OsdStage(RecordingChooser &chooser, bool planted)
    : Stage(chooser, planted)
{
    resetChannel();
    scheduler().watch(biz_Osd_CMDSWork::HexCmdlock.native_handle());
    scheduler().watch(biz_Osd_CMDSWork::receiveHexCmdlock.native_handle());
}

OsdStage::~OsdStage()
{
    resetChannel();
}

Findings OsdStage::play(HostsScript script, RecordingChooser &chooser, bool planted)
{
    const auto before = qInstallMessageHandler(silenceMessages);
    OsdStage stage(chooser, planted);
    Findings findings = stage.run([script, &stage] {
        script(stage);
        stage.finish();
    });
    qInstallMessageHandler(before);
    return findings;
}

// --- For the host's script --------------------------------------------------------------

biz_Osd_CMDSWork &OsdStage::startWorker()
{
    m_workers.push_back(std::make_unique<biz_Osd_CMDSWork>());
    biz_Osd_CMDSWork &worker = *m_workers.back();
    connect(worker);
    beside("send loop", [&worker] { worker.a1_GetQueueWork(); });
    return worker;
}

void OsdStage::startReceiveLoop(biz_Osd_CMDSWork &worker)
{
    m_hasReceiveLoop = true;
    beside("receive loop", [&worker] { worker.a1_receiveGetQueueWork(); });
}

void OsdStage::startTimeoutLoop()
{
    m_workers.push_back(std::make_unique<biz_Osd_CMDSWork>());
    biz_Osd_CMDSWork &worker = *m_workers.back();
    beside("time-out loop", [&worker] { worker.a1_TimeOutWork(); });
}

int OsdStage::push(const QString &ip, int waitMs)
{
    const int number = static_cast<int>(m_commands.size());
    Command command;
    command.ip = ip;
    command.waitMs = waitMs;
    m_commands.push_back(command);
    model_OsdParam record;
    record.qsIp = ip;
    record.iWaitTime = waitMs;
    record.nTag = static_cast<quint32>(number);
    biz_Osd_CMDSWork::addToSendQueue(record);
    return number;
}

void OsdStage::reply(int number)
{
    const auto device = m_inFlight.find(command(number).ip);
    if (device != m_inFlight.end() && device->second == number) {
        m_inFlight.erase(device);
    }
    ++command(number).replies;
    command(number).isAnswered = command(number).announced != 0;
    model_OsdParam record;
    record.qsIp = command(number).ip;
    record.nTag = static_cast<quint32>(number);
    biz_Osd_CMDSWork::addToReceiveQueue(record);
}

void OsdStage::clear(biz_Osd_CMDSWork &worker)
{
    worker.clearQueue();
    m_mayBeDiscarded = static_cast<int>(m_commands.size());
    m_inFlight.clear();
}

bool OsdStage::isTimedOut(const Command &command) const
{
    return wallSecond() >= command.sentAt + std::chrono::seconds(command.waitMs / millisecondsPerSecond);
}

bool OsdStage::isOverdue(int number) const
{
    const Command &asked = m_commands.at(static_cast<std::size_t>(number));
    const auto device = m_inFlight.find(asked.ip);
    return device != m_inFlight.end() && device->second == number && isTimedOut(asked);
}

bool OsdStage::isAllTaken() const
{
    const auto &queues = biz_Osd_CMDSWork::queueHexCmd;
    return std::all_of(queues.begin(), queues.end(), [](const auto &queue) { return queue.empty(); });
}

void OsdStage::answerAll()
{
    constexpr int rounds = 5;
    constexpr milliseconds answerTime{7}; // two passes and more

    bool isQuiet = false;
    for (int round = 0; round < rounds && !isQuiet; ++round) {
        sleep(answerTime);
        isQuiet = isAllTaken();
        for (int number = 0; number < static_cast<int>(m_commands.size()); ++number) {
            if (command(number).announced != 0 && !command(number).isAnswered) {
                reply(number);
                isQuiet = false;
            }
        }
    }
}

void OsdStage::finish()
{
    if (m_hasReceiveLoop) {
        sleep(static_cast<int>(m_commands.size()) * osdReceivePass + osdReceivePass);
    }
    for (int number = 0; number < static_cast<int>(m_commands.size()); ++number) {
        const Command &own = command(number);
        require(own.announced == 1 || (own.announced == 0 && number < m_mayBeDiscarded),
                "a command is neither announced once nor discarded");
        require(own.shown == own.announced, "the pair of signals is torn");
        require(!m_hasReceiveLoop || own.repliesAnnounced == own.replies, "a reply is not announced once");
    }
    for (const auto &worker : m_workers) {
        worker->m_bSendRun = false;
        worker->m_bRecvRun = false;
    }
}

// --- The loops' slots ---------------------------------------------------------------------

void OsdStage::connect(biz_Osd_CMDSWork &worker)
{
    QObject::connect(
        &worker, &biz_Osd_CMDSWork::signalSendMessage, &worker,
        [this](void *record) {
            enterSlot();
            onSend(numberIn(record));
        },
        Qt::DirectConnection);
    QObject::connect(
        &worker, &biz_Osd_CMDSWork::signalSendMessageUipro, &worker,
        [this](void *record) { ++command(numberIn(record)).shown; }, Qt::DirectConnection);
    QObject::connect(
        &worker, &biz_Osd_CMDSWork::signalSendReceiveMessage, &worker,
        [this](void *record) {
            enterSlot();
            ++command(numberIn(record)).repliesAnnounced;
        },
        Qt::DirectConnection);
}

void OsdStage::onSend(int number)
{
    Command &own = command(number);
    ++own.announced;
    own.sentAt = wallSecond();
    // What a clear has forgotten is in flight no more, even where it is announced behind it.
    if (number >= m_mayBeDiscarded) {
        const auto device = m_inFlight.find(own.ip);
        require(device == m_inFlight.end() || isTimedOut(command(device->second)), finding::twoToOneDevice);
        m_inFlight[own.ip] = number;
    }
    if (onAnnounced) {
        onAnnounced(number);
    }
}

} // namespace biz::interleavings
