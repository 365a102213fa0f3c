// Calls and passes in any order, in virtual time, with counters near the ends of their range.
// What must hold: takes, clears and replies do what they promise, pass by pass. Watchdogs run,
// and of resends only the tag is looked at: when one is due, a give-up, and the lines of the
// log have no answer to compare with.

#include "channel_calls.h"

#include <climits>

#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>

#include <biz_cmdswork/biz_cmdswork.h>

#include "../unit/reply_rules/checked_models.h"

namespace {

using namespace biz::test;
using biz::fuzz::Input;
using biz::fuzz::require;

constexpr long resendDelay = 20000000; // nanoseconds; all other sleeps of the send loop are its passes

/** The error log follows the working directory. */
void moveToScratchFolder()
{
    static const QTemporaryDir scratch;
    QDir::setCurrent(scratch.path());
    QDir(QStringLiteral("Errorlog")).removeRecursively();
}

void resetChannel()
{
    biz_CMDSWork::queueHexCmd = std::queue<model_Protocoldata>();
    biz_CMDSWork::receivequeueHexCmd = std::queue<model_Protocoldata>();
    biz_CMDSWork::deviceType = -1;
    biz_CMDSWork::iSN = 1;
    biz_CMDSWork::bRetFlag = true;
    biz_CMDSWork::iTimeoutCount = 0;
    biz_CMDSWork::iWatchdogSleepCnt = 0;
    biz_CMDSWork::nSysPlan = 0;
}

class Calls : public biz::fuzz::ChannelCalls<biz_CMDSWork>
{
public:
    explicit Calls(Input &input)
        : ChannelCalls(input)
    {
        connect();
        m_time.onSleep([this](const SleepRequest &request) {
            if (request.thread == m_sendLoop) {
                m_sendLoopSleeps = request.nanoseconds;
            }
        });
        startSendLoop();
        startReceiveLoop();
    }

    ~Calls() override
    {
        biz_CMDSWork::bRetFlag = true; // watchdogs end instead of resending
        finish();
    }

private:
    void connect();
    void oneCall() override;
    void enqueue();
    void pushReply();
    void sendPass();
    void receivePass();
    void clear();
    void timeoutClear();
    void setCounters();
    void startWatchdog();
    void letTimePass();
    void onSend(int tag);
    static bool isAccepted(const model_Protocoldata &reply);

    long m_sendLoopSleeps = 0; ///< how long its present sleep is, in nanoseconds
    int m_enqueued = 0;
    int m_lastTaken = -1;
    int m_taken = 0;
    int m_accepted = 0;
};

void Calls::connect()
{
    const auto tagOf = [](void *record) {
        return static_cast<int>(static_cast<model_Protocoldata *>(record)->nTag);
    };
    QObject::connect(
        &m_worker, &biz_CMDSWork::signalSendMessage, &m_worker, [this, tagOf](void *record) { onSend(tagOf(record)); },
        Qt::DirectConnection);
    QObject::connect(
        &m_worker, &biz_CMDSWork::signalSendReceiveMessage, &m_worker, [this](void *) { ++m_accepted; },
        Qt::DirectConnection);
}

/** A tag that was announced before is a resend; a new one follows all that were taken. */
void Calls::onSend(int tag)
{
    require(tag < m_enqueued, "what is announced was enqueued");
    if (tag > m_lastTaken) {
        m_lastTaken = tag;
        ++m_taken;
    } else {
        require(tag == m_lastTaken || m_enqueued == 0, "only the last command is resent");
    }
}

void Calls::oneCall()
{
    switch (m_input.below(14)) {
    case 0:
    case 1:
        return enqueue();
    case 2:
        return pushReply();
    case 3:
    case 4:
    case 5:
        return sendPass();
    case 6:
        return receivePass();
    case 7:
        return clear();
    case 8:
        return timeoutClear();
    case 9:
        biz_CMDSWork::bRetFlag = m_input.below(2) == 0;
        return;
    case 10:
        biz_CMDSWork::nSysPlan = m_input.below(3) - 1;
        return;
    case 11:
        return setCounters();
    case 12:
        return startWatchdog();
    default:
        return letTimePass();
    }
}

void Calls::enqueue()
{
    model_Protocoldata command;
    command.nTag = static_cast<quint32>(m_enqueued++);
    command.iWaitTime = m_input.word() - 1000;
    command.ucHead[1] = m_input.byte();
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::HexCmdlock);
    biz_CMDSWork::queueHexCmd.push(command);
}

void Calls::pushReply()
{
    model_Protocoldata reply;
    for (unsigned char &byte : reply.ucHead) {
        byte = m_input.byte();
    }
    reply.baData = QByteArray(m_input.below(64), static_cast<char>(m_input.byte()));
    const std::lock_guard<std::mutex> lock(biz_CMDSWork::receiveHexCmdlock);
    biz_CMDSWork::receivequeueHexCmd.push(reply);
}

