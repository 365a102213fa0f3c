#include <interleavings/kit/osd_host_stage.h>

#include <utility>

#include <QtNetwork/QHostAddress>

#include <osd/channel/osd_loops_p.h>

namespace biz::interleavings {

using host::OsdCommandResult;
using host::OsdHost;
using host::Ticket;

namespace {

void resetChannel()
{
    biz_Osd_CMDSWork::m_qsIp.clear();
    biz_Osd_CMDSWork::queueHexCmd.clear();
    biz_Osd_CMDSWork::m_bRetFlag.clear();
    biz_Osd_CMDSWork::receivequeueHexCmd = {};
    OsdHostStage::worker().m_mapCurSend.clear();
    OsdHostStage::worker().m_mapSendTime.clear();
}

} // namespace

// --- The devices --------------------------------------------------------------------------

void ScriptedTransport::answer(std::size_t index)
{
    const auto answered = arrived.begin() + static_cast<std::ptrdiff_t>(index);
    m_answers.push_back(*answered);
    arrived.erase(answered);
}

host::DatagramTransport::SendResult ScriptedTransport::send(const QHostAddress &device, quint16 /*port*/,
                                                            const QByteArray &datagram)
{
    arrived.push_back({device, datagram, m_now()});
    return {};
}

void ScriptedTransport::readPending()
{
    for (const Arrived &answer : std::exchange(m_answers, {})) {
        Q_EMIT received(answer.device, answer.datagram);
    }
}

// --- For the script -----------------------------------------------------------------------

OsdHostStage::OsdHostStage(RecordingChooser &chooser, bool planted)
    : HostStage(chooser, planted)
{
    resetChannel();
    scheduler().watch(biz_Osd_CMDSWork::HexCmdlock.native_handle());
    scheduler().watch(biz_Osd_CMDSWork::receiveHexCmdlock.native_handle());
}

OsdHostStage::~OsdHostStage()
{
    resetChannel();
}

Findings OsdHostStage::play(Script script, RecordingChooser &chooser, bool planted)
{
    const auto before = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    OsdHostStage stage(chooser, planted);
    Findings findings = stage.run([script, &stage] {
        stage.openEventLoop();
        script(stage);
        stage.finish();
        stage.closeEventLoop();
    });
    qInstallMessageHandler(before);
    return findings;
}

biz_Osd_CMDSWork &OsdHostStage::worker()
{
    return host::OsdLoops::instance().worker();
}

void OsdHostStage::start()
{
    if (!m_host) {
        m_host = std::make_unique<OsdHost>();
        auto transport = std::make_unique<ScriptedTransport>([this] { return scheduler().now(); });
        m_transport = transport.get();
        require(m_host->setTransport(std::move(transport)), "the host refuses its transport");
        connectHost();
    }
    require(m_host->start(), finding::doesNotStart);
    noteStart();
}

Ticket OsdHostStage::give(const QString &ip, int waitMs)
{
    model_OsdParam command;
    command.qsIp = ip;
    command.iWaitTime = waitMs;
    command.baData = nextPayload();
    const Ticket ticket = m_host->enqueue(command);
    noteGiven(ticket, ip, waitMs, command.baData);
    return ticket;
}

void OsdHostStage::answerLast()
{
    if (!m_transport->arrived.empty()) {
        m_transport->answer(m_transport->arrived.size() - 1);
        m_transport->readPending();
    }
}

void OsdHostStage::answerWhatHasArrived()
{
    constexpr milliseconds answerTime{7};

    while (!m_transport->arrived.empty() && m_transport->arrived.front().at + answerTime <= scheduler().now()) {
        m_transport->answer(0);
        m_transport->readPending();
    }
}

/** The loops, which end with the process otherwise, end with the run. */
void OsdHostStage::finish()
{
    constexpr milliseconds untilTheChannelRests{20}; // what has ended meanwhile is let through

    playToTheEnd();
    for (const nanoseconds end = scheduler().now() + untilTheChannelRests; scheduler().now() < end;) {
        sleep(milliseconds(1));
        turn();
    }
    bool isIdle = m_host->pending() == 0;
    for (const auto &queue : biz_Osd_CMDSWork::queueHexCmd) {
        isIdle = isIdle && queue.empty();
    }
    for (const bool isFree : biz_Osd_CMDSWork::m_bRetFlag) {
        isIdle = isIdle && isFree;
    }
    require(isIdle, finding::channelKeepsSomething);
    m_host.reset();
    host::OsdLoops::instance().tellToReturn();
    require(host::OsdLoops::instance().join(host::Clock::now() + milliseconds(100)).isEmpty(), "a loop does not end");
}

void OsdHostStage::connectHost()
{
    QObject::connect(m_host.get(), &OsdHost::sent, m_transport,
                     [this](Ticket ticket, const model_OsdParam &) { noteSent(ticket, 1); });
    QObject::connect(m_host.get(), &OsdHost::ended, m_transport, [this](Ticket ticket, const OsdCommandResult &result) {
        noteEnd(ticket, result.outcome, result.reply.baData);
    });
}

} // namespace biz::interleavings
