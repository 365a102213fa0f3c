#ifndef BIZ_CONSOLE_RUN_TIMES_H
#define BIZ_CONSOLE_RUN_TIMES_H

#include <biz_console/run/event_sink.h>

namespace biz::console {

/** How long the commands of a run took together. */
class RunTimes : public EventSink
{
public:
    void happened(const RunEvent &event) override;

    /** From the first command sent to the last end. */
    double secondsToLastEnd() const { return m_secondsToLastEnd; }

private:
    double m_firstSentMs = -1.0;
    double m_secondsToLastEnd = 0.0;
};

} // namespace biz::console

#endif
