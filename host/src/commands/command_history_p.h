#ifndef BIZ_HOST_COMMAND_HISTORY_P_H
#define BIZ_HOST_COMMAND_HISTORY_P_H

#include <host/command_result.h>
#include <host_clock_p.h>

namespace biz::host {

/** What happened to one command, with times since it was enqueued; bounded in length. */
class CommandHistory
{
public:
    CommandHistory() = default;

    /** Of a command that was queued behind so many pending ones. */
    explicit CommandHistory(int pending)
        : m_pendingBefore(pending)
    {
    }

    TimePoint enqueuedAt() const { return m_enqueuedAt; }

    void note(const QString &text, TimePoint at = Clock::now())
    {
        // The beginning explains most and the end tells how it ended: the middle is left out.
        if (m_events.size() == mostNoted) {
            m_events.removeAt(middle);
            ++m_leftOut;
        }
        m_events.append({millisecondsBetween(m_enqueuedAt, at), text});
    }

    QVector<CommandEvent> events() const
    {
        QVector<CommandEvent> all;
        all.reserve(m_events.size() + 2);
        all.append({0.0, queuedText()});
        all += m_events;
        if (m_leftOut > 0) {
            all.insert(middle, {all.at(middle - 1).atMs, QStringLiteral("%1 events are left out").arg(m_leftOut)});
        }
        return all;
    }

private:
    /** Beside the first event, which is not kept as a text, and the one that says what is left out. */
    static constexpr int mostNoted = maxCommandEvents - 2;
    static constexpr int middle = maxCommandEvents / 2;

    /** Made when it is asked for, since most commands that wait are never asked. */
    QString queuedText() const
    {
        if (m_pendingBefore == 0) {
            return QStringLiteral("queued with nothing before it");
        }
        return QStringLiteral("queued behind %1").arg(m_pendingBefore);
    }

    TimePoint m_enqueuedAt = Clock::now();
    int m_pendingBefore = 0;
    int m_leftOut = 0;
    QVector<CommandEvent> m_events;
};

} // namespace biz::host

#endif
