#include <algorithm>
#include <chrono>
#include <limits>
#include <string>

#include <QtCore/QProcess>

#include <gtest/gtest.h>

namespace {

/** Whether this build's programs look at themselves for a while before they end. */
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isUnderSanitizer = true;
#else
constexpr bool isUnderSanitizer = false;
#endif

class OsdProcessEnd : public testing::TestWithParam<const char *>
{
};

std::string nameOf(const testing::TestParamInfo<const char *> &info)
{
    std::string way = info.param;
    std::replace(way.begin(), way.end(), '-', '_');
    return way;
}

} // namespace

TEST_P(OsdProcessEnd, IsSafeAndQuickWithCommandsPending)
{
    constexpr int rounds = 3;
    constexpr int patienceMs = 30000;
    constexpr long long quickMs = 200;
    long long quickest = std::numeric_limits<long long>::max();
    for (int round = 0; round < rounds; ++round) {
        QProcess probe;
        probe.start(QStringLiteral(BIZ_OSD_EXIT_PROBE), {GetParam()});
        ASSERT_TRUE(probe.waitForFinished(patienceMs));
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        EXPECT_EQ(probe.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(probe.exitCode(), 0) << probe.readAllStandardError().toStdString();
        const long long begin = probe.readAllStandardOutput().trimmed().toLongLong();
        ASSERT_GT(begin, 0);
        quickest =
            std::min<long long>(quickest, std::chrono::duration_cast<std::chrono::milliseconds>(now).count() - begin);
    }
    if (!isUnderSanitizer) {
        EXPECT_LE(quickest, quickMs);
    }
}

INSTANTIATE_TEST_SUITE_P(Every, OsdProcessEnd,
                         testing::Values("destroy", "stop", "hasty-stop", "leave", "exit", "exit-in-slot", "static",
                                         "global"),
                         nameOf);
