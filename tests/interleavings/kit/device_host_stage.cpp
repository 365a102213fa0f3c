#include <interleavings/kit/device_host_stage.h>

#include <device/channel/device_channel_p.h>
#include <device/channel/device_loops_p.h>

namespace biz::interleavings {

using host::CommandResult;
using host::DeviceHost;
using host::Ticket;

namespace {

void resetChannel()
{
    host::device_channel::reset();
    biz_CMDSWork::iSN = 1;
    biz_CMDSWork::iTimeoutCount = 0;
    biz_CMDSWork::iWatchdogSleepCnt = 0;
}

} // namespace

DeviceHostStage::DeviceHostStage(RecordingChooser &chooser, bool planted)
    : HostStage(chooser, planted)
{
    worker(); // made in the first run, and kept: that run is to be like the others
    resetChannel();
    scheduler().watch(biz_CMDSWork::HexCmdlock.native_handle());
    scheduler().watch(biz_CMDSWork::receiveHexCmdlock.native_handle());
    scheduler().watch(&biz_CMDSWork::queueHexCmd);
    scheduler().watch(&biz_CMDSWork::receivequeueHexCmd);
    scheduler().watch(&biz_CMDSWork::bRetFlag);
    scheduler().watch(&biz_CMDSWork::iSN);
    scheduler().watch(&worker().m_bSendRun);
}

DeviceHostStage::~DeviceHostStage()
{
    resetChannel();
}

Findings DeviceHostStage::play(Script script, RecordingChooser &chooser, bool planted)
{
    const auto before = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    DeviceHostStage stage(chooser, planted);
    Findings findings = stage.run([script, &stage] {
        stage.openEventLoop();
        script(stage);
        stage.finish();
        stage.closeEventLoop();
    });
    qInstallMessageHandler(before);
    return findings;
}

// --- For the script -----------------------------------------------------------------------

bool DeviceHostStage::start()
{
    constexpr int reconnectMs = 1;

    if (!m_host) {
        m_host = std::make_unique<DeviceHost>();
        auto link = std::make_unique<test::FakeLink>();
        m_link = link.get();
        m_link->onCommand = [this](const model_Protocoldata &command) {
            m_unanswered.push_back({command, scheduler().now()});
        };
        require(m_host->setLink(std::move(link)) && m_host->setReconnectInterval(reconnectMs),
                "the host refuses its link");
        connectHost();
    }
    m_host->setPipelined(!hasGate);
    const bool hasStarted = m_host->start();
    require(hasStarted, finding::doesNotStart);
    noteStart();
    turn(); // the link is up
    return hasStarted;
}

void DeviceHostStage::pipeline()
{
    hasGate = false;
}

Ticket DeviceHostStage::give(int waitMs)
{
    model_Protocoldata command = host::makeCommand(1, 1, nextPayload());
    command.iWaitTime = waitMs;
    const Ticket ticket = m_host->enqueue(command);
    noteGiven(ticket, m_link->name(), waitMs, command.baData);
    return ticket;
}

void DeviceHostStage::answerLast()
{
    if (!m_unanswered.empty()) {
        const model_Protocoldata reply = m_unanswered.back().command;
        m_unanswered.pop_back();
        m_link->reply(reply);
    }
}

void DeviceHostStage::answerWhatHasArrived()
{
    constexpr milliseconds answerTime{12}; // behind the pass that follows the send

    while (!m_unanswered.empty() && m_unanswered.front().at + answerTime <= scheduler().now()) {
        const model_Protocoldata reply = m_unanswered.front().command;
        m_unanswered.pop_front();
        m_link->reply(reply);
    }
}

void DeviceHostStage::finish()
{
    constexpr milliseconds untilTheChannelRests{30}; // what has ended meanwhile is let through

    playToTheEnd();
    for (const nanoseconds end = scheduler().now() + untilTheChannelRests; scheduler().now() < end;) {
        sleep(milliseconds(1));
        turn();
    }
    const bool isEmpty = biz_CMDSWork::queueHexCmd.empty() && biz_CMDSWork::receivequeueHexCmd.empty();
    require(isEmpty && biz_CMDSWork::bRetFlag && m_host->pending() == 0, finding::channelKeepsSomething);
    m_host.reset();
}

// --- The planted errors -------------------------------------------------------------------

biz_CMDSWork &DeviceHostStage::worker()
{
    return host::DeviceLoops::instance().worker();
}

void DeviceHostStage::openGate()
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::bRetFlag = true;
}

void DeviceHostStage::takeFromQueue()
{
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    if (!biz_CMDSWork::queueHexCmd.empty()) {
        biz_CMDSWork::queueHexCmd.pop();
    }
}

void DeviceHostStage::pushToQueue()
{
    model_Protocoldata command;
    command.iWaitTime = longWaitOfHostMs;
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::queueHexCmd.push(command);
}

// --- What the host tells ------------------------------------------------------------------

void DeviceHostStage::connectHost()
{
    QObject::connect(m_host.get(), &DeviceHost::sent, m_link,
                     [this](Ticket ticket, int attempt, const model_Protocoldata &) { noteSent(ticket, attempt); });
    QObject::connect(m_host.get(), &DeviceHost::ended, m_link, [this](Ticket ticket, const CommandResult &result) {
        noteEnd(ticket, result.outcome, result.reply.baData);
    });
}

} // namespace biz::interleavings
