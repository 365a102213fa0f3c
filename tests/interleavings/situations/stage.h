#ifndef BIZ_INTERLEAVINGS_STAGE_H
#define BIZ_INTERLEAVINGS_STAGE_H

#include <functional>
#include <set>
#include <string>

#include <interleavings/choosers/choosers.h>
#include <scenario/scheduler.h>

namespace biz::interleavings {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace finding {

constexpr char discardMeetsLock[] = "the queue is discarded while another thread has it locked";

} // namespace finding

/** What a run has shown, in words. */
using Findings = std::set<std::string>;

/** Where one run of a situation is played: its host is the first task of a scheduler. */
class Stage
{
public:
    Stage(RecordingChooser &chooser, bool planted);
    virtual ~Stage();
    Stage(const Stage &) = delete;
    Stage &operator=(const Stage &) = delete;

    Findings run(const std::function<void()> &host);

    // --- For the host's script ----------------------------------------------------------

    /** Whether the host makes the situation's planted error. */
    bool isPlanted() const { return m_isPlanted; }

    /**
     * The part in which all interleavings are tried: what `act` does, what other tasks do at the
     * same time, and what they do until time moves on after it.
     */
    void race(const std::function<void()> &act);

    void sleepUntil(milliseconds time);
    void sleep(milliseconds duration) { m_scheduler.sleep(duration); }

    /** A point of choice in the host's own code. */
    void point() { m_scheduler.point(); }

    /** Another thread of the host's. */
    void beside(const std::string &name, const std::function<void()> &body) { m_scheduler.start(name, body); }

    void find(const std::string &what) { m_findings.insert(what); }
    void require(bool holds, const std::string &broken);
    bool hasFound(const std::string &what) const { return m_findings.count(what) != 0; }

protected:
    scenario::Scheduler &scheduler() { return m_scheduler; }
    nanoseconds wallClock() const { return m_scheduler.wallClock(); }

    /** At the start of each slot: an emission is a point of choice, and no lock is held there. */
    void enterSlot();

private:
    RecordingChooser &m_chooser;
    bool m_isPlanted;
    scenario::Scheduler m_scheduler;
    Findings m_findings;
};

} // namespace biz::interleavings

#endif
