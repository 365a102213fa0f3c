#include <testkit/test_clock.h>

#include <string>

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>

#include <clock/replaced_calls_p.h>
#include <clock/scheduler_p.h>
#include <clock/watchdog_p.h>

namespace biz::testkit {

namespace {

/** Containers whose order differs from run to run would bring other runs. */
void makeHashesTheSame()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 2, 0)
    QHashSeed::setDeterministicGlobalSeed();
#else
    qSetGlobalQHashSeed(0);
#endif
}

/** A library that reads the system's clock would be in another time than the test. */
void requireQtToFollow(const Scheduler &scheduler)
{
    QElapsedTimer timer;
    timer.start();
    const nanoseconds shown = std::chrono::milliseconds(timer.msecsSinceReference());
    if (shown != std::chrono::floor<std::chrono::milliseconds>(scheduler.monotonicClock())) {
        endTest("this program's time is not virtual: Qt reads another clock.");
    }
}

Scheduler &startScheduler()
{
    if (const char *const missed = callThatIsNotReplaced()) {
        endTest(std::string("this program's time is not virtual: calls of ") + missed +
                "() go past TestKit. Link BIZ::TestKit into the program itself, not into a library that it loads.");
    }
    makeHashesTheSame();
    Scheduler &scheduler = Scheduler::start();
    requireQtToFollow(scheduler);
    startWatchdog(scheduler);
    return scheduler;
}

Scheduler &followedScheduler()
{
    static Scheduler &scheduler = startScheduler();
    if (Scheduler::current() == nullptr) {
        endTest("a TestClock was made on a thread that was there before the first one.");
    }
    return scheduler;
}

/** Has the calling thread look at each moment, until the end of its scope; within another one it goes on after it. */
class LookAtEachMoment
{
public:
    explicit LookAtEachMoment(Scheduler &scheduler)
        : m_scheduler(scheduler)
        , m_before(scheduler.setLooksAtEachMoment(true))
    {
    }
    ~LookAtEachMoment() { m_scheduler.setLooksAtEachMoment(m_before); }
    LookAtEachMoment(const LookAtEachMoment &) = delete;
    LookAtEachMoment &operator=(const LookAtEachMoment &) = delete;

private:
    Scheduler &m_scheduler;
    const bool m_before;
};

} // namespace

class TestClock::Private
{
public:
    explicit Private(quint64 seedOfRun)
        : seed(seedOfRun)
        , scheduler(followedScheduler())
    {
        if (scheduler.isWatched()) {
            endTest("a second TestClock was made while there is one.");
        }
        scheduler.setWatched(true);
        scheduler.alignTime();
        scheduler.setSeed(seed);
        madeAt = scheduler.now();
        if (QCoreApplication::instance() == nullptr) {
            application = std::make_unique<QCoreApplication>(argumentCount, arguments);
        }
        // An event, since some event loops wait on where nothing has happened.
        scheduler.setInterruptPoll([] { QAbstractEventDispatcher::instance()->wakeUp(); });
    }

    ~Private() { scheduler.setWatched(false); }

    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;

    /** One turn of the event loop; it waits no longer than until then. */
    void turn(nanoseconds until)
    {
        const nanoseconds before = scheduler.boundNextPoll(until);
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        scheduler.boundNextPoll(before);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    const quint64 seed;
    Scheduler &scheduler;
    nanoseconds madeAt{0};

private:
    int argumentCount = 1;
    char name[8] = "testkit";
    char *arguments[2] = {name, nullptr};
    std::unique_ptr<QCoreApplication> application;
};

TestClock::TestClock(quint64 seed)
    : d(std::make_unique<Private>(seed))
{
}

TestClock::~TestClock() = default;

quint64 TestClock::seed() const
{
    return d->seed;
}

void TestClock::advance(std::chrono::milliseconds duration)
{
    const nanoseconds until = d->scheduler.now() + duration;
    do {
        d->turn(until);
    } while (d->scheduler.now() < until);
}

bool TestClock::runUntil(const std::function<bool()> &condition, std::chrono::milliseconds limit)
{
    const nanoseconds until = d->scheduler.now() + limit;
    const LookAtEachMoment look(d->scheduler);
    bool holds = condition();
    if (holds) {
        return true;
    }
    do {
        d->turn(until);
        holds = condition();
    } while (!holds && d->scheduler.now() < until);
    return holds;
}

nanoseconds TestClock::elapsed() const
{
    return d->scheduler.now() - d->madeAt;
}

void TestClock::setWallClock(const QDateTime &time)
{
    d->scheduler.setWallClock(std::chrono::milliseconds(time.toMSecsSinceEpoch()));
}

quint64 TestClock::trace() const
{
    return d->scheduler.trace();
}

} // namespace biz::testkit
