#ifndef BIZ_MONITOR_LEGEND_H
#define BIZ_MONITOR_LEGEND_H

#include <functional>

#include <QtWidgets/QWidget>

namespace biz::monitor {

/** What the bars and the marks of the timeline mean. */
class Legend : public QWidget
{
    Q_OBJECT

public:
    explicit Legend(QWidget *parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    struct Entry;
    int layOut(int width, const std::function<void(const Entry &, const QPointF &)> &place) const;
};

} // namespace biz::monitor

#endif
