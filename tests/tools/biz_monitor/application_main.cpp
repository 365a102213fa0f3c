#include <gtest/gtest.h>

#include <optional>

#include <QtWidgets/QApplication>
#include <QtWidgets/QStyleFactory>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
/** Qt's drawing in memory never frees its screen: what is taken while this lives is no leak. */
using LeaksOfQt = __lsan::ScopedDisabler;
#else
struct LeaksOfQt
{
};
#endif

// For tests of windows. Where no screen is asked for, they are drawn in memory.
int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    testing::InitGoogleTest(&argc, argv);
    std::optional<LeaksOfQt> leaks(std::in_place);
    const QApplication application(argc, argv);
    leaks.reset();
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    return RUN_ALL_TESTS();
}
