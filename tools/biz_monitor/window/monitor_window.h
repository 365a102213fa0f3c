#ifndef BIZ_MONITOR_MONITOR_WINDOW_H
#define BIZ_MONITOR_MONITOR_WINDOW_H

#include <memory>

#include <QtCore/QSortFilterProxyModel>
#include <QtCore/QTimer>
#include <QtWidgets/QMainWindow>

#include <biz_monitor/lists/device_model.h>
#include <biz_monitor/plots/time_axis.h>
#include <biz_monitor/watch/watched_log.h>
#include <biz_monitor/window/report_saver.h>

class QAction;
class QComboBox;
class QLabel;
class QLineEdit;

namespace biz::monitor {

class DeviceList;
class DevicePage;

/** The window: the devices of a log, and all about the one that is chosen. It only looks. */
class MonitorWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MonitorWindow(QWidget *parent = nullptr);
    ~MonitorWindow() override;

    /** Shows the log that comes from there, in place of another one. */
    void watch(std::unique_ptr<LineSource> source);

    /** Shows what was read since the last time; a timer calls it while the window can be seen. */
    void refresh();

    /** Writes a report of all that is shown, beside the log or in the home folder, under a name of its own. */
    void saveReport();

Q_SIGNALS:
    void reportSaved(const QString &path);

protected:
    void changeEvent(QEvent *event) override;

private:
    void buildActions();
    QWidget *buildList();
    void buildStatusBar();
    void chooseFile();
    void chooseSocket();
    void chooseReportFile();
    void saveReportTo(const QString &path);
    void showChosen();
    void showStatus();

    std::unique_ptr<WatchedLog> m_log;
    TimeAxis m_axis;
    DeviceModel m_devices;
    QSortFilterProxyModel m_sorted;
    ReportSaver m_saver;
    QTimer m_timer;
    DeviceList *m_list = nullptr;
    QLineEdit *m_filter = nullptr;
    DevicePage *m_page = nullptr;
    QAction *m_save = nullptr;
    QAction *m_saveAs = nullptr;
    QAction *m_follow = nullptr;
    QComboBox *m_length = nullptr;
    QLabel *m_source = nullptr;
    QLabel *m_rate = nullptr;
    quint64 m_shownEvents = 0;
    qint64 m_shownAtMs = 0;
    bool m_hasStatus = false; ///< there is a rate since the last one
    int m_ticks = 0;
};

} // namespace biz::monitor

#endif
