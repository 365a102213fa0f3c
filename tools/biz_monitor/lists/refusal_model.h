#ifndef BIZ_MONITOR_REFUSAL_MODEL_H
#define BIZ_MONITOR_REFUSAL_MODEL_H

#include <vector>

#include <biz_monitor/lists/snapshot_model.h>
#include <history/history.h>

namespace biz::monitor {

/** The kinds of refused replies of one device, the one that was seen last first. */
class RefusalModel : public SnapshotModel
{
    Q_OBJECT

public:
    enum Column { LastSeen, Replies, Command, Broken, ColumnCount };

    explicit RefusalModel(QObject *parent = nullptr);

    /** Takes over what there is now; null is no device. */
    void show(const history::Device *device);

    const history::Refusal &refusal(int row) const { return m_refusals[static_cast<std::size_t>(row)]; }

protected:
    QString text(int row, int column) const override;
    QString key(int row) const override;

private:
    std::vector<history::Refusal> m_refusals;
};

/** The first of these replies in rich text: its bytes, those that broke the rule marked, and the whole rule. */
QString refusalMarkup(const history::Refusal &refusal, const QString &markColour);

} // namespace biz::monitor

#endif
