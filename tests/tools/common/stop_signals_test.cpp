#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <common/stop_signals.h>

// Each test ends a process of its own: the one that a signal kills is not that of the tests.

using namespace biz::tools;

namespace {

using StopSignalsDeathTest = testing::TestWithParam<int>;

constexpr int endedInOrder = 7;

TEST_P(StopSignalsDeathTest, TwoOfAKindAtOnceAreOneWish)
{
    const auto askTwice = [] {
        const StopSignals signals;
        raise(GetParam());
        raise(GetParam());
        std::_Exit(endedInOrder);
    };
    EXPECT_EXIT(askTwice(), testing::ExitedWithCode(endedInOrder), "");
}

TEST_P(StopSignalsDeathTest, OneThatComesAgainLaterEndsTheProcess)
{
    const auto insist = [] {
        int argc = 0;
        const QCoreApplication application(argc, nullptr);
        const StopSignals signals;
        raise(GetParam());
        QTimer::singleShot(600, [] { raise(GetParam()); });
        QTimer::singleShot(5000, [] { std::_Exit(endedInOrder); });
        QCoreApplication::exec();
    };
    EXPECT_EXIT(insist(), testing::KilledBySignal(GetParam()), "");
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, StopSignalsDeathTest, testing::Values(SIGINT, SIGTERM, SIGHUP));

} // namespace
