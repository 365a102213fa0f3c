#include <biz_console/run/run_times.h>

#include <common/units.h>

namespace biz::console {

void RunTimes::happened(const RunEvent &event)
{
    if (event.kind == RunEvent::Kind::Happened && event.event == Event::Sent && m_firstSentMs < 0) {
        m_firstSentMs = event.atMs;
    }
    if (event.kind != RunEvent::Kind::Ended) {
        return;
    }
    m_secondsToLastEnd = m_firstSentMs < 0 ? 0.0 : (event.atMs - m_firstSentMs) / tools::millisecondsPerSecond;
}

} // namespace biz::console
