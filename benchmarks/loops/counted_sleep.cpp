#include <loops/counted_sleep.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <deque>
#include <mutex>

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace counted {

namespace {

/** The passes whose work is remembered. */
constexpr std::size_t worksKept = 512;

struct Loop
{
    std::string name;
    clockid_t cpuClock = 0;
    std::atomic<long long> passes{0};
    long long awakeSinceNs = 0;
    std::atomic<long long> lastWorksNs[worksKept] = {};
};

long long nowNs()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

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
bool timesWork = false;

Loop *enrol(const std::string &name)
{
    const std::lock_guard<std::mutex> lock(guard());
    Loop &loop = loops().emplace_back();
    loop.name = name;
    pthread_getcpuclockid(pthread_self(), &loop.cpuClock);
    return &loop;
}

/** Between two sleeps; a pass that was interrupted does not move the median. */
long long medianWorkNs(const Loop &loop)
{
    const auto kept = std::min<std::size_t>(static_cast<std::size_t>(loop.passes), worksKept);
    if (kept == 0) {
        return 0;
    }
    std::vector<long long> works(loop.lastWorksNs, loop.lastWorksNs + kept);
    std::sort(works.begin(), works.end());
    return works[works.size() / 2];
}

} // namespace

void timeWork()
{
    timesWork = true;
}

void nameThisLoop(const std::string &name)
{
    self = enrol(name);
    pthread_setname_np(pthread_self(), name.c_str());
}

std::vector<Reading> readAll()
{
    std::vector<Reading> readings;
    const std::lock_guard<std::mutex> lock(guard());
    for (const Loop &loop : loops()) {
        timespec cpu{};
        clock_gettime(loop.cpuClock, &cpu);
        readings.push_back({loop.name, loop.passes, cpu.tv_sec * 1000000000LL + cpu.tv_nsec, medianWorkNs(loop)});
    }
    return readings;
}

} // namespace counted

extern "C" [[gnu::visibility("default")]] int nanosleep(const timespec *request, timespec *remaining)
{
    using namespace counted;

    if (self == nullptr) {
        self = enrol("osd timeout");
    }
    const auto pass = static_cast<std::size_t>(self->passes.fetch_add(1, std::memory_order_relaxed));
    if (!timesWork) {
        return static_cast<int>(syscall(SYS_nanosleep, request, remaining));
    }
    self->lastWorksNs[pass % worksKept].store(nowNs() - self->awakeSinceNs, std::memory_order_relaxed);
    const auto result = static_cast<int>(syscall(SYS_nanosleep, request, remaining));
    self->awakeSinceNs = nowNs();
    return result;
}
