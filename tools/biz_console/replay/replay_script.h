#ifndef BIZ_CONSOLE_REPLAY_SCRIPT_H
#define BIZ_CONSOLE_REPLAY_SCRIPT_H

#include <functional>
#include <vector>

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <biz_console/recording/recording.h>

namespace biz::console {

/**
 * Plays the steps of one device in their order: each when as many writes, ends of commands and openings
 * of the link have happened as before it in the recording, and so long after the last of them. The library
 * is never the same to the millisecond; what a reply followed stays the same nevertheless.
 */
class ReplayScript : public QObject
{
    Q_OBJECT

public:
    explicit ReplayScript(std::function<void(const RecordedStep &)> play);

    void append(const RecordedStep &step) { m_steps.push_back(step); }

    /** The clock of the recording starts. */
    void start();

    void noteWrite();
    void noteEnd();

    /** The host opens the link once more. */
    void noteReopening();

    /** The last command has ended: what was to follow a write or an end that never came waits no longer. */
    void noteLastEnd();

    /** Whether the next write came before the next step. */
    bool isWriteDue() const;

    /** Whether all steps have been played. */
    bool isOver() const { return m_next == m_steps.size(); }

private:
    using Moments = std::vector<double>; ///< when the n-th happened, from 1 on; the first is the start

    void note(Moments &moments);
    bool isReached(const RecordedStep &step) const;
    void schedule();
    void playNext();

    std::function<void(const RecordedStep &)> m_play;
    std::vector<RecordedStep> m_steps;
    std::size_t m_next = 0;
    bool m_hasLastEnded = false;
    QElapsedTimer m_clock;
    Moments m_writesAtMs;
    Moments m_endsAtMs;
    Moments m_reopeningsAtMs;
    QTimer m_timer;
};

} // namespace biz::console

#endif
