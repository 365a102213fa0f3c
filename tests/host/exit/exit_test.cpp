#include <algorithm>
#include <string>
#include <tuple>

#include <QtCore/QProcess>

#include <gtest/gtest.h>

namespace {

class ProcessExit : public testing::TestWithParam<std::tuple<const char *, const char *>>
{
};

std::string nameOf(const testing::TestParamInfo<ProcessExit::ParamType> &info)
{
    std::string way = std::get<1>(info.param);
    way.erase(std::remove(way.begin(), way.end(), '-'), way.end());
    return std::string(std::get<0>(info.param)) + "_" + way;
}

} // namespace

TEST_P(ProcessExit, IsSafeRightAfterAHostWasUsed)
{
    constexpr int rounds = 3;
    constexpr int patienceMs = 30000;
    for (int round = 0; round < rounds; ++round) {
        QProcess probe;
        probe.start(QStringLiteral(BIZ_EXIT_PROBE), {std::get<0>(GetParam()), std::get<1>(GetParam())});
        ASSERT_TRUE(probe.waitForFinished(patienceMs));
        EXPECT_EQ(probe.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(probe.exitCode(), 0) << probe.readAllStandardError().toStdString();
    }
}

INSTANTIATE_TEST_SUITE_P(Every, ProcessExit,
                         testing::Combine(testing::Values("device", "osd"),
                                          testing::Values("destroy", "stop", "hasty-stop", "exit", "static", "global")),
                         nameOf);
