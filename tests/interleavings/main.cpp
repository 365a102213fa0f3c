#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>

#include <sched.h>

#include <QtCore/QCoreApplication>

#include <interleavings/options.h>
#include <interleavings/search.h>

namespace {

using namespace biz::interleavings;

constexpr int badUsage = 2;

/** One thread runs at a time: on one processor they take turns without waking another one. */
void stayOnOneProcessor()
{
    cpu_set_t own;
    CPU_ZERO(&own);
    CPU_SET(static_cast<std::size_t>(sched_getcpu()), &own);
    sched_setaffinity(0, sizeof own, &own);
}

/** A crash or a deadlock names its schedule as well. */
[[noreturn]] void tellScheduleAndAbort()
{
    if (const auto *scheduler = biz::scenario::Scheduler::instance()) {
        scheduler->tellHowToRepeat(stderr);
    }
    std::signal(SIGABRT, SIG_DFL);
    std::abort();
}

void tellScheduleOfSignal(int /*signal*/)
{
    tellScheduleAndAbort();
}

struct Asked
{
    Situation situation;
    bool isPlanted = false;
    Schedule schedule;
};

/** SITUATION:CHOICES or SITUATION+planted:CHOICES. */
std::optional<Asked> scheduleFrom(const std::string &text)
{
    std::vector<Situation> all = smallSituations();
    for (const LargeSituation &large : largeSituations()) {
        all.push_back(large.situation);
    }
    const auto colon = text.rfind(':');
    const auto schedule = colon == std::string::npos ? std::nullopt : Schedule::fromString(text.substr(colon + 1));
    for (const Situation &situation : all) {
        for (const bool planted : {false, true}) {
            if (schedule && nameOf(situation, planted) == text.substr(0, colon)) {
                return Asked{situation, planted, *schedule};
            }
        }
    }
    return std::nullopt;
}

/** One run; fails when it shows anything. */
int repeat(const std::string &text)
{
    const auto asked = scheduleFrom(text);
    if (!asked) {
        std::fprintf(stderr, "no schedule of a situation: %s\n", text.c_str());
        return badUsage;
    }
    const Findings findings = replay(asked->situation, asked->isPlanted, asked->schedule);
    for (const std::string &what : findings) {
        std::printf("%s\n", what.c_str());
    }
    return findings.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    // A thread that is not Qt's own has the event loop that Qt has by itself.
    qputenv("QT_NO_GLIB", "1");
    const QCoreApplication application(argc, argv);
    stayOnOneProcessor();
    std::set_terminate(tellScheduleAndAbort);
    std::signal(SIGSEGV, tellScheduleOfSignal);
    std::signal(SIGABRT, tellScheduleOfSignal);

    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() == 2 && arguments[0] == "--schedule") {
        return repeat(arguments[1]);
    }
    options().isDeep = arguments == std::vector<std::string>{"--deep"};
    if (!arguments.empty() && !options().isDeep) {
        std::fprintf(stderr, "usage: biz_interleavings [--gtest_...] [--deep | --schedule SITUATION:CHOICES]\n");
        return badUsage;
    }
    return RUN_ALL_TESTS();
}
