#include <kit_seeds/worlds/device_world.h>

#include <biz_cmdswork/biz_cmdswork.h>
#include <host/reply_words.h>

namespace biz::kit_seeds {

using host::LinkState;
using host::Outcome;
using host::Ticket;
using host::WhileDown;
using namespace std::chrono_literals;

namespace {

/** One with a rule, one without. */
constexpr quint8 codeWithRule = 0xF1;
constexpr quint8 codeWithoutRule = 0x01;
constexpr quint8 subCode = 0x08;

constexpr int firstWaitMs = 300;
constexpr int longestWaitMs = 900;
constexpr int firstReconnectMs = 1000;

/** A command that can leave does so within this time. */
constexpr nanoseconds idleLimit = 1s;

/** A device that vanishes is back after two seconds, and an attempt to reach it follows within the longest interval. */
constexpr nanoseconds lossLimit = 4500ms;

/** Twice the longest wait, and until it is looked at. */
constexpr nanoseconds silenceLimit = 2 * milliseconds(longestWaitMs) + 300ms;

/** Of the channel's own queues: a few commands, and the replies of some bursts. */
constexpr std::size_t mostInChannel = 8;
constexpr std::size_t mostReplies = 400;

/** The send loop counts a pass of 10 ms as 15 ms, and resends once. */
milliseconds soonestGiveUp(milliseconds wait)
{
    constexpr int passMs = 10;
    constexpr int countsAsMs = 15;
    return 2 * milliseconds((wait.count() + countsAsMs - 1) / countsAsMs * passMs);
}

milliseconds latestEnd(milliseconds wait)
{
    return 2 * wait;
}

constexpr ChannelHabits habits{2, 4, soonestGiveUp, latestEnd};

} // namespace

DeviceWorld::DeviceWorld(Dice &dice, testkit::TestClock &clock)
    : HostWorld(dice, clock, habits)
{
    m_device.setReplyDelay(milliseconds(dice.below(30)));
    QObject::connect(&m_device, &testkit::SimulatedDevice::commandReceived, &m_context,
                     [this](const model_Protocoldata &command) { m_ledger.delivered(command.baData); });
    makeHost();
}

DeviceWorld::~DeviceWorld()
{
    end();
}

void DeviceWorld::makeHost()
{
    replaceHost();
    m_isSkipping = false;
    m_whileDown = WhileDown::FailFast;
    m_defaultWaitMs = firstWaitMs;
    m_toldWaiting = 0;
    m_settleMs = 0;
    m_reconnectMs = firstReconnectMs;
    m_answeredAt = never;
    m_lineChangedAt = never;
    auto link = std::make_unique<WatchedLink>(m_device.makeLink(), this);
    m_link = link.get();
    const bool isReady = m_host->setModel(QStringLiteral("A2")) && m_host->setLink(std::move(link)) &&
                         m_host->setDefaultWaitTime(m_defaultWaitMs);
    if (!isReady || !m_host->start()) {
        m_violation.note("no host: " + m_host->errorString().toStdString());
    }
    connectHost();
}

void DeviceWorld::connectHost()
{
    using host::DeviceHost;
    on(&DeviceHost::ended, [this](Ticket ticket, const auto &result) { noteEnded(ticket, result, false); });
    on(&DeviceHost::sent, [this](Ticket ticket, int attempt) {
        m_ledger.toldSent(ticket, attempt);
        m_totals.toldSent();
        disturb();
    });
    on(&DeviceHost::queueSize, [this](int waiting) {
        m_toldWaiting = waiting;
        disturb();
    });
    on(&DeviceHost::linkStateChanged, [this](const host::LinkStatus &status) {
        journal.tell("link %s: %s", qPrintable(host::linkStateName(status.state)), qPrintable(status.reason));
        look();
        disturb();
    });
    on(&DeviceHost::rejected, [this] { m_totals.toldRejected(); });
    on(&DeviceHost::late, [this] { m_totals.toldLate(); });
    on(&DeviceHost::duplicate, [this] { m_totals.toldDuplicate(); });
    on(&DeviceHost::foreign, [this] { m_totals.toldForeign(); });
}

// --- What happens -----------------------------------------------------------------------------

void DeviceWorld::act()
{
    const int what = m_dice.below(100);
    if (what < 52) {
        give({});
    } else if (what < 63) {
        cancelSomething();
    } else if (what < 67) {
        clear();
    } else if (what < 70) {
        setSkipping(m_dice.chance(40));
    } else if (what < 73) {
        stopAndStart();
    } else if (what < 85) {
        changeSettings();
    } else if (what < 99) {
        breakSomething();
    } else if (!m_isInSlot) {
        end();
        makeHost();
    }
}

Ticket DeviceWorld::enqueue(Given &given)
{
    const quint8 code = m_dice.chance(70) ? codeWithRule : codeWithoutRule;
    model_Protocoldata command = host::makeCommand(code, subCode, given.mark);
    command.iWaitTime = m_dice.chance(30) ? m_dice.between(20, longestWaitMs) : 0;
    given.wait = milliseconds(command.iWaitTime > 0 ? command.iWaitTime : m_defaultWaitMs);
    return m_host->enqueue(command, given.options, &m_context,
                           [this](Ticket ended, const host::CommandResult &result) { noteEnded(ended, result, true); });
}

Outcome DeviceWorld::endOfGiven() const
{
    if (m_isSkipping) {
        return Outcome::Skipped;
    }
    return isLost() && isFailingFast() ? Outcome::Unreachable : Outcome::Answered;
}

void DeviceWorld::clear()
{
    endAll(Outcome::Cleared, &host::Counters::cleared, pending(), [this] { m_host->clear(); });
    m_violation.require(pending() == 0, "something is pending after a clear");
}

void DeviceWorld::setSkipping(bool on)
{
    look();
    const quint64 before = counters().skipped;
    const int unwritten = pending() - m_ledger.inFlight() + m_ledger.hidden();
    journal.tell("skipping %s", on ? "on" : "off");
    m_host->setSkipping(on);
    m_isSkipping = on;
    look();
    if (on) {
        m_ledger.endUnwritten(Outcome::Skipped);
        m_violation.require(counters().skipped - before <= static_cast<quint64>(unwritten),
                            "one in flight was skipped");
    }
}

void DeviceWorld::setWhileDown(WhileDown policy)
{
    look();
    m_host->setWhileDown(policy);
    m_whileDown = policy;
    look();
}

void DeviceWorld::setSettleTime(int ms)
{
    m_violation.require(m_host->setSettleTime(ms), "a settle time was refused");
    m_settleMs = ms;
    m_shortestSettleMs = std::min(m_shortestSettleMs, ms);
    m_settleChangedAt = now();
    m_movedAt = now();
}

void DeviceWorld::stopAndStart()
{
    stop();
    m_answeredAt = never;
    m_lineChangedAt = never;
    start();
}

void DeviceWorld::changeSettings()
{
    bool isTaken = true;
    m_movedAt = now();
    const int what = m_dice.below(6);
    journal.tell("device setting %d", what);
    switch (what) {
    case 0:
        setWhileDown(m_dice.chance(50) ? WhileDown::Hold : WhileDown::FailFast);
        break;
    case 1: {
        const bool on = m_dice.chance(50);
        m_host->setPipelined(on);
        m_ledger.setPipelined(on);
        break;
    }
    case 2:
        setSettleTime(m_dice.chance(30) ? 0 : m_dice.below(100));
        break;
    case 3:
        m_defaultWaitMs = m_dice.between(50, 600);
        isTaken = m_host->setDefaultWaitTime(m_defaultWaitMs);
        break;
    case 4:
        m_isReady = m_dice.chance(60);
        break;
    default:
        m_reconnectMs = m_dice.between(50, 1500);
        m_reconnectChangedAt = now();
        isTaken = m_host->setReconnectInterval(m_reconnectMs);
        break;
    }
    m_violation.require(isTaken, "a setting was refused");
}

void DeviceWorld::breakSomething()
{
    const int kinds = testkit::faultKinds;
    const int what = m_dice.below(kinds + 4);
    m_movedAt = now();
    journal.tell("device misfortune %d", what);
    if (what < kinds) {
        m_device.failNext(static_cast<testkit::FaultKind>(what), m_dice.between(1, 3));
    } else if (what < kinds + 2) {
        if (m_link) {
            fill(m_link.data(), 500);
        }
    } else {
        m_device.setPower(what == kinds + 2);
    }
}

void DeviceWorld::repair()
{
    m_device.setPower(true);
    m_isReady = true;
    m_movedAt = now();
    setSkipping(false);
    m_reconnectMs = 500;
    m_reconnectChangedAt = now();
    m_violation.require(m_host->setReconnectInterval(m_reconnectMs), "a setting was refused");
}

// --- What is seen -----------------------------------------------------------------------------

void DeviceWorld::beforeOpen()
{
    look();
    // Within a tenth of the interval, and as exact as a coarse timer.
    constexpr double earliest = 0.85;
    const auto least = std::chrono::duration_cast<nanoseconds>(earliest * milliseconds(m_reconnectMs));
    m_violation.require(!isLost() || m_reconnectChangedAt >= m_lineChangedAt || now() - m_lineChangedAt >= least,
                        "a lost link was opened too soon");
    m_lineChangedAt = now();
}

void DeviceWorld::onOpened()
{
    journal.tell("link opened");
    look();
    m_replyCodec.reset();
    m_movedAt = now();
    m_lostSince = now();
}

void DeviceWorld::onBreak()
{
    if (m_host && !m_isStopping) {
        look();
        // From an attempt that failed the next one counts from its beginning.
        m_lineChangedAt = m_host->linkStatus().state == LinkState::Up ? now() : m_lineChangedAt;
    }
    m_replyCodec.reset();
    m_movedAt = now();
}

void DeviceWorld::beforeWrite(const QByteArray &frame, bool isFull, qint64 bytesHeld)
{
    for (const model_Protocoldata &record : m_commandCodec.decode(frame).records) {
        look();
        const bool isFirst = m_ledger.isUnwritten(record.baData);
        m_violation.require(!m_isStopping, "a host wrote while it was stopped");
        m_violation.require(!isFull, "a full link was written to");
        m_violation.require(m_isReady, "something was written although the application was not ready");
        m_violation.require(isFirst || bytesHeld == 0, "a command was written anew that had not left");
    }
}

void DeviceWorld::afterWrite(const QByteArray &frame)
{
    for (const model_Protocoldata &record : m_commandCodec.decode(frame).records) {
        const bool isFirst = m_ledger.isUnwritten(record.baData);
        m_totals.noteWrite(isFirst, static_cast<int>(frame.size()));
        m_ledger.written(record.baData, {}, record.ucHead[0]);
        if (isFirst && !m_ledger.mayBePipelined(record.baData)) {
            const bool isQuiet = m_answeredAt != never && now() - m_answeredAt < milliseconds(m_shortestSettleMs);
            m_violation.require(!isQuiet, "something was written in a quiet time");
            m_firstWrittenAt = now();
        }
        m_lastWriteAt = now();
    }
    m_movedAt = now();
}

void DeviceWorld::beforeReceived(const QByteArray &bytes)
{
    m_totals.noteReceived(static_cast<int>(bytes.size()), true);
    const host::Decoded decoded = m_replyCodec.decode(bytes);
    for (const host::Refusal &refusal : decoded.refusals) {
        m_totals.noteRefused(refusal.bytes);
    }
    for (const model_Protocoldata &reply : decoded.records) {
        m_totals.noteReply();
        if (host::judgeReply(biz_CMDSWork::deviceType, reply).accepted) {
            m_ledger.replied(reply.baData, reply.ucHead[0]);
        }
    }
}

void DeviceWorld::noteEnded(Ticket ticket, const host::CommandResult &result, bool isCallback)
{
    if (m_host && !m_isStopping) {
        look();
    }
    tell(ticket, result, isCallback);
    if (result.outcome == Outcome::Answered && isCallback) {
        noteAnswer(m_ledger.answerOf(ticket));
    }
    m_movedAt = now();
    if (m_host && !m_isStopping) {
        disturb();
    }
}

/** Nothing may have been written since, nor for a while. */
void DeviceWorld::noteAnswer(nanoseconds arrival)
{
    const bool isSteady = m_settleChangedAt < arrival && !m_ledger.mayBePipelined() && m_lineChangedAt < arrival;
    m_violation.require(!isSteady || m_settleMs == 0 || m_firstWrittenAt <= arrival ||
                            m_firstWrittenAt - arrival >= milliseconds(m_settleMs),
                        "something was written soon after an answer");
    m_answeredAt = arrival;
    m_shortestSettleMs = isSteady ? m_settleMs : 0;
}

// --- What must hold at any time ---------------------------------------------------------------

void DeviceWorld::check()
{
    World::check();
    checkPolicies();
    checkProgress();
    checkSilence();
    checkChannel();
}

void DeviceWorld::checkPolicies()
{
    m_violation.require(!m_isSkipping || waiting() == 0, "something waits although all is skipped");
    m_violation.require(!isLost() || !isFailingFast() || pending() == 0, "something is pending on a lost link");
    m_violation.require(!isLost() || pending() == waiting(), "something is in flight on a lost link");
}

bool DeviceWorld::canProgress()
{
    const bool isQuiet = m_answeredAt != never && now() - m_answeredAt < milliseconds(m_settleMs);
    return m_host->linkStatus().state == LinkState::Up && m_link->isFree() && m_isReady && waiting() > 0 &&
           pending() == waiting() && !isQuiet;
}

void DeviceWorld::checkProgress()
{
    m_idleSince = canProgress() ? std::max({m_idleSince, m_movedAt, busyTimes.last()}) : now();
    m_violation.require(now() - m_idleSince <= idleLimit, "nothing is written although something waits");
    m_lostSince =
        isLost() && m_device.hasPower() ? std::max({m_lostSince, m_reconnectChangedAt, busyTimes.last()}) : now();
    m_violation.require(now() - m_lostSince <= lossLimit, "a lost link does not come back");
}

/** A link that holds bytes for longer than a command may take has lost its device. */
void DeviceWorld::checkSilence()
{
    const qint64 held = m_link->bytesHeld();
    if (held == 0 || m_link->bytesTaken() - held != m_left) {
        m_left = m_link->bytesTaken() - held;
        m_leftAt = now();
    }
    m_leftAt = std::max({m_leftAt, m_lastWriteAt, busyTimes.last()});
    m_violation.require(now() - m_leftAt <= silenceLimit, "a silent link is not given up");
}

void DeviceWorld::checkChannel()
{
    m_violation.require(biz_CMDSWork::queueHexCmd.size() <= mostInChannel, "the channel has been given too much");
    m_violation.require(biz_CMDSWork::receivequeueHexCmd.size() <= mostReplies, "too many replies wait");
}

} // namespace biz::kit_seeds
