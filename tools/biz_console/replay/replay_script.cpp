#include <biz_console/replay/replay_script.h>

#include <common/units.h>

#include <algorithm>
#include <cmath>

namespace biz::console {

namespace {

/** When the n-th of them happened, or the last one if there were fewer. */
double momentOf(const std::vector<double> &moments, int number)
{
    return moments[std::min(moments.size() - 1, static_cast<std::size_t>(number))];
}

} // namespace

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

void ReplayScript::noteLastEnd()
{
    m_hasLastEnded = true;
    schedule();
}

bool ReplayScript::isReached(const RecordedStep &step) const
{
    return static_cast<std::size_t>(step.writesBefore) < m_writesAtMs.size() &&
           static_cast<std::size_t>(step.endsBefore) < m_endsAtMs.size() &&
           static_cast<std::size_t>(step.reopeningsBefore) < m_reopeningsAtMs.size();
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
    if (isReached(step) || m_hasLastEnded) {
        const double lastMs =
            std::max({momentOf(m_writesAtMs, step.writesBefore), momentOf(m_endsAtMs, step.endsBefore),
                      momentOf(m_reopeningsAtMs, step.reopeningsBefore)});
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
