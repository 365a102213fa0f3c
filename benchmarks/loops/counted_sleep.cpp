#include <loops/counted_sleep.h>

#include <atomic>
#include <ctime>
#include <deque>
#include <mutex>

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace counted {

namespace {

struct Loop
{
    std::string name;
    clockid_t cpuClock = 0;
    std::atomic<long long> passes{0};
};

std::mutex &guard()
{
    static auto *mutex = new std::mutex;
    return *mutex;
}

std::deque<Loop> &loops()
{
    static auto *all = new std::deque<Loop>;
    return *all;
}

thread_local Loop *self = nullptr;

Loop *enrol(const std::string &name)
{
    const std::lock_guard<std::mutex> lock(guard());
    Loop &loop = loops().emplace_back();
    loop.name = name;
    pthread_getcpuclockid(pthread_self(), &loop.cpuClock);
    return &loop;
}

} // namespace

void nameThisLoop(const std::string &name)
{
    self = enrol(name);
}

std::vector<Reading> readAll()
{
    std::vector<Reading> readings;
    const std::lock_guard<std::mutex> lock(guard());
    for (const Loop &loop : loops()) {
        timespec cpu{};
        clock_gettime(loop.cpuClock, &cpu);
        readings.push_back({loop.name, loop.passes, cpu.tv_sec * 1000000000LL + cpu.tv_nsec});
    }
    return readings;
}

} // namespace counted

extern "C" [[gnu::visibility("default")]] int nanosleep(const timespec *request, timespec *remaining)
{
    if (counted::self == nullptr) {
        counted::self = counted::enrol("osd timeout");
    }
    counted::self->passes.fetch_add(1, std::memory_order_relaxed);
    return static_cast<int>(syscall(SYS_nanosleep, request, remaining));
}
