#include <clock/watchdog_p.h>

#include <string>

#include <clock/scheduler_p.h>
#include <clock/thread_description_p.h>

namespace biz::testkit {

namespace {

using std::chrono::milliseconds;

/** From one look at the tasks to the next. Looks are counted, so that a debugger's stop is not taken for a thread's. */
constexpr milliseconds lookPeriod{500};

/** Real time in which a task must wait or end. */
constexpr milliseconds patience{15'000};

void sleepInRealTime(milliseconds duration)
{
    timespec request{};
    request.tv_nsec = std::chrono::nanoseconds(duration).count();
    systemCalls().nanosleep(&request, nullptr);
}

void complain(Scheduler &scheduler, int thread)
{
    endTest("the thread " + nameOfThread(thread) + " has neither waited nor ended for " +
            std::to_string(std::chrono::duration_cast<std::chrono::seconds>(patience).count()) + " s: it " +
            describeActivity(thread) + ", which virtual time cannot follow.\n" + scheduler.description());
}

void *watch(void *argument)
{
    auto &scheduler = *static_cast<Scheduler *>(argument);
    std::uint64_t seen = scheduler.progress();
    milliseconds still{0};
    for (;;) {
        sleepInRealTime(lookPeriod);
        const std::uint64_t progress = scheduler.progress();
        const int thread = scheduler.runningThread();
        still = progress == seen && thread != 0 && scheduler.isWatched() ? still + lookPeriod : milliseconds(0);
        seen = progress;
        if (still >= patience) {
            complain(scheduler, thread);
        }
    }
}

} // namespace

void startWatchdog(Scheduler &scheduler)
{
    pthread_t thread{};
    if (systemCalls().pthreadCreate(&thread, nullptr, watch, &scheduler) == 0) {
        pthread_setname_np(thread, "testkit-watch");
        pthread_detach(thread);
    }
}

} // namespace biz::testkit
