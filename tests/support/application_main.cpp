#include <gtest/gtest.h>

#include <QtCore/QCoreApplication>

// For tests that use what exists beside an application only: processes, sockets, arguments.
int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
