#ifndef BIZ_MONITOR_COUNTER_MODEL_H
#define BIZ_MONITOR_COUNTER_MODEL_H

#include <vector>

#include <biz_monitor/lists/snapshot_model.h>
#include <biz_monitor/watch/glance.h>

namespace biz::monitor {

/** The totals of one device, one a row. */
class CounterModel : public SnapshotModel
{
    Q_OBJECT

public:
    explicit CounterModel(QObject *parent = nullptr);

    void show(const Glance &glance);

protected:
    QString text(int row, int column) const override;

private:
    struct Row
    {
        QString title;
        QString value;
    };

    std::vector<Row> m_rows;
};

} // namespace biz::monitor

#endif
