#include <biz_monitor/lists/snapshot_model.h>

#include <biz_monitor/looks/tool_tip.h>

namespace biz::monitor {

SnapshotModel::SnapshotModel(QStringList titles, int numberColumn, QObject *parent)
    : QAbstractTableModel(parent)
    , m_titles(std::move(titles))
    , m_numberColumn(numberColumn)
{
}

void SnapshotModel::replaceRows(int count, const std::function<void()> &replace)
{
    const int before = m_rows;
    const QModelIndexList held = persistentIndexList();
    QStringList keys;
    for (const QModelIndex &index : held) {
        keys << key(index.row());
    }
    if (count > before) {
        beginInsertRows({}, before, count - 1);
    } else if (count < before) {
        beginRemoveRows({}, count, before - 1);
    }
    replace();
    m_rows = count;
    if (count > before) {
        endInsertRows();
    } else if (count < before) {
        endRemoveRows();
    }
    moveHeld(held, keys);
    if (count > 0) {
        Q_EMIT dataChanged(index(0, 0), index(count - 1, columnCount() - 1));
    }
}

/** What a view holds on to, such as the row that is chosen, follows its key; what is not there any more is let go. */
void SnapshotModel::moveHeld(const QModelIndexList &held, const QStringList &keys)
{
    QModelIndexList from;
    QModelIndexList to;
    for (int i = 0; i < held.size(); ++i) {
        const QModelIndex &index = held.at(i);
        if (index.row() >= m_rows || key(index.row()) == keys.at(i)) {
            continue;
        }
        int row = 0;
        while (row < m_rows && key(row) != keys.at(i)) {
            ++row;
        }
        from << index;
        to << (row < m_rows ? this->index(row, index.column()) : QModelIndex());
    }
    if (!from.isEmpty()) {
        Q_EMIT layoutAboutToBeChanged();
        changePersistentIndexList(from, to);
        Q_EMIT layoutChanged();
    }
}

int SnapshotModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

int SnapshotModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_titles.size());
}

QVariant SnapshotModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid()) {
        return {};
    }
    switch (role) {
    case Qt::DisplayRole:
        return text(index.row(), index.column());
    case Qt::ToolTipRole:
        return plainToolTip(text(index.row(), index.column()));
    case Qt::AccessibleTextRole:
        return QStringLiteral("%1: %2").arg(m_titles.value(index.column()), text(index.row(), index.column()));
    case Qt::TextAlignmentRole:
        return static_cast<int>((index.column() == m_numberColumn ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
    default:
        return {};
    }
}

QVariant SnapshotModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal) {
        return {};
    }
    if (role == Qt::TextAlignmentRole) {
        return static_cast<int>((section == m_numberColumn ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
    }
    return role == Qt::DisplayRole ? QVariant(m_titles.value(section)) : QVariant();
}

} // namespace biz::monitor
