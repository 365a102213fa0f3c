#ifndef BIZ_CONSOLE_RUN_TIMES_H
#define BIZ_CONSOLE_RUN_TIMES_H

#include <QtCore/QHash>

#include <biz_console/verdict/event_sink.h>

namespace biz::console {

/** How long the commands of a run took together. */
class RunTimes : public EventSink
{
public:
    void happened(const host::Event &event) override;

    /** From the first command sent to the last end. */
    double secondsToLastEnd() const { return m_secondsToLastEnd; }

    /** From the first command sent to the last answer of an OSD device; 0 before there is one. */
    double secondsToLastAnswer(const QString &device) const { return m_secondsToLastAnswer.value(device); }

private:
    double m_firstSentMs = -1.0;
    double m_secondsToLastEnd = 0.0;
    QHash<QString, double> m_secondsToLastAnswer; ///< by device
};

} // namespace biz::console

#endif
