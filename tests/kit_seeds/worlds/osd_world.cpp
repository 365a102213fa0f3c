#include <kit_seeds/worlds/osd_world.h>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>
#include <host/osd_datagram_codec.h>

namespace biz::kit_seeds {

using host::Outcome;
using host::Ticket;
using namespace std::chrono_literals;

namespace {

constexpr int deviceCount = 4;
constexpr int firstWaitMs = host::OsdHost::defaultWaitMs;

/** A command that can leave does so within this time. */
constexpr nanoseconds idleLimit = 1s;

/** One that was held back leaves soon after there is room. */
constexpr nanoseconds heldLimit = 200ms;

/** A clear, a stop or a cancel leaves what was handed over in the channel, one command of each. */
constexpr std::size_t mostInChannel = 200;

/** Waits count in whole seconds, from the second in which the channel took the command. */
milliseconds soonestGiveUp(milliseconds wait)
{
    return std::max(std::chrono::duration_cast<std::chrono::seconds>(wait) - 1s, 0s);
}

milliseconds latestEnd(milliseconds wait)
{
    return wait + 1s;
}

constexpr ChannelHabits habits{1, 1, soonestGiveUp, latestEnd};

/** A late reply must not be taken for that to a newer command. */
class MarkMatcher final : public host::OsdReplyMatcher
{
public:
    bool matches(const model_OsdParam &command, const model_OsdParam &reply) const override
    {
        return command.baData == reply.baData;
    }
};

} // namespace

OsdWorld::OsdWorld(Dice &dice, testkit::TestClock &clock)
    : HostWorld(dice, clock, habits)
    , m_devices(QStringLiteral("10.0.0.1"), deviceCount)
{
    m_devices.setReplyDelay(milliseconds(dice.below(30)));
    makeHost();
}

OsdWorld::~OsdWorld()
{
    end();
}

void OsdWorld::makeHost()
{
    replaceHost();
    m_forgotten = {};
    m_heardAt.clear();
    m_idleSince.clear();
    m_answersExpected = 0;
    m_defaultWaitMs = firstWaitMs;
    auto transport = std::make_unique<WatchedTransport>(m_devices.makeTransport(), this);
    m_transport = transport.get();
    if (!m_host->setTransport(std::move(transport)) || !m_host->setReplyMatcher(std::make_unique<MarkMatcher>()) ||
        !m_host->start()) {
        m_violation.note("no host: " + m_host->errorString().toStdString());
    }
    connectHost();
}

void OsdWorld::connectHost()
{
    using host::OsdHost;
    on(&OsdHost::ended, [this](Ticket ticket, const auto &result) { noteEnded(ticket, result, false); });
    on(&OsdHost::sent, [this](Ticket ticket) {
        m_ledger.toldSent(ticket, 1);
        m_totals.toldSent();
        disturb();
    });
    on(&OsdHost::late, [this] {
        m_totals.toldLate();
        disturb();
    });
    on(&OsdHost::duplicate, [this] { m_totals.toldDuplicate(); });
    on(&OsdHost::foreign, [this] { m_totals.toldForeign(); });
}

QString OsdWorld::anyDevice()
{
    return m_devices.addresses().at(m_dice.below(deviceCount));
}

host::Counters OsdWorld::countersOf(const QString &device) const
{
    for (const host::OsdDeviceStatus &status : m_host->devices()) {
        if (status.ip == device) {
            return status.counters;
        }
    }
    return {};
}

// --- What happens -----------------------------------------------------------------------------

void OsdWorld::act()
{
    const int what = m_dice.below(100);
    if (what < 57) {
        give(anyDevice());
    } else if (what < 69) {
        cancelSomething();
    } else if (what < 75) {
        clearSomething();
    } else if (what < 79) {
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

Ticket OsdWorld::enqueue(Given &given)
{
    model_OsdParam command;
    command.qsIp = given.lane;
    command.baData = given.mark;
    command.iWaitTime = m_dice.chance(30) ? m_dice.between(500, 5000) : 0;
    given.wait = milliseconds(command.iWaitTime > 0 ? command.iWaitTime : m_defaultWaitMs);
    m_heardAt.emplace(given.lane, never);
    return m_host->enqueue(
        command, given.options, &m_context,
        [this](Ticket ended, const host::OsdCommandResult &result) { noteEnded(ended, result, true); });
}

void OsdWorld::clearSomething()
{
    m_movedAt = now();
    if (m_dice.chance(30)) {
        endAll(Outcome::Cleared, &host::Counters::cleared, pending(), [this] { m_host->clear(); });
        m_violation.require(pending() == 0, "something is pending after a clear");
        return;
    }
    const QString device = anyDevice();
    const host::Counters before = countersOf(device);
    const int expected = static_cast<int>(before.enqueued - endsOf(before));
    const bool forgets = m_dice.chance(50);
    endAll(
        Outcome::Cleared, &host::Counters::cleared, expected, [&] { forgets ? forget(device) : m_host->clear(device); },
        &device);
    const host::Counters after = countersOf(device);
    m_violation.require(after.enqueued == endsOf(after), "something is pending for a device that was cleared");
}

void OsdWorld::forget(const QString &device)
{
    host::Counters own = countersOf(device);
    own.cleared += own.enqueued - endsOf(own);
    own.queueLength = 0;
    m_forgotten += own;
    m_host->forget(device);
    m_heardAt.erase(device);
    m_idleSince.erase(device);
    m_violation.require(countersOf(device).enqueued == 0, "a device was not forgotten");
}

void OsdWorld::stopAndStart()
{
    stop();
    m_movedAt = now();
    start();
}

void OsdWorld::changeSettings()
{
    m_movedAt = now();
    const int what = m_dice.below(3);
    journal.tell("OSD setting %d", what);
    switch (what) {
    case 0:
        m_isReady = m_dice.chance(60);
        break;
    case 1:
        m_host->setKeepUnmatchedReplies(m_dice.chance(50));
        break;
    default:
        m_defaultWaitMs = m_dice.between(800, 4000);
        m_violation.require(m_host->setDefaultWaitTime(m_defaultWaitMs), "a setting was refused");
        break;
    }
}

void OsdWorld::breakSomething()
{
    m_movedAt = now();
    const int kinds = testkit::faultKinds;
    const int what = m_dice.below(kinds + 4);
    journal.tell("OSD misfortune %d", what);
    if (what >= kinds + 2) {
        fill(m_transport.data(), 1500);
    } else if (what >= kinds) {
        m_transport->refuse(m_dice.between(1, 2));
    } else if (static_cast<testkit::FaultKind>(what) != testkit::FaultKind::Close) {
        // Those that an OSD device has; others leave its reply as it is.
        m_devices.failNext(anyDevice(), static_cast<testkit::FaultKind>(what), m_dice.between(1, 3));
    }
}

void OsdWorld::repair()
{
    m_isReady = true;
    m_movedAt = now();
}

// --- What is seen -----------------------------------------------------------------------------

void OsdWorld::afterSend(const QHostAddress &device, const QByteArray &datagram)
{
    model_OsdParam command;
    QString problem;
    if (!host::OsdDatagramCodec::decode(datagram, &command, &problem)) {
        m_violation.note("a datagram holds no command: " + problem.toStdString());
        return;
    }
    look();
    m_violation.require(!m_isStopping, "a host sent while it was stopped");
    m_violation.require(m_isReady, "something was sent although the application was not ready");
    m_totals.noteWrite(true, static_cast<int>(datagram.size()));
    m_ledger.written(command.baData, device.toString(), 0);
    m_movedAt = now();
}

void OsdWorld::onRefused(const QByteArray &datagram)
{
    model_OsdParam command;
    QString problem;
    m_ledger.noteHindered();
    if (host::OsdDatagramCodec::decode(datagram, &command, &problem)) {
        m_ledger.noteRefused(command.baData);
    }
}

void OsdWorld::beforeReceived(const QHostAddress &device, const QByteArray &datagram)
{
    model_OsdParam reply;
    QString problem;
    const bool isReply = host::OsdDatagramCodec::decode(datagram, &reply, &problem);
    if (!m_host) { // it is being destroyed
        m_ledger.replied(reply.baData, 0);
        return;
    }
    const auto known = m_heardAt.find(device.toString());
    m_totals.noteReceived(static_cast<int>(datagram.size()), isReply && known != m_heardAt.end());
    m_answersExpected = counters().answered;
    if (!isReply) {
        m_totals.noteRefused(static_cast<int>(datagram.size()));
        return;
    }
    m_totals.noteReply();
    if (known != m_heardAt.end()) {
        known->second = now();
    }
    look();
    if (m_ledger.hidden() == 0) {
        m_answersExpected += m_ledger.replied(reply.baData, 0) ? 1 : 0;
    } else {
        m_ledger.replied(reply.baData, 0);
        m_answersExpected = std::numeric_limits<quint64>::max();
    }
}

/** What answers is known at once. */
void OsdWorld::afterReceived()
{
    m_violation.require(!m_host || m_answersExpected == std::numeric_limits<quint64>::max() ||
                            counters().answered == m_answersExpected,
                        "a reply was not taken for what it is");
}

void OsdWorld::noteEnded(Ticket ticket, const host::OsdCommandResult &result, bool isCallback)
{
    if (m_host) {
        look();
    }
    tell(ticket, result, isCallback);
    m_movedAt = now();
    if (m_host) {
        disturb();
    }
}

// --- What must hold at any time ---------------------------------------------------------------

void OsdWorld::check()
{
    World::check();
    checkDevices();
    checkChannel();
}

/** What is counted of one device is counted in the totals, too. */
void OsdWorld::checkDevices()
{
    host::Counters sum = m_forgotten;
    int inFlight = 0;
    for (const host::OsdDeviceStatus &device : m_host->devices()) {
        sum += device.counters;
        inFlight += device.inFlight ? 1 : 0;
        const auto heard = m_heardAt.find(device.ip);
        m_violation.require(heard != m_heardAt.end(), "a device is there that was given nothing");
        m_violation.require(!device.reachable || heard->second != never, "a device is reachable that was never heard");
        checkProgress(device);
    }
    const host::Counters all = counters();
    const quint64 ends = endsOf(all);
    m_violation.require(sum.enqueued == all.enqueued && endsOf(sum) == ends && sum.sent == all.sent &&
                            sum.bytesOut == all.bytesOut && sum.answered == all.answered && sum.late == all.late &&
                            sum.duplicate == all.duplicate && sum.queueLength == all.queueLength,
                        "the devices' counters are not those of the host together");
    const bool isHeld = inFlight > m_ledger.inFlight() + m_ledger.refused() && m_isReady && !m_transport->isFull();
    m_heldSince = isHeld ? std::max({m_heldSince, m_movedAt, busyTimes.last()}) : now();
    m_violation.require(now() - m_heldSince <= heldLimit, "a command that is taken is not sent");
    m_violation.require(inFlight == pending() - waiting(), "another number of devices has a command in flight");
}

void OsdWorld::checkProgress(const host::OsdDeviceStatus &device)
{
    const bool canProgress = device.counters.queueLength > 0 && !device.inFlight && m_isReady && !m_transport->isFull();
    if (!canProgress) {
        m_idleSince.erase(device.ip);
        return;
    }
    // From the first look that finds it so: where nothing happens, looks are seconds apart.
    nanoseconds &since = m_idleSince.emplace(device.ip, now()).first->second;
    since = std::max({since, m_movedAt, busyTimes.last()});
    m_violation.require(now() - since <= idleLimit, "nothing is sent although something waits");
}

void OsdWorld::checkChannel()
{
    std::size_t queued = 0;
    for (const auto &queue : qAsConst(biz_Osd_CMDSWork::queueHexCmd)) {
        queued += queue.size();
    }
    m_violation.require(queued <= mostInChannel, "the channel has been given too much");
    m_violation.require(biz_Osd_CMDSWork::m_bRetFlag.size() <= deviceCount &&
                            biz_Osd_CMDSWork::m_qsIp.size() <= deviceCount,
                        "the channel knows devices that there are not");
}

} // namespace biz::kit_seeds
