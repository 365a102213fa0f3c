#include <biz_monitor/window/device_page.h>

#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QHeaderView>
#include <QtWidgets/QLabel>
#include <QtWidgets/QSplitter>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QTableView>
#include <QtWidgets/QTextBrowser>
#include <QtWidgets/QVBoxLayout>

#include <biz_monitor/looks/fonts.h>
#include <biz_monitor/looks/health_icon.h>
#include <biz_monitor/window/legend.h>
#include <history/words.h>

namespace biz::monitor {

namespace {

enum Tab { RefusalTab, CommandTab, CounterTab };

constexpr int iconSide = 32;

/** A text that a keyboard and a screen reader reach, and that can be copied. */
QLabel *readableLabel(const QString &name)
{
    auto *const label = new QLabel;
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    label->setFocusPolicy(Qt::StrongFocus);
    label->setAccessibleName(name);
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred); // a long name does not widen the window
    return label;
}

QLabel *heading(const QString &text)
{
    auto *const label = new QLabel(text);
    label->setFont(scaled(label->font(), smallerFont));
    return label;
}

/** A value under its name. */
QWidget *withName(const QString &name, QLabel *value)
{
    auto *const box = new QWidget;
    auto *const layout = new QVBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(heading(name));
    layout->addWidget(value);
    return box;
}

/** Wide enough for the column's title, and for its texts where the title is shorter. */
int widthFor(const QTableView *table, int column, const QString &longestText)
{
    const QString title = table->model()->headerData(column, Qt::Horizontal).toString();
    const QFontMetrics metrics = table->fontMetrics();
    constexpr int margins = 14;
    return qMax(metrics.horizontalAdvance(title), metrics.horizontalAdvance(longestText)) + margins;
}

QString counted(const QString &title, int count)
{
    return count == 0 ? title : QStringLiteral("%1 (%2)").arg(title).arg(count);
}

} // namespace

DevicePage::DevicePage(TimeAxis *axis, QWidget *parent)
    : QWidget(parent)
    , m_axis(axis)
    , m_icon(new QLabel)
    , m_title(readableLabel(QStringLiteral("Device")))
    , m_sentence(readableLabel(QStringLiteral("State")))
    , m_queue(readableLabel(QStringLiteral("Queue")))
    , m_inFlight(readableLabel(QStringLiteral("Command in flight")))
    , m_lastReply(readableLabel(QStringLiteral("Last reply")))
    , m_timeline(new TimelinePlot(axis))
    , m_legend(new Legend)
    , m_roundTrips(new RoundTripPlot(axis))
    , m_tabs(new QTabWidget)
{
    QFont large = scaled(m_title->font(), largerFont);
    large.setBold(true);
    m_title->setFont(large);
    m_sentence->setWordWrap(true);
    auto *const head = new QHBoxLayout;
    auto *const texts = new QVBoxLayout;
    texts->setSpacing(0);
    texts->addWidget(m_title);
    texts->addWidget(m_sentence);
    head->addWidget(m_icon, 0, Qt::AlignTop);
    head->addLayout(texts, 1);
    auto *const now = new QHBoxLayout;
    now->addWidget(withName(QStringLiteral("Queue"), m_queue), 1);
    now->addWidget(withName(QStringLiteral("In flight"), m_inFlight), 3);
    now->addWidget(withName(QStringLiteral("Last reply"), m_lastReply), 1);
    m_tabs->addTab(buildRefusals(), QString());
    QTableView *const commands = buildTable(&m_commands, QStringLiteral("Last commands"), CommandModel::Name);
    const int digit = commands->fontMetrics().horizontalAdvance(QLatin1Char('0'));
    commands->setColumnWidth(CommandModel::Given, digit * 26);
    commands->setColumnWidth(CommandModel::End, digit * 24);
    m_tabs->addTab(commands, QStringLiteral("&Commands"));
    m_tabs->addTab(buildTable(&m_counters, QStringLiteral("Counters"), 0), QStringLiteral("Coun&ters"));
    connect(m_tabs, &QTabWidget::currentChanged, this, &DevicePage::refresh);
    auto *const plots = new QWidget;
    auto *const plotLayout = new QVBoxLayout(plots);
    plotLayout->setContentsMargins(0, 0, 0, 0);
    plotLayout->addWidget(m_timeline, 3);
    plotLayout->addWidget(m_legend);
    plotLayout->addWidget(heading(QStringLiteral("How long replies took, by when their commands were sent")));
    plotLayout->addWidget(m_roundTrips, 4);
    auto *const splitter = new QSplitter(Qt::Vertical);
    splitter->addWidget(plots);
    splitter->addWidget(m_tabs);
    splitter->setChildrenCollapsible(false);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);
    auto *const layout = new QVBoxLayout(this);
    layout->addLayout(head);
    layout->addLayout(now);
    layout->addWidget(splitter, 1);
    showNothing();
}

QTableView *DevicePage::buildTable(SnapshotModel *model, const QString &name, int wideColumn)
{
    auto *const table = new QTableView;
    table->setModel(model);
    table->setAccessibleName(name);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setTabKeyNavigation(false);
    table->setShowGrid(false);
    table->setWordWrap(false);
    table->verticalHeader()->hide();
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 6);
    table->horizontalHeader()->setHighlightSections(false);
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    table->horizontalHeader()->setSectionResizeMode(wideColumn, QHeaderView::Stretch);
    return table;
}