void Calls::sendPass()
{
    const bool mayTake = biz_CMDSWork::bRetFlag && !m_worker.m_bSkipSendcmd;
    const std::size_t waiting = biz_CMDSWork::queueHexCmd.size();
    const int taken = m_taken;
    const auto counter = static_cast<unsigned>(biz_CMDSWork::iSN);
    const bool isResending = m_sendLoopSleeps == resendDelay;

    m_time.step(m_sendLoop);
    const int takes = m_taken - taken;
    if (m_worker.m_bSkipSendcmd) {
        require(takes == 0, "nothing is taken in skip mode");
    } else if (!isResending && mayTake && waiting != 0) {
        require(takes == 1, "a pass takes one command through an open gate");
        require(biz_CMDSWork::bRetFlag == (biz_CMDSWork::nSysPlan != 0), "a take closes the gate unless a plan is set");
        require(static_cast<unsigned>(biz_CMDSWork::iSN) == counter + 1U, "a take moves the counter on");
    } else {
        require(takes == 0, "nothing is taken through a closed gate");
    }
    if (!m_worker.m_bSkipSendcmd) {
        require(biz_CMDSWork::queueHexCmd.size() + static_cast<std::size_t>(takes) == waiting, "no command is lost");
    }
}

bool Calls::isAccepted(const model_Protocoldata &reply)
{
    for (const CheckedModel &model : checkedModels()) {
        if (model.deviceType == biz_CMDSWork::deviceType) {
            const listing::Line *line = model.rules().find(reply.ucHead[1], reply.ucHead[2]);
            return line == nullptr || line->accepts({reply.ucHead[3], reply.ucHead[4], reply.ucHead[5],
                                                     static_cast<int>(reply.baData.size())});
        }
    }
    return true;
}

void Calls::receivePass()
{
    const int choice = m_input.below(8);
    biz_CMDSWork::deviceType = choice == 7 ? -1 : checkedModels()[static_cast<std::size_t>(choice)].deviceType;
    const auto queue = biz_CMDSWork::receivequeueHexCmd;
    const int accepted = m_accepted;

    m_time.step(m_receiveLoop);
    const int expected = !queue.empty() && isAccepted(queue.front()) ? 1 : 0;
    require(m_accepted - accepted == expected, "a good reply is announced once, another not at all");
    const std::size_t left = queue.empty() ? 0 : queue.size() - 1;
    require(biz_CMDSWork::receivequeueHexCmd.size() == left, "a pass takes one reply");
}

void Calls::clear()
{
    const auto counter = static_cast<unsigned>(biz_CMDSWork::iSN);
    m_worker.clearQueue();
    require(biz_CMDSWork::queueHexCmd.empty() && biz_CMDSWork::bRetFlag, "a clear empties the queue, opens the gate");
    require(static_cast<unsigned>(biz_CMDSWork::iSN) == counter + 1U, "a clear moves the counter on");
}

void Calls::timeoutClear()
{
    const bool acts = biz_CMDSWork::iTimeoutCount > 9;
    const std::size_t waiting = biz_CMDSWork::queueHexCmd.size();
    const int count = biz_CMDSWork::iTimeoutCount;
    m_worker.timeoutClearQueue();
    require(biz_CMDSWork::queueHexCmd.size() == (acts ? 0 : waiting), "it clears after ten time-outs only");
    require(biz_CMDSWork::iTimeoutCount == (acts ? 0 : count), "it forgets the time-outs when it clears");
}

/** Just below the limits of their 32 bits. */
void Calls::setCounters()
{
    const int below = m_input.below(3);
    switch (m_input.below(4)) {
    case 0:
        biz_CMDSWork::iSN = INT_MAX - below;
        break;
    case 1:
        biz_CMDSWork::iTimeoutCount = INT_MAX - below;
        break;
    case 2:
        biz_CMDSWork::iWatchdogSleepCnt = INT_MAX - below;
        break;
    default:
        m_worker.setSkipSendcmd(below != 0);
    }
}

void Calls::startWatchdog()
{
    constexpr std::size_t watchdogsAtMost = 8;
    if (m_lastTaken >= 0 && m_time.alive().size() < watchdogsAtMost) {
        const int sn = biz_CMDSWork::iSN - (m_input.below(2) == 0 && biz_CMDSWork::iSN > 0 ? 1 : 0);
        m_time.start("watchdog", [this, sn] { m_worker.timeoutWatchdog(sn); });
    }
}

void Calls::letTimePass()
{
    m_time.advance(milliseconds(m_input.byte()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    moveToScratchFolder();
    return biz::fuzz::playOnFreshChannel<Calls>(data, size, resetChannel);
}
