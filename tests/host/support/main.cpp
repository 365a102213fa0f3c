#include <QtCore/QCoreApplication>

#include <gtest/gtest.h>

/** Sockets and queued signals need an application object; GoogleTest's own main makes none. */
int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
