#ifndef BIZ_MONITOR_PLOT_H
#define BIZ_MONITOR_PLOT_H

#include <QtWidgets/QWidget>

#include <biz_monitor/looks/colours.h>
#include <biz_monitor/plots/time_axis.h>
#include <history/history.h>

namespace biz::monitor {

/**
 * Draws one device over the time of an axis. Left and Right go back and on, Plus and Minus show less and more,
 * End follows the log; wheel and dragging do the same.
 */
class Plot : public QWidget
{
    Q_OBJECT

public:
    explicit Plot(TimeAxis *axis, QWidget *parent = nullptr);

    /** The history has to live until another one is shown; null shows nothing. */
    void show(const history::History *history, int device);

protected:
    /** Beside the plot, for the names of what is drawn. */
    double leftMargin() const;
    double lineHeight() const { return fontMetrics().height(); }

    /** Between the margins, above the axis of time. */
    virtual void paintPlot(QPainter &painter, const QRectF &area, const Colours &colours) = 0;

    /** What stands under the pointer; empty: nothing. */
    virtual QString textAt(const QPointF &place) const = 0;

    const history::Device *device() const;
    const history::History *history() const { return m_history; }
    report::TimeScale timeScale() const;
    QRectF area() const;

    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;

private:
    void paintAxis(QPainter &painter, const Colours &colours) const;

    TimeAxis *const m_axis;
    const history::History *m_history = nullptr;
    int m_device = -1;
    double m_draggedFrom = 0.0;
};

} // namespace biz::monitor

#endif
