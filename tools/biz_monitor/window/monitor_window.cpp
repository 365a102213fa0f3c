#include <biz_monitor/window/monitor_window.h>

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QEvent>
#include <QtCore/QFileInfo>
#include <QtGui/QKeySequence>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QInputDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QStatusBar>
#include <QtWidgets/QToolBar>
#include <QtWidgets/QVBoxLayout>

#include <biz_monitor/sources/file_source.h>
#include <biz_monitor/sources/socket_source.h>
#include <biz_monitor/window/device_list.h>
#include <biz_monitor/window/device_page.h>
#include <history/words.h>

namespace biz::monitor {

namespace {

/** What moves is drawn so often. */
constexpr int refreshPeriodMs = 250;

/** The list is looked at every so many of these. */
constexpr int ticksOfList = 2;

constexpr int ticksOfStatus = 4;

constexpr int usualListWidth = 530;
constexpr int usualPageWidth = 750;
constexpr int usualHeight = 800;

constexpr double secondMs = 1000.0;
constexpr double minuteMs = 60.0 * secondMs;

struct Length
{
    const char *name;
    double ms;
};

constexpr Length lengths[] = {
    {"10 seconds", 10.0 * secondMs}, {"1 minute", TimeAxis::usualMs}, {"5 minutes", 5.0 * minuteMs},
    {"30 minutes", 30.0 * minuteMs}, {"2 hours", 120.0 * minuteMs},   {"1 day", TimeAxis::longestMs},
};

/** Empty when the log is whole. */
QString lostText(const history::History &history)
{
    const quint64 lost = history.runs.empty() ? 0 : history.runs.back().lostLines;
    return lost == 0
               ? QString()
               : QStringLiteral(", %1 of which could not be written").arg(history::countText(lost, "line", "lines"));
}

} // namespace

MonitorWindow::MonitorWindow(QWidget *parent)
    : QMainWindow(parent)
{
    setWindowTitle(QStringLiteral("Device monitor"));
    m_devices.setPalette(palette());
    m_sorted.setSourceModel(&m_devices);
    m_sorted.setSortRole(DeviceModel::sortRole);
    m_sorted.setFilterKeyColumn(DeviceModel::Name);
    m_sorted.setFilterCaseSensitivity(Qt::CaseInsensitive);
    m_sorted.setSortLocaleAware(true);
    buildActions();
    m_page = new DevicePage(&m_axis);
    auto *const splitter = new QSplitter;
    splitter->addWidget(buildList());
    splitter->addWidget(m_page);
    splitter->setChildrenCollapsible(false);
    splitter->setStretchFactor(0, 2);
    splitter->setStretchFactor(1, 3);
    splitter->setSizes({usualListWidth, usualPageWidth});
    setCentralWidget(splitter);
    buildStatusBar();
    connect(&m_saver, &ReportSaver::saved, this, [this](const QString &path) {
        statusBar()->showMessage(QStringLiteral("Saved %1").arg(path));
        Q_EMIT reportSaved(path);
    });
    connect(&m_saver, &ReportSaver::failed, this, [this](const QString &why) { statusBar()->showMessage(why); });
    connect(&m_timer, &QTimer::timeout, this, [this] {
        if (isVisible() && !isMinimized()) {
            refresh();
        }
    });
    m_timer.start(refreshPeriodMs);
    m_list->setFocus();
    resize(usualListWidth + usualPageWidth, usualHeight);
}

MonitorWindow::~MonitorWindow() = default;

void MonitorWindow::buildActions()
{
    QMenu *const file = menuBar()->addMenu(QStringLiteral("&File"));
    QAction *const open = file->addAction(QStringLiteral("&Open log or recording…"), this, &MonitorWindow::chooseFile);
    open->setShortcut(QKeySequence::Open);
    open->setIcon(QIcon::fromTheme(QStringLiteral("document-open")));
    QAction *const socket =
        file->addAction(QStringLiteral("&Connect to application…"), this, &MonitorWindow::chooseSocket);
    socket->setIcon(QIcon::fromTheme(QStringLiteral("network-connect")));
    socket->setShortcut(QKeySequence(QStringLiteral("Ctrl+L")));
    file->addSeparator();
    m_save = file->addAction(QStringLiteral("&Save report"), this, &MonitorWindow::saveReport);
    m_save->setIcon(QIcon::fromTheme(QStringLiteral("document-save")));
    m_save->setShortcut(QKeySequence::Save);
    m_save->setToolTip(QStringLiteral("Write a report of what is shown beside the log (Ctrl+S)"));
    m_saveAs = file->addAction(QStringLiteral("Save report &as…"), this, &MonitorWindow::chooseReportFile);
    m_saveAs->setShortcut(QKeySequence(QStringLiteral("Ctrl+Shift+S")));
    file->addSeparator();
    QAction *const quit = file->addAction(QStringLiteral("&Quit"), this, &QWidget::close);
    quit->setShortcut(QKeySequence(QStringLiteral("Ctrl+Q")));
    QMenu *const view = menuBar()->addMenu(QStringLiteral("&View"));
    m_follow = view->addAction(QStringLiteral("&Follow the log"));
    m_follow->setShortcut(QKeySequence(QStringLiteral("F5")));
    m_follow->setIcon(QIcon::fromTheme(QStringLiteral("go-last")));
    m_follow->setCheckable(true);
    m_follow->setChecked(true);
    connect(m_follow, &QAction::toggled, &m_axis, &TimeAxis::setFollowing);
    connect(&m_axis, &TimeAxis::followingChanged, m_follow, &QAction::setChecked);
    QAction *const find = view->addAction(QStringLiteral("Find a &device"), this, [this] { m_filter->setFocus(); });
    find->setShortcut(QKeySequence::Find);
    m_length = new QComboBox;
    m_length->setAccessibleName(QStringLiteral("Length of time that is shown"));
    for (const Length &length : lengths) {
        m_length->addItem(QString::fromLatin1(length.name), length.ms);
    }
    m_length->setCurrentIndex(m_length->findData(TimeAxis::usualMs));
    connect(m_length, qOverload<int>(&QComboBox::activated), this,
            [this](int entry) { m_axis.setLength(m_length->itemData(entry).toDouble()); });
    QToolBar *const bar = addToolBar(QStringLiteral("Tools"));
    bar->setMovable(false);
    bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    bar->setContextMenuPolicy(Qt::PreventContextMenu); // it would offer to hide the bar for good
    bar->addAction(open);
    bar->addAction(socket);
    bar->addAction(m_save);
    bar->addSeparator();
    bar->addAction(m_follow);
    bar->addWidget(m_length);
}

QWidget *MonitorWindow::buildList()
{
    m_filter = new QLineEdit;
    m_filter->setPlaceholderText(QStringLiteral("Find a device"));
    m_filter->setAccessibleName(QStringLiteral("Find a device"));
    m_filter->setClearButtonEnabled(true);
    connect(m_filter, &QLineEdit::textChanged, &m_sorted, &QSortFilterProxyModel::setFilterFixedString);
    m_list = new DeviceList(&m_sorted);
    connect(m_list->selectionModel(), &QItemSelectionModel::currentRowChanged, this, &MonitorWindow::showChosen);
    auto *const box = new QWidget;
    auto *const layout = new QVBoxLayout(box);
    layout->addWidget(m_filter);
    layout->addWidget(m_list);
    return box;
}

void MonitorWindow::buildStatusBar()
{
    m_source = new QLabel;
    m_source->setTextFormat(Qt::PlainText);
    m_source->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred); // a long path does not widen the window
    m_source->setAccessibleName(QStringLiteral("Log"));
    m_rate = new QLabel;
    m_rate->setAccessibleName(QStringLiteral("Events"));
    statusBar()->addWidget(m_source, 1);
    statusBar()->addPermanentWidget(m_rate);
}

