#include <biz_monitor/window/device_list.h>

#include <algorithm>

#include <QtWidgets/QHeaderView>

namespace biz::monitor {

namespace {

/** What the columns have room for, the one with the name beside them. */
constexpr const char *widestTexts[DeviceModel::ColumnCount] = {
    "192.168.100.100", "connecting", "9,999", "99.9 ms", "9,999", "9,999",
};

} // namespace

DeviceList::DeviceList(QAbstractItemModel *model, QWidget *parent)
    : QTableView(parent)
{
    setModel(model);
    setAccessibleName(QStringLiteral("Devices"));
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setTabKeyNavigation(false);
    setShowGrid(false);
    setWordWrap(false);
    setSortingEnabled(true);
    sortByColumn(DeviceModel::Name, Qt::AscendingOrder);
    verticalHeader()->hide();
    const int lineHeight = fontMetrics().height();
    verticalHeader()->setDefaultSectionSize(lineHeight + lineHeight / 2);
    horizontalHeader()->setHighlightSections(false);
    // Widths of their own: headers that fit themselves to their rows measure all of them at every change.
    for (int column = DeviceModel::State; column < DeviceModel::ColumnCount; ++column) {
        const int widest = fontMetrics().horizontalAdvance(QLatin1String(widestTexts[column])) + lineHeight;
        const int picture = column == DeviceModel::State ? iconSize().width() : 0;
        const QString title = model->headerData(column, Qt::Horizontal).toString();
        const int width = std::max(fontMetrics().horizontalAdvance(title) + lineHeight, widest + picture);
        m_widths[static_cast<std::size_t>(column)] = width;
        setColumnWidth(column, width);
    }
    horizontalHeader()->setSectionResizeMode(DeviceModel::Name, QHeaderView::Stretch);
}

void DeviceList::resizeEvent(QResizeEvent *event)
{
    QTableView::resizeEvent(event);
    fitColumns();
}

void DeviceList::fitColumns()
{
    int room = viewport()->width() - fontMetrics().horizontalAdvance(QLatin1String(widestTexts[DeviceModel::Name]));
    for (int column = DeviceModel::State; column < DeviceModel::ColumnCount; ++column) {
        room -= m_widths[static_cast<std::size_t>(column)];
        setColumnHidden(column, room < 0 && column > DeviceModel::State);
    }
}

} // namespace biz::monitor
