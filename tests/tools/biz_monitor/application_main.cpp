#include <gtest/gtest.h>

#include <QtWidgets/QApplication>
#include <QtWidgets/QStyleFactory>

// For tests of windows. Where no screen is asked for, they are drawn in memory.
int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    return RUN_ALL_TESTS();
}
