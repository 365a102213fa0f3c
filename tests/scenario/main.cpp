#include <scenario/scheduler.h>
#include <scenario/world.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include <sched.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>

namespace {

using namespace biz::scenario;

// What a class of scenarios is free to do, and what not: crosses and naughts in the table.
constexpr bool X = true;
constexpr bool o = false;

// clang-format off
/** A seed's class is its remainder, so any range of seeds covers all of them. */
constexpr ScenarioClass classes[] = {
    // name, runner, workers, clears, skips, watchdogs, gate openings, plan changes, type changes, clock jumps
    {"device: one worker", runDeviceScenario, 1, o, o, o, o, o, o, X},
    {"device: plan and type changes", runDeviceScenario, 1, o, o, o, o, X, X, X},
    {"device: gate openings", runDeviceScenario, 1, o, o, o, X, o, o, o},
    {"device: clears", runDeviceScenario, 1, X, o, o, o, o, o, o},
    {"device: clears and skip mode", runDeviceScenario, 1, X, X, o, o, X, o, o},
    {"device: watchdogs", runDeviceScenario, 1, o, o, X, o, o, o, o},
    {"device: watchdogs and clears", runDeviceScenario, 1, X, o, X, o, o, o, o},
    {"device: two workers", runDeviceScenario, 2, o, o, o, o, o, o, o},
    {"device: two workers, all changes", runDeviceScenario, 2, X, o, o, X, X, X, X},
    {"OSD: one worker", runOsdScenario, 1, o, o, o, o, o, o, o},
    {"OSD: clears and clock jumps", runOsdScenario, 1, X, o, o, o, o, o, X},
    {"OSD: two workers, clears", runOsdScenario, 2, X, o, o, o, o, o, X},
};
// clang-format on
constexpr std::uint64_t classCount = std::size(classes);

/** One thread runs at a time: on one processor they take turns without waking another one, several times as fast. */
void stayOnOneProcessor()
{
    cpu_set_t own;
    CPU_ZERO(&own);
    CPU_SET(static_cast<std::size_t>(sched_getcpu()), &own);
    sched_setaffinity(0, sizeof own, &own);
}

/** A crash, or what a slot throws into a thread of the library, names its seed as well. */
[[noreturn]] void tellSeedAndAbort()
{
    if (Scheduler::instance() != nullptr) {
        Scheduler::instance()->tellHowToRepeat(stderr);
    }
    std::signal(SIGABRT, SIG_DFL);
    std::abort();
}

void tellSeedOfSignal(int /*signal*/)
{
    tellSeedAndAbort();
}

bool runSeed(std::uint64_t seed, Coverage &coverage, bool fingerprints)
{
    const ScenarioClass &options = classes[seed % classCount];
    try {
        options.run(seed, options, coverage);
        ++coverage.runs;
        if (fingerprints) {
            std::printf("seed %llu: %016llx\n", static_cast<unsigned long long>(seed),
                        static_cast<unsigned long long>(coverage.fingerprint));
        }
        return true;
    } catch (const Violation &violation) {
        std::printf("FAILED seed %llu (%s)\n  %s\n  repeat with: --seed %llu\n", static_cast<unsigned long long>(seed),
                    options.name, violation.what(), static_cast<unsigned long long>(seed));
        return false;
    }
}

void report(const Coverage &coverage)
{
    const auto number = [](std::uint64_t value) {
        return static_cast<unsigned long long>(value);
    };
    std::printf("%llu runs, %llu commands, %llu replies, %llu points of choice, %llu s of virtual time\n",
                number(coverage.runs), number(coverage.commands), number(coverage.replies), number(coverage.points),
                number(coverage.virtualMs / 1000));
    std::printf("%llu resends, %llu give-ups, %llu clears, %llu wedged gates opened\n", number(coverage.resends),
                number(coverage.giveUps), number(coverage.clears), number(coverage.wedgedGates));
    const auto printPlaces = [number](const char *what, const std::array<std::uint64_t, pointsOfTake> &met) {
        std::printf("%s by a clear during a take, by the take's points:", what);
        for (std::size_t i = 0; i < met.size(); ++i) {
            std::printf(" %zu:%llu", i, number(met[i]));
        }
        std::printf("\n");
    };
    printPlaces("discards", coverage.discardsAtPoint);
    printPlaces("openings", coverage.openingsAtPoint);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Whole-system scenarios in virtual time, chosen by seeds"));
    parser.addHelpOption();
    parser.addOption({QStringLiteral("seed"), QStringLiteral("Run this seed only."), QStringLiteral("N")});
    parser.addOption(
        {QStringLiteral("first"), QStringLiteral("The first seed."), QStringLiteral("N"), QStringLiteral("0")});
    parser.addOption({QStringLiteral("count"), QStringLiteral("How many seeds to run."), QStringLiteral("N"),
                      QStringLiteral("2000")});
    parser.addOption({QStringLiteral("fingerprints"),
                      QStringLiteral("Show for each seed one number that stands for all its choices and signals.")});
    parser.process(application);

    stayOnOneProcessor();
    std::set_terminate(tellSeedAndAbort);
    std::signal(SIGSEGV, tellSeedOfSignal);
    std::signal(SIGABRT, tellSeedOfSignal);

    // The error log follows the working directory.
    const QTemporaryDir scratch;
    QDir::setCurrent(scratch.path());

    std::uint64_t first = parser.value(QStringLiteral("first")).toULongLong();
    std::uint64_t count = parser.value(QStringLiteral("count")).toULongLong();
    if (parser.isSet(QStringLiteral("seed"))) {
        first = parser.value(QStringLiteral("seed")).toULongLong();
        count = 1;
    }
    const bool fingerprints = parser.isSet(QStringLiteral("fingerprints"));
    Coverage coverage;
    std::uint64_t failed = 0;
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        failed += runSeed(seed, coverage, fingerprints) ? 0 : 1;
    }
    report(coverage);
    QDir::setCurrent(QDir::rootPath());
    std::printf("%llu passed, %llu failed\n", static_cast<unsigned long long>(coverage.runs),
                static_cast<unsigned long long>(failed));
    return failed == 0 ? 0 : 1;
}
