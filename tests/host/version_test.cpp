#include <gtest/gtest.h>

#include <host/version.h>

TEST(Version, KitAndLibraryCarryTheProjectsVersion)
{
    EXPECT_EQ(biz::host::kitVersion(), QStringLiteral(BIZ_TEST_PROJECT_VERSION));
    EXPECT_EQ(biz::host::libraryVersion(), QStringLiteral(BIZ_TEST_PROJECT_VERSION));
}
