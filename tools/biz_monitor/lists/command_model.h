#ifndef BIZ_MONITOR_COMMAND_MODEL_H
#define BIZ_MONITOR_COMMAND_MODEL_H

#include <vector>

#include <biz_monitor/lists/snapshot_model.h>
#include <history/history.h>

namespace biz::monitor {

/** The last commands of one device, the newest first: in words what the plots show. */
class CommandModel : public SnapshotModel
{
    Q_OBJECT

public:
    static constexpr int mostRows = 200;

    enum Column { Given, Name, End, RoundTrip, ColumnCount };

    explicit CommandModel(QObject *parent = nullptr);

    /** Takes over what there is now; null is no device. */
    void show(const history::History *history, const history::Device *device);

protected:
    QString text(int row, int column) const override;
    QString key(int row) const override;

private:
    std::vector<history::Command> m_commands;
    int m_firstLost = 0; ///< of those that have not ended, from this row on: whose ends the log does not tell
    QStringList m_names;
};

} // namespace biz::monitor

#endif
