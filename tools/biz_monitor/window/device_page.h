#ifndef BIZ_MONITOR_DEVICE_PAGE_H
#define BIZ_MONITOR_DEVICE_PAGE_H

#include <QtWidgets/QWidget>

#include <biz_monitor/lists/command_model.h>
#include <biz_monitor/lists/counter_model.h>
#include <biz_monitor/lists/refusal_model.h>
#include <biz_monitor/plots/round_trip_plot.h>
#include <biz_monitor/plots/timeline_plot.h>
#include <biz_monitor/watch/watched_log.h>

class QLabel;
class QTableView;
class QTabWidget;
class QTextBrowser;

namespace biz::monitor {

class Legend;

/** All about the device that was chosen. */
class DevicePage : public QWidget
{
    Q_OBJECT

public:
    explicit DevicePage(TimeAxis *axis, QWidget *parent = nullptr);

    /** The log has to live until another one is shown; null, or a negative device, shows none. */
    void show(const WatchedLog *log, int device);

    /** Takes over what has happened since the last time. */
    void refresh();

private:
    QWidget *buildRefusals();
    QTableView *buildTable(SnapshotModel *model, const QString &name, int wideColumn);
    void showNothing();
    void showState(const history::Device &device, const Glance &glance);
    void showNow(const history::Device &device, const Glance &glance);
    void showTab(const history::Device &device, const Glance &glance);
    void showRefusal();

    TimeAxis *const m_axis;
    const WatchedLog *m_log = nullptr;
    int m_device = -1;
    QLabel *m_icon;
    QLabel *m_title;
    QLabel *m_sentence;
    QLabel *m_queue;
    QLabel *m_inFlight;
    QLabel *m_lastReply;
    TimelinePlot *m_timeline;
    Legend *m_legend;
    RoundTripPlot *m_roundTrips;
    QTabWidget *m_tabs;
    CommandModel m_commands;
    CounterModel m_counters;
    RefusalModel m_refusals;
    QTableView *m_refusalTable = nullptr;
    QTextBrowser *m_refusal = nullptr;
    QString m_shownRefusal;
};

} // namespace biz::monitor

#endif
