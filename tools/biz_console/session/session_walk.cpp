#include <biz_console/session/session_walk.h>

#include <utility>

namespace biz::console {

SessionWalk::SessionWalk(std::vector<int> repeats, int devices, int rounds)
    : m_repeats(std::move(repeats))
    , m_devices(devices)
    , m_rounds(rounds)
{
    for (const int repeat : m_repeats) {
        m_perRound += static_cast<qint64>(repeat) * m_devices;
    }
}

qint64 SessionWalk::total() const
{
    return m_perRound * (isEndless() ? m_step.round : m_rounds);
}

bool SessionWalk::beginRound()
{
    if (!isEndless() && m_step.round == m_rounds) {
        return false;
    }
    const int round = m_step.round + 1;
    m_step = WalkStep();
    m_step.round = round;
    return true;
}

void SessionWalk::advance()
{
    if (++m_step.device < m_devices) {
        return;
    }
    m_step.device = 0;
    if (++m_step.number <= m_repeats.at(static_cast<std::size_t>(m_step.command))) {
        return;
    }
    m_step.number = 1;
    ++m_step.command;
}

qint64 SessionWalk::left(int command) const
{
    const qint64 perRound = static_cast<qint64>(m_repeats.at(static_cast<std::size_t>(command))) * m_devices;
    const qint64 later = isEndless() ? 0 : (m_rounds - m_step.round) * perRound;
    if (command != m_step.command) {
        return later + (command > m_step.command ? perRound : 0);
    }
    return later + perRound - static_cast<qint64>(m_step.number - 1) * m_devices - m_step.device;
}

} // namespace biz::console