void MonitorWindow::watch(std::unique_ptr<LineSource> source)
{
    m_page->show(nullptr, -1);
    m_devices.setLog(nullptr);
    m_log = std::make_unique<WatchedLog>(std::move(source));
    m_log->readOn();
    m_devices.setLog(m_log.get());
    m_shownEvents = 0;
    m_hasStatus = false;
    m_ticks = 0;
    m_shownAtMs = QDateTime::currentMSecsSinceEpoch();
    m_axis.setFollowing(true);
    setWindowTitle(QStringLiteral("%1 – device monitor").arg(QFileInfo(m_log->name()).fileName()));
    refresh();
}

void MonitorWindow::refresh()
{
    if (!m_log) {
        return;
    }
    if (m_ticks % ticksOfList == 0 || m_devices.rowCount() == 0) {
        m_devices.refresh();
    }
    if (m_ticks % ticksOfStatus == 0) {
        showStatus();
    }
    ++m_ticks;
    if (!m_list->currentIndex().isValid() && m_sorted.rowCount() > 0) {
        m_list->selectRow(0);
    }
    m_page->refresh();
}

void MonitorWindow::showChosen()
{
    const QModelIndex chosen = m_sorted.mapToSource(m_list->currentIndex());
    m_page->show(chosen.isValid() ? m_log.get() : nullptr, chosen.isValid() ? chosen.row() : -1);
}

