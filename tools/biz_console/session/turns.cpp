#include <biz_console/session/turns.h>

#include <algorithm>
#include <limits>

namespace biz::console {

Turns::Turns(std::vector<Turn> turns)
    : m_turns(std::move(turns))
{
}

double Turns::waitMs(double nowMs) const
{
    if (m_turns.empty()) {
        return 0.0;
    }
    if (isOver() || static_cast<std::size_t>(m_turns[m_next].endsBefore) >= m_endsAtMs.size()) {
        return std::numeric_limits<double>::infinity();
    }
    const Turn &turn = m_turns[m_next];
    return std::max(0.0, m_endsAtMs[static_cast<std::size_t>(turn.endsBefore)] + turn.delayMs - nowMs);
}

} // namespace biz::console
