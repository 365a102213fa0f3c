#include <biz_console/run/run_times.h>

namespace biz::console {

namespace {

constexpr double millisecondsPerSecond = 1000.0;

} // namespace

void RunTimes::happened(const RunEvent &event)
{
    if (event.kind == RunEvent::Kind::Happened && event.event == Event::Sent && m_firstSentMs < 0) {
        m_firstSentMs = event.atMs;
    }
    if (event.kind != RunEvent::Kind::Ended) {
        return;
    }
    m_secondsToLastEnd = m_firstSentMs < 0 ? 0.0 : (event.atMs - m_firstSentMs) / millisecondsPerSecond;
}

} // namespace biz::console