void MonitorWindow::showStatus()
{
    const QString problem = m_log->problem();
    m_source->setText(problem.isEmpty() ? m_log->name() + lostText(m_log->history()) : problem);
    const quint64 events = m_log->history().events;
    const qint64 nowMs = QDateTime::currentMSecsSinceEpoch();
    const double seconds = static_cast<double>(nowMs - m_shownAtMs) / secondMs;
    const double rate = seconds > 0.0 ? static_cast<double>(events - m_shownEvents) / seconds : 0.0;
    m_shownEvents = events;
    m_shownAtMs = nowMs;
    const QString count = history::countText(events, "event", "events");
    m_rate->setText(m_log->isLive() && m_hasStatus
                        ? QStringLiteral("%1, %2 a second").arg(count, history::countText(static_cast<quint64>(rate)))
                        : count);
    m_hasStatus = true;
}

void MonitorWindow::chooseFile()
{
    const QString path =
        QFileDialog::getOpenFileName(this, QStringLiteral("Open log or recording"), QString(),
                                     QStringLiteral("Logs and recordings (*.jsonl *.jsonl.*);;All files (*)"));
    if (!path.isEmpty()) {
        watch(std::make_unique<FileSource>(path));
    }
}

void MonitorWindow::chooseSocket()
{
    const QString socket = QInputDialog::getText(this, QStringLiteral("Connect to application"),
                                                 QStringLiteral("Name or path of the socket on which it serves its "
                                                                "event log:"));
    if (!socket.isEmpty()) {
        watch(std::make_unique<SocketSource>(socket));
    }
}

void MonitorWindow::chooseReportFile()
{
    const QString path =
        QFileDialog::getSaveFileName(this, QStringLiteral("Save report"), QStringLiteral("report.html"),
                                     QStringLiteral("Pages (*.html);;All files (*)"));
    if (!path.isEmpty()) {
        saveReportTo(path);
    }
}

void MonitorWindow::saveReport()
{
    if (!m_log) {
        return;
    }
    const QFileInfo log(m_log->name());
    const QFileInfo folder(log.absolutePath());
    const bool isBeside = log.isFile() && folder.isWritable();
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-hhmmss"));
    saveReportTo(QDir(isBeside ? folder.absoluteFilePath() : QDir::homePath())
                     .filePath(QStringLiteral("report-%1.html").arg(stamp)));
}

void MonitorWindow::saveReportTo(const QString &path)
{
    if (!m_log) {
        return;
    }
    statusBar()->showMessage(QStringLiteral("Saving %1…").arg(path));
    m_saver.save(m_log->snapshot(), path);
}

void MonitorWindow::changeEvent(QEvent *event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        m_devices.setPalette(palette());
    }
}

} // namespace biz::monitor
