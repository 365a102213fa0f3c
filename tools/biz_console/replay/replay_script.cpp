#include <biz_console/replay/replay_script.h>

#include <common/units.h>

#include <algorithm>
#include <cmath>

namespace biz::console {

ReplayScript::ReplayScript(std::function<void(const RecordedStep &)> play)
    : m_play(std::move(play))
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &ReplayScript::playNext);
}

void ReplayScript::start()
{
    m_clock.start();
    m_writesAtMs = m_endsAtMs = m_reopeningsAtMs = {0.0};
    schedule();
}

void ReplayScript::noteWrite()
{
    note(m_writesAtMs);
}

void ReplayScript::noteEnd()
{
    note(m_endsAtMs);
}

void ReplayScript::noteReopening()
{
    note(m_reopeningsAtMs);
}

void ReplayScript::note(Moments &moments)
{
    moments.push_back(tools::elapsedMs(m_clock));
    schedule();
}

bool ReplayScript::isWriteDue() const
{
    return isOver() || m_writesAtMs.size() <= static_cast<std::size_t>(m_steps[m_next].writesBefore);
}

// By timer even when it is due: a device never answers from within a write.
void ReplayScript::schedule()
{
    if (m_timer.isActive() || isOver()) {
        return;
    }
    const RecordedStep &step = m_steps[m_next];
    const auto writes = static_cast<std::size_t>(step.writesBefore);
    const auto ends = static_cast<std::size_t>(step.endsBefore);
    const auto reopenings = static_cast<std::size_t>(step.reopeningsBefore);
    if (writes < m_writesAtMs.size() && ends < m_endsAtMs.size() && reopenings < m_reopeningsAtMs.size()) {
        const double lastMs = std::max({m_writesAtMs[writes], m_endsAtMs[ends], m_reopeningsAtMs[reopenings]});
        const double dueMs = lastMs + step.delayMs;
        m_timer.start(std::max(0, static_cast<int>(std::lround(dueMs - tools::elapsedMs(m_clock)))));
    }
}

void ReplayScript::playNext()
{
    const RecordedStep step = m_steps[m_next++];
    m_play(step);
    schedule();
}

} // namespace biz::console
