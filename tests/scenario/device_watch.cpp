#include <scenario/device_watch.h>

#include <algorithm>

namespace biz::scenario {

namespace {

/** The places of a pass that takes a command, in points since its sleep: three for each of its locks. */
enum Point { aboutToTake = 1, hasLeftTheTake = 3, hasStamped = 4, counts = 5, hasCounted = 6, hasReset = 9 };

bool holdsQueueLock()
{
    return Scheduler::holds(biz_CMDSWork::HexCmdlock.native_handle());
}

int oneMoreThan(int counter)
{
    return static_cast<int>(static_cast<unsigned>(counter) + 1U); // wraps at 32 bits
}

} // namespace

DeviceWatch::DeviceWatch(Scheduler &scheduler, const ScenarioClass &options, Coverage &coverage)
    : m_scheduler(scheduler)
    , m_options(options)
    , m_coverage(coverage)
{
}

void DeviceWatch::require(bool holds, const char *what)
{
    if (!holds) {
        m_scheduler.violate(what);
    }
}

void DeviceWatch::addSendLoop(int task, const biz_CMDSWork &worker)
{
    m_passes[task].worker = &worker;
}

int DeviceWatch::add(const QByteArray &payload)
{
    m_commands.emplace_back();
    m_commands.back().payload = payload;
    return static_cast<int>(m_commands.size()) - 1;
}

void DeviceWatch::begin(Deed deed, int number)
{
    m_doing[Scheduler::currentTask()] = {deed, number};
}

void DeviceWatch::end()
{
    m_doing.erase(Scheduler::currentTask());
}

void DeviceWatch::setSettled(int number)
{
    Command &settled = command(static_cast<quint32>(number));
    settled.settled = true;
    settled.settledAt = m_scheduler.now();
    m_inFlight = -1;
}

void DeviceWatch::noteResend()
{
    const auto pass = m_passes.find(Scheduler::currentTask());
    if (pass != m_passes.end()) {
        pass->second.isResending = true;
    }
}

nanoseconds DeviceWatch::gateShutFor() const
{
    return m_gateIsOpen ? nanoseconds(0) : m_scheduler.now() - m_gateChangedAt;
}

void DeviceWatch::atPoint()
{
    require(Scheduler::locksHeld() <= 1, "both locks of the channel are held");

    const int task = Scheduler::currentTask();
    const bool holds = holdsQueueLock();
    const bool hasLeft = std::exchange(m_holds[task], holds) && !holds;
    const auto pass = m_passes.find(task);
    if (pass != m_passes.end()) {
        atSendLoopsPoint(pass->second, m_scheduler.pointsSinceSleep(task));
    }
    if (hasLeft) {
        onLeft(task);
    }
    if (m_isSkipping && biz_CMDSWork::queueHexCmd.empty()) {
        discardWaiting(); // what a take has left of them
    }
    followGate(task);
    if (hasLeft) {
        m_givesUp.erase(task);
    }

    const auto &queue = biz_CMDSWork::queueHexCmd;
    require(queue.size() == m_waiting.size(), "a command has joined or left the queue in nobody's name");
    require(queue.empty() || m_waiting.empty() || queue.front().nTag == static_cast<quint32>(m_waiting.front()),
            "the queue is out of order");
}

// --- A send loop ------------------------------------------------------------------------------

void DeviceWatch::atSendLoopsPoint(Pass &pass, int point)
{
    if (std::exchange(pass.at, point) == point) {
        return;
    }
    if (point <= aboutToTake) {
        pass.hasTaken = false;
        pass.wantsToTake = false;
    }
    if (point == aboutToTake) {
        onLook(pass);
    } else if (point == hasLeftTheTake && pass.wantsToTake) {
        onTake(pass);
    } else if (pass.hasTaken && point == hasStamped) {
        require(pass.worker->m_curSend.ucHead[0] == static_cast<uchar>(biz_CMDSWork::iSN),
                "the sequence byte is not the counter's low byte");
    } else if (pass.hasTaken && point == counts) {
        pass.counterBefore = biz_CMDSWork::iSN;
    } else if (pass.hasTaken && point == hasCounted) {
        require(biz_CMDSWork::iSN == oneMoreThan(pass.counterBefore), "a take does not count iSN up by one");
    } else if (pass.hasTaken && point == hasReset) {
        require(biz_CMDSWork::iTimeoutCount == 0 && biz_CMDSWork::iWatchdogSleepCnt == 0,
                "a take leaves the counters of its predecessor");
    }
}

/** It has looked at queue and gate since its sleep, and nobody has run in between. */
void DeviceWatch::onLook(Pass &pass)
{
    const bool isResend = std::exchange(pass.isResending, false);
    pass.wantsToTake = !isResend && !biz_CMDSWork::queueHexCmd.empty() && biz_CMDSWork::bRetFlag;
}

void DeviceWatch::onTake(Pass &pass)
{
    if (biz_CMDSWork::nSysPlan == 0) {
        require(!biz_CMDSWork::bRetFlag, "a take leaves the gate open");
    }
    if (m_waiting.empty()) {
        require(m_options.clears || m_options.workers > 1, "a command that was seen is not taken");
        return;
    }
    pass.hasTaken = true;
    pass.taken = m_waiting.front();
    m_waiting.pop_front();
    ++m_takes;
    m_inFlight = pass.taken;
    command(static_cast<quint32>(pass.taken)).fate = Fate::Taken;
    require(pass.worker->m_curSend.nTag == static_cast<quint32>(pass.taken), "not the first command is taken");
}

// --- The host -----------------------------------------------------------------------------------

void DeviceWatch::onLeft(int task)
{
    const auto found = m_doing.find(task);
    if (found == m_doing.end()) {
        return;
    }
    switch (found->second.deed) {
    case Deed::Push:
        m_waiting.push_back(found->second.number);
        break;
    case Deed::Clear:
        onClearLeft();
        break;
    case Deed::TimeoutClear:
        discardWaiting();
        break;
    case Deed::Open:
        break;
    }
}

/** It shuts the gate while it discards, as often as it takes, and opens it behind that. */
void DeviceWatch::onClearLeft()
{
    if (!biz_CMDSWork::bRetFlag) {
        noteClear(m_coverage.discardsAtPoint);
        discardWaiting();
        return;
    }
    noteClear(m_coverage.openingsAtPoint);
    ++m_clears;
    m_inFlight = -1;
}

void DeviceWatch::discardWaiting()
{
    for (const int number : m_waiting) {
        Command &discarded = command(static_cast<quint32>(number));
        discarded.fate = Fate::Discarded;
        require(discarded.payload.isDetached(), "a discarded command still exists");
    }
    m_waiting.clear();
}

/** Where a send loop stood in a pass that takes a command, while a clear had the lock. */
void DeviceWatch::noteClear(std::array<std::uint64_t, pointsOfTake> &met)
{
    for (const auto &[task, pass] : m_passes) {
        const auto point = static_cast<std::size_t>(m_scheduler.pointsSinceSleep(task));
        if (pass.hasTaken || pass.wantsToTake) {
            ++met[std::min(point, met.size() - 1)];
        }
    }
}

// --- The gate -----------------------------------------------------------------------------------

void DeviceWatch::followGate(int task)
{
    const bool isOpen = biz_CMDSWork::bRetFlag;
    if (isOpen == m_gateIsOpen) {
        return;
    }
    m_gateIsOpen = isOpen;
    m_gateChangedAt = m_scheduler.now();
    if (isOpen) {
        require(mayOpenGate(task), "the gate is opened by something else than a settling, a give-up or a clear");
    } else {
        require(mayShutGate(task), "the gate is shut by something else than a take or a clear");
    }
}

bool DeviceWatch::mayShutGate(int task) const
{
    const auto doing = m_doing.find(task);
    const auto pass = m_passes.find(task);
    return (doing != m_doing.end() && doing->second.deed == Deed::Clear) ||
           (pass != m_passes.end() && pass->second.wantsToTake);
}

/**
 * A guard that has seen the gate open opens it again, over what another loop, a watchdog's
 * successor or a clear has done since: alone, there is nothing in between.
 */
bool DeviceWatch::mayOpenGate(int task) const
{
    const bool isAlone = m_options.workers == 1 && !m_options.watchdogs && !m_options.clears;
    const auto doing = m_doing.find(task);
    const bool isHostsDeed =
        doing != m_doing.end() && (doing->second.deed == Deed::Clear || doing->second.deed == Deed::Open);
    return isHostsDeed || m_givesUp.count(task) != 0 || !isAlone;
}

} // namespace biz::scenario
