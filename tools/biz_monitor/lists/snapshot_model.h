#ifndef BIZ_MONITOR_SNAPSHOT_MODEL_H
#define BIZ_MONITOR_SNAPSHOT_MODEL_H

#include <functional>

#include <QtCore/QAbstractTableModel>
#include <QtCore/QStringList>

namespace biz::monitor {

/** A table whose rows are replaced all at once, as often as somebody looks. A selection stays with what was chosen. */
class SnapshotModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

protected:
    SnapshotModel(QStringList titles, int numberColumn, QObject *parent);

    /** There are `count` rows once `replace` has returned. */
    void replaceRows(int count, const std::function<void()> &replace);

    virtual QString text(int row, int column) const = 0;

    /** What a row is about, by which it is found again in another place. */
    virtual QString key(int row) const { return text(row, 0); }

private:
    void moveHeld(const QModelIndexList &held, const QStringList &keys);

    const QStringList m_titles;
    const int m_numberColumn; ///< stands to the right
    int m_rows = 0;
};

} // namespace biz::monitor

#endif
