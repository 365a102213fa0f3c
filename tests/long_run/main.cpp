#include <cstdio>
#include <optional>

#include <unistd.h>

#include <QtCore/QCommandLineParser>
#include <QtCore/QDir>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTemporaryDir>

#include <long_run/device_run.h>
#include <long_run/osd_run.h>

// Days of the kit in minutes: memory stays flat, counters and error log stay exact, whatever goes wrong each hour.

namespace {

using namespace biz;
using namespace biz::long_run;

constexpr int exitUsage = 2;

/** The names that --plant takes. */
const QMap<QString, Planted> plantedByName{
    {QString(), Planted::Nothing},
    {QStringLiteral("leak"), Planted::Leak},
    {QStringLiteral("miscount"), Planted::Miscount},
    {QStringLiteral("lost_line"), Planted::LostLine},
};

struct Request
{
    QString channel;
    Plan plan;
};

std::optional<Request> readArguments(const QStringList &arguments)
{
    QCommandLineParser parser;
    const QCommandLineOption duration(QStringLiteral("seconds"), QStringLiteral("How long it is, in virtual time."),
                                      QStringLiteral("N"), QStringLiteral("86400"));
    const QCommandLineOption round(QStringLiteral("round"), QStringLiteral("How often everything goes wrong."),
                                   QStringLiteral("SECONDS"), QStringLiteral("3600"));
    const QCommandLineOption plant(QStringLiteral("plant"), QStringLiteral("An error that is to be noticed."),
                                   QStringLiteral("leak|miscount|lost_line"));
    parser.addOptions({duration, round, plant});
    parser.addPositionalArgument(QStringLiteral("channel"), QStringLiteral("device or osd"));
    const bool isRead = parser.parse(arguments) && parser.positionalArguments().size() == 1;
    const QString channel = isRead ? parser.positionalArguments().constFirst() : QString();
    const Plan plan{seconds(parser.value(duration).toInt()), seconds(parser.value(round).toInt()),
                    plantedByName.value(parser.value(plant))};
    const bool isKnown = channel == QLatin1String("device") || channel == QLatin1String("osd");
    constexpr int leastRounds = 4;
    if (!isKnown || plan.round.count() <= 0 || plan.duration < leastRounds * plan.round ||
        !plantedByName.contains(parser.value(plant))) {
        std::fprintf(stderr, "usage: biz_long_run device|osd [--seconds N] [--round SECONDS] [--plant ERROR]\n"
                             "It takes four rounds at least.\n");
        return std::nullopt;
    }
    return Request{channel, plan};
}

/**
 * Memory that was freed and that a thread keeps for itself counts as taken, and takes days to reach its bound: the
 * program begins anew without that.
 */
void beginWithoutThreadCaches(char **argv)
{
    const char variable[] = "GLIBC_TUNABLES";
    if (!qEnvironmentVariableIsSet(variable)) {
        qputenv(variable, "glibc.malloc.tcache_count=0");
        execv("/proc/self/exe", argv);
    }
}

template<typename Run>
int run(const Plan &plan)
{
    testkit::TestClock time;
    Run run(time, plan);
    const std::string problem = run.go();
    std::printf("%.2f hours in rounds of %.2f\n",
                std::chrono::duration<double, std::ratio<3600>>(time.elapsed()).count(),
                std::chrono::duration<double, std::ratio<3600>>(plan.round).count());
    run.print();
    std::printf("%s%s\n", problem.empty() ? "all held" : "FAILED: ", problem.c_str());
    return problem.empty() ? 0 : 1;
}

} // namespace

int main(int argc, char **argv)
{
    beginWithoutThreadCaches(argv);
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    const auto request = readArguments(arguments);
    if (!request) {
        return exitUsage;
    }
    qputenv("TZ", "UTC"); // the error log has local times
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\nbiz.host*=false"));
    const QTemporaryDir scratch; // the error log follows the working directory
    QDir::setCurrent(scratch.path());
    const int result =
        request->channel == QLatin1String("osd") ? run<OsdRun>(request->plan) : run<DeviceRun>(request->plan);
    QDir::setCurrent(QDir::rootPath());
    return result;
}
