#ifndef BIZ_MONITOR_MARKS_H
#define BIZ_MONITOR_MARKS_H

#include <QtCore/QPointF>

#include <biz_monitor/looks/colours.h>
#include <report/drawing/svg.h>

class QPainter;

namespace biz::monitor {

/** The report's marks, by which shapes tell apart what colours do not. */
void drawMark(QPainter &painter, report::Mark mark, const QPointF &at, const Colours &colours);

} // namespace biz::monitor

#endif
