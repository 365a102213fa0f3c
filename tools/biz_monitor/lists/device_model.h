#ifndef BIZ_MONITOR_DEVICE_MODEL_H
#define BIZ_MONITOR_DEVICE_MODEL_H

#include <array>
#include <vector>

#include <QtCore/QAbstractTableModel>
#include <QtGui/QIcon>
#include <QtGui/QPalette>

#include <biz_monitor/watch/glance.h>
#include <biz_monitor/watch/watched_log.h>

namespace biz::monitor {

/** The devices of a log, one a row, with how each does. It looks at the log when it is told to. */
class DeviceModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { Name, State, Waiting, RoundTrip, NotAnswered, Refused, ColumnCount };

    /** By this role rows are sorted: numbers as numbers, states by how grave they are. */
    static constexpr int sortRole = Qt::UserRole;

    using QAbstractTableModel::QAbstractTableModel;

    /** The log, or none; it has to live until the next one is given. */
    void setLog(const WatchedLog *log);

    /** Takes over what has happened since the last time. */
    void refresh();

    /** Of the pictures that stand for the states. */
    void setPalette(const QPalette &palette);

    const Glance &glance(int row) const { return m_rows[static_cast<std::size_t>(row)].glance; }

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    struct Row
    {
        QString title;
        QString sortableTitle;
        Glance glance;
        quint64 events = 0;
    };

    bool refreshRow(int row);
    QVariant text(const Row &row, Column column) const;
    QVariant sortKey(const Row &row, Column column) const;

    const WatchedLog *m_log = nullptr;
    std::vector<Row> m_rows;
    std::array<QIcon, std::size(allHealths)> m_icons;
};

} // namespace biz::monitor

#endif
