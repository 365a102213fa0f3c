#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTemporaryDir>

#include <kit_seeds/model/journal.h>
#include <kit_seeds/worlds/play.h>

// Kit, library and simulated devices in virtual time, with an application that does whatever it may. Each seed
// runs in a process of its own, so that it runs alone as among others.

namespace {

using namespace biz;
using namespace biz::kit_seeds;

/** What a seed's process hands back. */
struct Report
{
    unsigned long long commands = 0;
    unsigned long long writes = 0;
    unsigned long long virtualMs = 0;
    unsigned long long trace = 0;
    char violation[200] = {};
};

void note(Report &report, const Worlds &worlds, const std::string &violation)
{
    for (const auto &world : worlds) {
        report.commands += world->commands();
        report.writes += world->writes();
    }
    std::snprintf(report.violation, sizeof report.violation, "%s", violation.c_str());
}

Report runSeed(quint64 seed, int steps, bool isTold)
{
    Report report;
    Dice dice(seed);
    testkit::TestClock clock(seed);
    if (isTold) {
        journal.begin();
    }
    const Worlds worlds = makeWorlds(seed, dice, clock);
    const std::string violation = play(worlds, dice, clock, steps);
    note(report, worlds, violation);
    report.virtualMs =
        static_cast<unsigned long long>(std::chrono::duration_cast<milliseconds>(clock.elapsed()).count());
    report.trace = clock.trace();
    return report;
}

/** Runs the seed in a process of its own; the pipe brings its report, or nothing when it crashed. */
Report runInOwnProcess(quint64 seed, int steps, bool isTold)
{
    int ends[2];
    Report report;
    std::snprintf(report.violation, sizeof report.violation, "the program ended");
    if (::pipe(ends) != 0) {
        return report;
    }
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        const Report own = runSeed(seed, steps, isTold);
        std::fflush(nullptr);
        std::_Exit(::write(ends[1], &own, sizeof own) == static_cast<ssize_t>(sizeof own) ? 0 : 1);
    }
    ::close(ends[1]);
    Report received;
    if (child > 0 && ::read(ends[0], &received, sizeof received) == static_cast<ssize_t>(sizeof received)) {
        report = received;
    }
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    return report;
}

struct Sums
{
    unsigned long long commands = 0;
    unsigned long long writes = 0;
    unsigned long long virtualMs = 0;
    unsigned long long failed = 0;
};

void add(Sums &sums, quint64 seed, int steps, const Report &report)
{
    sums.commands += report.commands;
    sums.writes += report.writes;
    sums.virtualMs += report.virtualMs;
    if (report.violation[0] != '\0') {
        ++sums.failed;
        std::printf("FAILED seed %llu: %s\n  repeat with: --seed %llu --steps %d\n",
                    static_cast<unsigned long long>(seed), report.violation, static_cast<unsigned long long>(seed),
                    steps);
    }
}

long largestMemoryMiB()
{
    rusage usage{};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    return usage.ru_maxrss / 1024;
}

QCommandLineOption option(const char *name, const char *text, const char *value)
{
    return {QString::fromLatin1(name), QString::fromLatin1(text), QStringLiteral("N"), QString::fromLatin1(value)};
}

} // namespace

int main(int argc, char **argv)
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    QCommandLineParser parser;
    const QCommandLineOption only = option("seed", "Run this seed only.", "");
    const QCommandLineOption first = option("first", "The first seed.", "0");
    const QCommandLineOption count = option("count", "How many seeds to run.", "500");
    const QCommandLineOption stepsOption = option("steps", "Calls and misfortunes of each seed.", "80");
    const QCommandLineOption traces({QStringLiteral("traces")}, QStringLiteral("Show each seed's trace."));
    const QCommandLineOption told({QStringLiteral("tell")}, QStringLiteral("Tell what happens in each seed."));
    const QCommandLineOption untilFailure({QStringLiteral("until-failure")},
                                          QStringLiteral("Run no further seed when one has failed."));
    parser.addOptions({only, first, count, stepsOption, traces, told, untilFailure});
    if (!parser.parse(arguments)) {
        std::fprintf(stderr, "%s\n", qPrintable(parser.errorText()));
        return 2;
    }
    if (!parser.isSet(told)) {
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\nbiz.host*=false"));
    }
    const QTemporaryDir scratch; // the error log follows the working directory
    QDir::setCurrent(scratch.path());

    const bool isOne = parser.isSet(only);
    const quint64 from = parser.value(isOne ? only : first).toULongLong();
    const quint64 runs = isOne ? 1 : parser.value(count).toULongLong();
    const int steps = parser.value(stepsOption).toInt();
    Sums sums;
    for (quint64 seed = from; seed < from + runs; ++seed) {
        const Report report = runInOwnProcess(seed, steps, parser.isSet(told));
        if (parser.isSet(traces)) {
            std::printf("seed %llu: %016llx\n", static_cast<unsigned long long>(seed), report.trace);
        }
        add(sums, seed, steps, report);
        if (sums.failed > 0 && parser.isSet(untilFailure)) {
            break;
        }
    }
    QDir::setCurrent(QDir::rootPath());
    std::printf("%llu seeds, %llu commands, %llu writes, %.1f hours of virtual time, %ld MiB at most\n",
                static_cast<unsigned long long>(runs), sums.commands, sums.writes,
                static_cast<double>(sums.virtualMs) / 3'600'000.0, largestMemoryMiB());
    std::printf("%llu failed\n", sums.failed);
    return sums.failed == 0 ? 0 : 1;
}
