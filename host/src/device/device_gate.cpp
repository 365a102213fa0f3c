#include <device/device_gate_p.h>

#include <algorithm>

#include <device/channel/device_channel_p.h>

namespace biz::host {

namespace {

/** Without a gate: as many as the send loop takes while the host's thread sleeps for a few of its passes. */
constexpr int mostAheadWithoutGate = 4;

} // namespace

DeviceGate::DeviceGate(DeviceCommands *commands, std::function<bool()> mayHandOver, QObject *host)
    : m_commands(commands)
    , m_mayHandOver(std::move(mayHandOver))
    , m_quietTimer(host)
{
    m_quietTimer.setSingleShot(true);
    m_quietTimer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&m_quietTimer, &QTimer::timeout, host, [this] { advance(); });
}

void DeviceGate::setPipelined(bool on)
{
    m_isPipelined = on;
    device_channel::setPipelined(on);
    advance();
}

void DeviceGate::setSettleTime(std::chrono::milliseconds time)
{
    m_settleTime = time;
    m_quietTimer.stop();
    advance();
}

void DeviceGate::reset()
{
    m_ahead.clear();
    m_lastTaken.reset();
    m_isClosed = false;
    m_lastReply = TimePoint::min();
    m_quietTimer.stop();
}

bool DeviceGate::isTake(const model_Protocoldata &record) const
{
    return m_lastTaken != record.ucHead[0] && std::find(m_ahead.begin(), m_ahead.end(), record.nTag) != m_ahead.end();
}

void DeviceGate::noteTake(const model_Protocoldata &record, bool closedGate)
{
    m_ahead.erase(std::remove(m_ahead.begin(), m_ahead.end(), record.nTag), m_ahead.end());
    m_lastTaken = record.ucHead[0];
    m_isClosed = m_isClosed || closedGate;
}

void DeviceGate::beginQuietTime(TimePoint arrival)
{
    m_lastReply = arrival;
}

void DeviceGate::advance()
{
    const bool opens = m_isClosed && m_commands->gated() == nullptr;
    std::vector<model_Protocoldata> commands;
    if (m_mayHandOver()) {
        for (int left = room(m_isClosed && !opens); left > 0 && !m_commands->lane().queue.isEmpty(); --left) {
            if (!m_isPipelined && !isQuietTimeOver()) {
                break;
            }
            if (const DeviceCommand *const command = m_commands->handOver(m_commands->lane())) {
                commands.push_back(command->record);
                commands.back().nTag = tagOf(command->ticket);
                m_ahead.push_back(commands.back().nTag);
            }
        }
    }
    if (!opens && commands.empty()) {
        return;
    }
    m_isClosed = m_isClosed && !opens;
    device_channel::handOver(opens, commands);
}

/** How many commands the channel may be given. */
int DeviceGate::room(bool isClosed) const
{
    if (isClosed) {
        return 0;
    }
    return (m_isPipelined ? mostAheadWithoutGate : 1) - static_cast<int>(m_ahead.size());
}

/** If it is not, advance() follows when it is. */
bool DeviceGate::isQuietTimeOver()
{
    using std::chrono::milliseconds;

    // The difference of times cannot overflow, as their sum could.
    const auto quietFor = m_lastReply == TimePoint::min() ? Clock::duration::max() : Clock::now() - m_lastReply;
    if (quietFor >= m_settleTime) {
        return true;
    }
    m_quietTimer.start(std::chrono::ceil<milliseconds>(m_settleTime - quietFor));
    return false;
}

} // namespace biz::host
