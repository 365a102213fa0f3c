#ifndef BIZ_MONITOR_ROUND_TRIP_PLOT_H
#define BIZ_MONITOR_ROUND_TRIP_PLOT_H

#include <biz_monitor/plots/plot.h>

namespace biz::monitor {

/** How long replies took, by when their commands were sent, with the wait drawn in; what was not answered stands above.
 */
class RoundTripPlot : public Plot
{
    Q_OBJECT

public:
    explicit RoundTripPlot(TimeAxis *axis, QWidget *parent = nullptr);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintPlot(QPainter &painter, const QRectF &area, const Colours &colours) override;
    QString textAt(const QPointF &place) const override;

private:
    struct Shown;
    Shown shown() const;
    QRectF dotsArea(const QRectF &area) const;
    void paintScale(QPainter &painter, const QRectF &area, const Colours &colours, const Shown &shown) const;
    void paintWait(QPainter &painter, const QRectF &area, const Colours &colours, const Shown &shown) const;
};

} // namespace biz::monitor

#endif