QWidget *DevicePage::buildRefusals()
{
    m_refusalTable = buildTable(&m_refusals, QStringLiteral("Refused replies"), RefusalModel::Broken);
    for (const int column : {RefusalModel::LastSeen, RefusalModel::Replies, RefusalModel::Command}) {
        m_refusalTable->setColumnWidth(column, widthFor(m_refusalTable, column, QStringLiteral("00:00:00")));
    }
    m_refusal = new QTextBrowser;
    m_refusal->setAccessibleName(QStringLiteral("The refused reply that is chosen"));
    m_refusal->setOpenLinks(false);
    m_refusal->setTabChangesFocus(true);
    connect(m_refusalTable->selectionModel(), &QItemSelectionModel::currentRowChanged, this, &DevicePage::showRefusal);
    auto *const splitter = new QSplitter(Qt::Horizontal);
    splitter->addWidget(m_refusalTable);
    splitter->addWidget(m_refusal);
    splitter->setChildrenCollapsible(false);
    return splitter;
}

void DevicePage::show(const WatchedLog *log, int device)
{
    m_log = log;
    m_device = device;
    m_timeline->show(log == nullptr ? nullptr : &log->history(), device);
    m_roundTrips->show(log == nullptr ? nullptr : &log->history(), device);
    refresh();
    if (m_refusals.rowCount() > 0) {
        m_refusalTable->selectRow(0);
    }
}

void DevicePage::refresh()
{
    if (m_log == nullptr || m_device < 0) {
        showNothing();
        return;
    }
    setEnabled(true);
    m_axis->setNow(m_log->nowMs());
    const history::Device &device = m_log->history().devices[static_cast<std::size_t>(m_device)];
    const Glance glance = glanceOf(m_log->history(), m_device);
    showState(device, glance);
    showNow(device, glance);
    showTab(device, glance);
    m_legend->show(device);
    m_timeline->update();
    m_roundTrips->update();
}

void DevicePage::showNothing()
{
    setEnabled(false);
    m_icon->clear();
    m_title->setText(QStringLiteral("No device"));
    m_sentence->setText(QStringLiteral("Choose one in the list."));
    for (QLabel *const label : {m_queue, m_inFlight, m_lastReply}) {
        label->setText(QStringLiteral("–"));
    }
    m_commands.show(nullptr, nullptr);
    m_counters.show({});
    m_refusals.show(nullptr);
    showRefusal();
    m_tabs->setTabText(RefusalTab, QStringLiteral("&Refused replies"));
}

void DevicePage::showState(const history::Device &device, const Glance &glance)
{
    m_icon->setPixmap(healthIcon(glance.health, palette()).pixmap(iconSide, iconSide));
    m_title->setText(device.title);
    m_sentence->setText(glance.sentence);
}

void DevicePage::showNow(const history::Device &device, const Glance &glance)
{
    m_queue->setText(glance.waiting == 0
                         ? QStringLiteral("empty")
                         : QStringLiteral("%1 waiting").arg(history::countText(static_cast<quint64>(glance.waiting))));
    QString inFlight = QStringLiteral("none");
    if (glance.inFlight > 0) {
        const double forMs = qMax(m_log->nowMs() - glance.inFlightSinceMs, 0.0);
        inFlight =
            QStringLiteral("%1, for %2 of %3%4")
                .arg(glance.inFlightName, history::durationText(forMs), history::durationText(glance.inFlightWaitMs),
                     glance.wasResent ? QStringLiteral(", sent again") : QString());
    }
    m_inFlight->setText(glance.inFlight > 1 ? QStringLiteral("%1 commands; %2").arg(glance.inFlight).arg(inFlight)
                                            : inFlight);
    m_lastReply->setText(device.lastReplyMs < 0.0 ? QStringLiteral("never") : history::clockText(device.lastReplyMs));
}

/** Only what is in sight. */
void DevicePage::showTab(const history::Device &device, const Glance &glance)
{
    m_tabs->setTabText(RefusalTab,
                       counted(QStringLiteral("&Refused replies"), static_cast<int>(device.refusals.size())));
    switch (static_cast<Tab>(m_tabs->currentIndex())) {
    case RefusalTab:
        m_refusals.show(&device);
        showRefusal();
        return;
    case CommandTab:
        m_commands.show(&m_log->history(), &device);
        return;
    case CounterTab:
        m_counters.show(glance);
        return;
    }
}

/** Sets the text only when it is another one, so that what a reader has selected stays. */
void DevicePage::showRefusal()
{
    const int row = m_refusalTable->currentIndex().row();
    QString text;
    if (row >= 0 && row < m_refusals.rowCount()) {
        const Colours colours(palette());
        text = refusalMarkup(m_refusals.refusal(row), colours(report::Ink::MarkedBack).name());
    } else if (m_refusals.rowCount() == 0) {
        text = QStringLiteral("No reply was refused.");
    }
    if (text != m_shownRefusal || m_refusal->toPlainText().isEmpty()) {
        m_shownRefusal = text;
        m_refusal->setHtml(text);
    }
}

} // namespace biz::monitor
