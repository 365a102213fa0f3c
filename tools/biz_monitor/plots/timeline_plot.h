#ifndef BIZ_MONITOR_TIMELINE_PLOT_H
#define BIZ_MONITOR_TIMELINE_PLOT_H

#include <biz_monitor/plots/plot.h>
#include <report/drawing/lanes.h>

namespace biz::monitor {

/** Commands as bars from when they were given to their ends, and what happened beside them. */
class TimelinePlot : public Plot
{
    Q_OBJECT

public:
    explicit TimelinePlot(TimeAxis *axis, QWidget *parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintPlot(QPainter &painter, const QRectF &area, const Colours &colours) override;
    QString textAt(const QPointF &place) const override;

private:
    QRectF barsArea(const QRectF &area) const;
    QRectF rectOf(const report::Bar &bar, const report::Lanes &lanes, const report::TimeScale &time) const;
    report::Lanes lanes() const;
    void paintNames(QPainter &painter, const QRectF &area, const Colours &colours) const;
    void paintLink(QPainter &painter, const QRectF &area, const Colours &colours) const;
    void paintBars(QPainter &painter, const Colours &colours) const;
    void paintMarks(QPainter &painter, const QRectF &area, const Colours &colours) const;
};

} // namespace biz::monitor

#endif
