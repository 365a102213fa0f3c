#include <interleavings/situations/stage.h>

#include <biz_cmdswork/biz_cmdswork.h>

namespace biz::interleavings {

namespace {

Stage *theStage = nullptr;

} // namespace

Stage::Stage(RecordingChooser &chooser, bool planted)
    : m_chooser(chooser)
    , m_isPlanted(planted)
    , m_scheduler(chooser)
{
    theStage = this;
}

Stage::~Stage()
{
    theStage = nullptr;
}

Findings Stage::run(const std::function<void()> &host)
{
    try {
        m_scheduler.run(host);
    } catch (const scenario::Violation &violation) {
        find(violation.what());
    }
    return m_findings;
}

void Stage::race(const std::function<void()> &act)
{
    // No loop's pass begins at the same time as the end of it.
    constexpr milliseconds untilOthersSleep{1};

    m_chooser.openRace();
    act();
    sleep(untilOthersSleep);
    m_chooser.closeRace();
}

void Stage::sleepUntil(milliseconds time)
{
    sleep(std::chrono::duration_cast<milliseconds>(time - m_scheduler.now()));
}

void Stage::require(bool holds, const std::string &broken)
{
    if (!holds) {
        find(broken);
    }
}

void Stage::enterSlot()
{
    require(scenario::Scheduler::locksHeld() == 0, "a signal leaves with a lock held");
    m_scheduler.point();
}

// --- What the library calls before an access without a lock ---------------------------------

// Declared by the header that stands before the library's own.
void beforeUnlockedAccess(const void *member);
void beforeUnlockedDiscard(const void *queue);

void beforeUnlockedAccess(const void *member)
{
    using scenario::Scheduler;

    if (Scheduler::isTask() && Scheduler::instance()->watches(member)) {
        Scheduler::instance()->point();
    }
}

void beforeUnlockedDiscard(const void *queue)
{
    beforeUnlockedAccess(queue);
    if (theStage != nullptr) {
        theStage->require(!scenario::Scheduler::instance()->isHeld(biz_CMDSWork::HexCmdlock.native_handle()),
                          finding::discardMeetsLock);
    }
}

} // namespace biz::interleavings
