#include <tools/biz_monitor/window_fixture.h>

#include <set>

#include <QtGui/QKeyEvent>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>
#include <QtWidgets/QMenu>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QTabBar>
#include <QtWidgets/QTabWidget>

namespace {

class KeyboardTest : public WindowTest
{
protected:
    void SetUp() override
    {
        log.start();
        for (int i = 1; i <= 100; ++i) {
            log.answeredCommand(i * 1000.0, i, 5);
        }
        write();
        watch();
        window.show();
        window.activateWindow();
        ASSERT_TRUE(comesTrue([this] { return window.isActiveWindow() && rows("Devices") == 1; }));
    }

    static void press(int key, QWidget *on = QApplication::focusWidget())
    {
        QKeyEvent pressed(QEvent::KeyPress, key, Qt::NoModifier);
        QApplication::sendEvent(on, &pressed);
    }

    /** What Tab comes to until it comes to the first one again. */
    static std::set<QWidget *> reachedByTab()
    {
        std::set<QWidget *> reached;
        while (QApplication::focusWidget() != nullptr && reached.insert(QApplication::focusWidget()).second) {
            press(Qt::Key_Tab);
        }
        return reached;
    }

    QAction *action(const char *text) const
    {
        for (QAction *const one : window.findChildren<QAction *>()) {
            if (one->text().remove(QLatin1Char('&')) == QLatin1String(text)) {
                return one;
            }
        }
        return nullptr;
    }
};

TEST_F(KeyboardTest, TabReachesEveryPartOfThePage)
{
    auto *const tabs = window.findChild<QTabWidget *>();
    std::set<QWidget *> reached;
    for (int tab = 0; tab < tabs->count(); ++tab) {
        tabs->setCurrentIndex(tab);
        const std::set<QWidget *> now = reachedByTab();
        reached.insert(now.begin(), now.end());
    }
    for (const char *const name :
         {"Devices", "Find a device", "Length of time that is shown", "Device", "State", "Queue", "Command in flight",
          "Last reply", "Timeline of commands", "Round trips over time", "Refused replies",
          "The refused reply that is chosen", "Last commands", "Counters"}) {
        ASSERT_NE(part<QWidget>(name), nullptr) << name;
        EXPECT_EQ(reached.count(part<QWidget>(name)), 1U) << name;
    }
    EXPECT_EQ(reached.count(tabs->tabBar()), 1U);
}

TEST_F(KeyboardTest, EveryPartThatTabReachesHasANameForAScreenReader)
{
    for (const QWidget *const widget : reachedByTab()) {
        const auto *const button = qobject_cast<const QAbstractButton *>(widget);
        const bool hasText = (button != nullptr && !button->text().isEmpty()) || qobject_cast<const QTabBar *>(widget);
        EXPECT_TRUE(hasText || !widget->accessibleName().isEmpty()) << widget->metaObject()->className();
    }
}

TEST_F(KeyboardTest, EveryEntryOfAMenuHasAKey)
{
    for (const QMenu *const menu : window.menuBar()->findChildren<QMenu *>()) {
        for (const QAction *const entry : menu->actions()) {
            EXPECT_TRUE(entry->isSeparator() || !entry->shortcut().isEmpty()) << qPrintable(entry->text());
        }
    }
}

TEST_F(KeyboardTest, LeftGoesBackAndEndFollowsAgain)
{
    auto *const timeline = part<QWidget>("Timeline of commands");
    QAction *const follow = action("Follow the log");
    press(Qt::Key_Left, timeline);
    EXPECT_FALSE(follow->isChecked());
    press(Qt::Key_End, timeline);
    EXPECT_TRUE(follow->isChecked());
}

TEST_F(KeyboardTest, PlusShowsLessTime)
{
    auto *const timeline = part<QWidget>("Timeline of commands");
    const QImage before = timeline->grab().toImage();
    press(Qt::Key_Plus, timeline);
    EXPECT_NE(timeline->grab().toImage(), before);
    press(Qt::Key_Minus, timeline);
    EXPECT_EQ(timeline->grab().toImage(), before);
}

} // namespace
