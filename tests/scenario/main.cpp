#include <scenario/scheduler.h>
#include <scenario/world.h>

#include <cstdio>

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QTemporaryDir>

namespace {

using namespace biz::scenario;

/** A seed's class is its remainder, so any range of seeds covers all of them. */
constexpr ScenarioClass classes[] = {
    // name, runner, workers, clears, skips, watchdogs, plan changes, type changes, clock jumps
    {"device: one worker", runDeviceScenario, 1, false, false, false, false, false, true},
    {"device: plan and type change", runDeviceScenario, 1, false, false, false, true, true, true},
    {"device: clears", runDeviceScenario, 1, true, false, false, false, false, false},
    {"device: clears and skip mode", runDeviceScenario, 1, true, true, false, true, false, false},
    {"device: watchdogs", runDeviceScenario, 1, true, false, true, false, false, false},
    {"device: two workers", runDeviceScenario, 2, false, false, false, false, false, false},
    {"device: two workers, clears", runDeviceScenario, 2, true, false, false, true, true, true},
    {"OSD: one worker", runOsdScenario, 1, false, false, false, false, false, false},
    {"OSD: clears and clock jumps", runOsdScenario, 1, true, false, false, false, false, true},
    {"OSD: two workers, clears", runOsdScenario, 2, true, false, false, false, false, true},
};
constexpr std::uint64_t classCount = std::size(classes);

bool runSeed(std::uint64_t seed, Coverage &coverage)
{
    const ScenarioClass &options = classes[seed % classCount];
    try {
        options.run(seed, options, coverage);
        ++coverage.runs;
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
    std::printf("clears of waiting commands, by the send loop's points since its last sleep:");
    for (std::size_t i = 0; i < coverage.clearsAtPoint.size(); ++i) {
        std::printf(" %zu:%llu", i, number(coverage.clearsAtPoint[i]));
    }
    std::printf("\n");
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
    parser.process(application);

    // The error log follows the working directory.
    const QTemporaryDir scratch;
    QDir::setCurrent(scratch.path());

    std::uint64_t first = parser.value(QStringLiteral("first")).toULongLong();
    std::uint64_t count = parser.value(QStringLiteral("count")).toULongLong();
    if (parser.isSet(QStringLiteral("seed"))) {
        first = parser.value(QStringLiteral("seed")).toULongLong();
        count = 1;
    }
    Coverage coverage;
    std::uint64_t failed = 0;
    for (std::uint64_t seed = first; seed < first + count; ++seed) {
        failed += runSeed(seed, coverage) ? 0 : 1;
    }
    report(coverage);
    QDir::setCurrent(QDir::rootPath());
    std::printf("%llu passed, %llu failed\n", static_cast<unsigned long long>(coverage.runs),
                static_cast<unsigned long long>(failed));
    return failed == 0 ? 0 : 1;
}
