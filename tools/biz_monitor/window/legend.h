#ifndef BIZ_MONITOR_LEGEND_H
#define BIZ_MONITOR_LEGEND_H

#include <functional>
#include <optional>
#include <vector>

#include <QtWidgets/QWidget>

#include <history/history.h>
#include <report/drawing/style.h>
#include <report/drawing/svg.h>

namespace biz::monitor {

/** What the bars and the marks of the timeline mean, those that occur. */
class Legend : public QWidget
{
    Q_OBJECT

public:
    explicit Legend(QWidget *parent = nullptr);

    void show(const history::Device &device);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    /** A sample and its words; a mark where it has no look. */
    struct Entry
    {
        QString text;
        std::optional<report::Look> look;
        report::Mark mark = report::Mark::Cross;
    };

    static std::vector<Entry> entriesFor(const history::Device &device);
    int layOut(int width, const std::function<void(const Entry &, const QPointF &)> &place) const;

    std::vector<Entry> m_entries;
};

} // namespace biz::monitor

#endif
