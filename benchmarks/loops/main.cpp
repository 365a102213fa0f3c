// One side of a measurement that scripts/bench runs on several processes at once.
// bench_loops ROLE START WINDOWS SECONDS: from START on, in seconds of the monotonic clock,
// reads all loops' passes and CPU time at the end of each window; one JSON object a line.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <unistd.h>

#include <loops/counted_sleep.h>
#include <loops/roles.h>

namespace {

void sleepUntil(double seconds)
{
    timespec until{};
    until.tv_sec = static_cast<time_t>(seconds);
    until.tv_nsec = static_cast<long>((seconds - static_cast<double>(until.tv_sec)) * 1e9);
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) != 0) {
    }
}

void printWindow(int window, const std::vector<counted::Reading> &before, const std::vector<counted::Reading> &after)
{
    for (std::size_t i = 0; i < before.size() && i < after.size(); ++i) {
        std::printf("{\"window\": %d, \"loop\": \"%s\", \"passes\": %lld, \"cpu_ns\": %lld, \"work_ns\": %lld}\n",
                    window, after[i].loop.c_str(), after[i].passes - before[i].passes, after[i].cpuNs - before[i].cpuNs,
                    after[i].medianWorkNs);
    }
}

int explainUsage()
{
    std::fprintf(stderr, "usage: bench_loops ROLE START WINDOWS SECONDS [work]\n"
                         "ROLE: twin, idle, busy, plain, osd-idle-DEVICES; work: times each pass as well\n");
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    constexpr int expectedArguments = 5;
    if (argc == expectedArguments + 1 && std::strcmp(argv[expectedArguments], "work") == 0) {
        counted::timeWork();
    } else if (argc != expectedArguments) {
        return explainUsage();
    }
    if (!startRole(argv[1])) {
        return explainUsage();
    }
    const double start = std::atof(argv[2]);
    const int windows = std::atoi(argv[3]);
    const double seconds = std::atof(argv[4]);

    sleepUntil(start);
    auto before = counted::readAll();
    for (int window = 0; window < windows; ++window) {
        sleepUntil(start + (window + 1) * seconds);
        auto after = counted::readAll();
        printWindow(window, before, after);
        before = std::move(after);
    }
    std::fflush(stdout);
    // The loops are in the middle of their passes: no destructor may run under them.
    _exit(0);
}
