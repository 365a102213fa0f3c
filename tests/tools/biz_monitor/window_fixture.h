#ifndef BIZ_TESTS_WINDOW_FIXTURE_H
#define BIZ_TESTS_WINDOW_FIXTURE_H

#include <gtest/gtest.h>

#include <QtCore/QFile>
#include <QtWidgets/QAbstractItemView>
#include <QtWidgets/QLabel>

#include <biz_monitor/sources/file_source.h>
#include <biz_monitor/window/monitor_window.h>
#include <host/support/wait_for.h>
#include <support/scratch_folder.h>
#include <tools/history/log_lines.h>

/** The window over a log that a test writes. */
class WindowTest : public testing::Test
{
protected:
    QString path() const { return QStringLiteral("events.jsonl"); }

    /** Appends what was added to the log since. */
    void write()
    {
        QFile file(path());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Append));
        for (; written < log.lines.size(); ++written) {
            file.write(log.lines.at(written) + '\n');
        }
    }

    void watch() { window.watch(std::make_unique<biz::monitor::FileSource>(path())); }

    /** The part of the window that has this name for a screen reader. */
    template<typename Widget>
    Widget *part(const char *name) const
    {
        for (Widget *const widget : window.findChildren<Widget *>()) {
            if (widget->accessibleName() == QLatin1String(name)) {
                return widget;
            }
        }
        return nullptr;
    }

    QString textOf(const char *name) const { return part<QLabel>(name)->text(); }

    QString cell(const char *table, int row, int column) const
    {
        return part<QAbstractItemView>(table)->model()->index(row, column).data().toString();
    }

    int rows(const char *table) const { return part<QAbstractItemView>(table)->model()->rowCount(); }

    bool comesTrue(const std::function<bool()> &condition)
    {
        return biz::test::waitFor([&] {
            window.refresh();
            return condition();
        });
    }

    const biz::test::ScratchFolder folder;
    LogLines log;
    int written = 0;
    biz::monitor::MonitorWindow window;
};

#endif
