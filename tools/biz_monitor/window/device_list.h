#ifndef BIZ_MONITOR_DEVICE_LIST_H
#define BIZ_MONITOR_DEVICE_LIST_H

#include <array>

#include <QtWidgets/QTableView>

#include <biz_monitor/lists/device_model.h>

namespace biz::monitor {

/** The table of devices. Where it is narrow, the columns to the right go first, so that names can be read. */
class DeviceList : public QTableView
{
    Q_OBJECT

public:
    /** The model has the columns of DeviceModel. */
    explicit DeviceList(QAbstractItemModel *model, QWidget *parent = nullptr);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void fitColumns();

    std::array<int, DeviceModel::ColumnCount> m_widths{};
};

} // namespace biz::monitor

#endif
