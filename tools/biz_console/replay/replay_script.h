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
 * Plays the steps of one device in their order: each when as many writes and ends of commands
 * have happened as before it in the recording, and so long after the later of them. The library
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

    /** Whether the next write came before the next step. */
    bool isWriteDue() const;

    /** Whether all steps have been played. */
    bool isOver() const { return m_next == m_steps.size(); }

private:
    void schedule();
    void playNext();

    std::function<void(const RecordedStep &)> m_play;
    std::vector<RecordedStep> m_steps;
    std::size_t m_next = 0;
    QElapsedTimer m_clock;
    std::vector<double> m_writesAtMs; ///< when the n-th happened, from 1 on; the first is the start
    std::vector<double> m_endsAtMs;
    QTimer m_timer;
};

} // namespace biz::console

#endif
