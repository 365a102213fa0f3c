#ifndef BIZ_MONITOR_WATCHED_LOG_H
#define BIZ_MONITOR_WATCHED_LOG_H

#include <memory>

#include <QtCore/QTimer>

#include <biz_monitor/sources/line_source.h>
#include <history/reading/history_builder.h>

namespace biz::monitor {

/**
 * What a log tells, as far as it is kept: of each device the last few thousand commands. It reads on by itself, a
 * little at a time, so that a window stays alive; who shows it looks whenever it likes.
 */
class WatchedLog
{
public:
    explicit WatchedLog(std::unique_ptr<LineSource> source);

    /** Reads for a moment; true when there may be more at once. */
    bool readOn();

    const history::History &history() const { return m_builder.soFar(); }

    /** A copy, for a report. */
    history::History snapshot() const { return m_builder.snapshot(); }

    QString name() const { return m_source->name(); }

    /** Why nothing comes, or what was not understood, in a sentence; empty while all is well. */
    QString problem() const;

    /** Whether it goes on: lines came after those that were there when it was opened. */
    bool isLive() const;

    /** What is over is looked at as of its end. */
    double nowMs() const;

private:
    double presentMs() const;

    std::unique_ptr<LineSource> m_source;
    history::HistoryBuilder m_builder;
    QTimer m_timer;
    bool m_hasCaughtUp = false;
    bool m_hasGrown = false;
};

} // namespace biz::monitor

#endif
