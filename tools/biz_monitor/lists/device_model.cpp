#include <biz_monitor/lists/device_model.h>

#include <algorithm>

#include <biz_monitor/looks/health_icon.h>
#include <biz_monitor/looks/tool_tip.h>
#include <history/words.h>

namespace biz::monitor {

namespace {

QString numberOr(quint64 count, const QString &none)
{
    return count == 0 ? none : history::countText(count);
}

/** In this form 10.0.0.2 stands before 10.0.0.10. */
QString sortableName(const QString &name)
{
    constexpr int digits = 10;
    QString sortable;
    QString number;
    const auto flush = [&] {
        sortable += number.isEmpty() ? QString() : number.rightJustified(digits, QLatin1Char('0'));
        number.clear();
    };
    for (const QChar character : name) {
        if (character >= QLatin1Char('0') && character <= QLatin1Char('9')) {
            number += character;
        } else {
            flush();
            sortable += character.toCaseFolded();
        }
    }
    flush();
    return sortable;
}

const QString &noneText()
{
    static const QString text = QStringLiteral("–");
    return text;
}

} // namespace

void DeviceModel::setLog(const WatchedLog *log)
{
    beginResetModel();
    m_log = log;
    m_rows.clear();
    endResetModel();
    refresh();
}

void DeviceModel::setPalette(const QPalette &palette)
{
    for (const Health health : allHealths) {
        m_icons[static_cast<std::size_t>(health)] = healthIcon(health, palette);
    }
    if (!m_rows.empty()) {
        Q_EMIT dataChanged(index(0, State), index(rowCount() - 1, State), {Qt::DecorationRole});
    }
}

void DeviceModel::refresh()
{
    if (m_log == nullptr) {
        return;
    }
    const auto count = static_cast<int>(m_log->history().devices.size());
    const int known = rowCount();
    if (count > known) {
        beginInsertRows({}, known, count - 1);
        m_rows.resize(static_cast<std::size_t>(count));
        for (int row = known; row < count; ++row) {
            refreshRow(row);
        }
        endInsertRows();
    }
    int first = known;
    int last = -1;
    for (int row = 0; row < known; ++row) {
        if (refreshRow(row)) {
            first = std::min(first, row);
            last = row;
        }
    }
    if (last >= 0) {
        Q_EMIT dataChanged(index(first, 0), index(last, ColumnCount - 1));
    }
}

/** True when there is anything new. */
bool DeviceModel::refreshRow(int place)
{
    Row &row = m_rows[static_cast<std::size_t>(place)];
    const history::Device &device = m_log->history().devices[static_cast<std::size_t>(place)];
    if (row.events == device.events && row.title == device.title) {
        return false;
    }
    if (row.title != device.title) {
        row.title = device.title;
        row.sortableTitle = sortableName(device.title);
    }
    row.events = device.events;
    row.glance = glanceOf(m_log->history(), place);
    return true;
}

int DeviceModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

int DeviceModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant DeviceModel::text(const Row &row, Column column) const
{
    switch (column) {
    case Name:
        return row.title;
    case State:
        return wordFor(row.glance.health);
    case Waiting:
        return numberOr(static_cast<quint64>(row.glance.waiting), noneText());
    case RoundTrip:
        return row.glance.medianMs < 0.0 ? noneText() : history::durationText(row.glance.medianMs);
    case NotAnswered:
        return numberOr(row.glance.tally.givenUp + row.glance.tally.unreachable, noneText());
    case Refused:
        return numberOr(row.glance.refused, noneText());
    case ColumnCount:
        break;
    }
    return {};
}

QVariant DeviceModel::sortKey(const Row &row, Column column) const
{
    switch (column) {
    case Name:
        return row.sortableTitle;
    case State:
        return static_cast<int>(row.glance.health);
    case Waiting:
        return row.glance.waiting;
    case RoundTrip:
        return row.glance.medianMs;
    case NotAnswered:
        return row.glance.tally.givenUp + row.glance.tally.unreachable;
    case Refused:
        return row.glance.refused;
    case ColumnCount:
        break;
    }
    return {};
}

QVariant DeviceModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid()) {
        return {};
    }
    const Row &row = m_rows[static_cast<std::size_t>(index.row())];
    const auto column = static_cast<Column>(index.column());
    switch (role) {
    case Qt::DisplayRole:
        return text(row, column);
    case Qt::DecorationRole:
        return column == State ? QVariant(m_icons[static_cast<std::size_t>(row.glance.health)]) : QVariant();
    case Qt::ToolTipRole:
        return plainToolTip(column == Name ? QStringLiteral("%1\n%2").arg(row.title, row.glance.sentence)
                                           : row.glance.sentence);
    case Qt::TextAlignmentRole:
        return static_cast<int>((column == Name || column == State ? Qt::AlignLeft : Qt::AlignRight) |
                                Qt::AlignVCenter);
    case Qt::AccessibleTextRole:
        return QStringLiteral("%1: %2").arg(headerData(column, Qt::Horizontal, Qt::DisplayRole).toString(),
                                            text(row, column).toString());
    case sortRole:
        return sortKey(row, column);
    default:
        return {};
    }
}

QVariant DeviceModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    static const QStringList titles{
        QStringLiteral("Device"),     QStringLiteral("State"),    QStringLiteral("Queue"),
        QStringLiteral("Round trip"), QStringLiteral("No reply"), QStringLiteral("Refused"),
    };
    static const QStringList explanations{
        QStringLiteral("The device, or the place that the host is connected to"),
        QStringLiteral("How it does, by its link and its last commands"),
        QStringLiteral("Commands that wait to be sent"),
        QStringLiteral("Median of the last replies"),
        QStringLiteral("Commands that were given up, or could not be sent since the link was down"),
        QStringLiteral("Replies that broke a rule"),
    };
    if (orientation != Qt::Horizontal) {
        return {};
    }
    switch (role) {
    case Qt::DisplayRole:
        return titles.value(section);
    case Qt::ToolTipRole:
        return explanations.value(section);
    case Qt::TextAlignmentRole:
        return static_cast<int>((section <= State ? Qt::AlignLeft : Qt::AlignRight) | Qt::AlignVCenter);
    default:
        return {};
    }
}

} // namespace biz::monitor
