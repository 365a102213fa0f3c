#ifndef BIZ_HOST_COMMAND_HISTORY_P_H
#define BIZ_HOST_COMMAND_HISTORY_P_H

#include <host/command_result.h>
#include <loops/host_clock_p.h>

namespace biz::host {

/** What happened to one command, with times since it was enqueued; bounded in length. */
class CommandHistory
{
public:
    void note(const QString &text, TimePoint at = Clock::now())
    {
        // The beginning explains most and the end tells how it ended: the middle is left out.
        if (m_events.size() == maxCommandEvents - 1) {
            m_events.removeAt(middle);
            ++m_leftOut;
        }
        m_events.append({millisecondsBetween(m_enqueuedAt, at), text});
    }

    QVector<CommandEvent> events() const
    {
        QVector<CommandEvent> all = m_events;
        if (m_leftOut > 0) {
            all.insert(middle, {all.at(middle - 1).atMs, QStringLiteral("%1 events are left out").arg(m_leftOut)});
        }
        return all;
    }

private:
    static constexpr int middle = maxCommandEvents / 2;

    TimePoint m_enqueuedAt = Clock::now();
    QVector<CommandEvent> m_events;
    int m_leftOut = 0;
};

} // namespace biz::host

#endif
