#include <biz_console/verdict/run_times.h>

#include <common/units.h>

namespace biz::console {

void RunTimes::happened(const host::Event &event)
{
    if (event.kind == host::EventKind::Sent && m_firstSentMs < 0) {
        m_firstSentMs = event.atMs;
    }
    if (!host::outcomeOf(event.kind)) {
        return;
    }
    m_secondsToLastEnd = m_firstSentMs < 0 ? 0.0 : (event.atMs - m_firstSentMs) / tools::millisecondsPerSecond;
    if (event.kind == host::EventKind::Answered && !event.device.isEmpty()) {
        m_secondsToLastAnswer[event.device] = m_secondsToLastEnd;
    }
}

} // namespace biz::console
