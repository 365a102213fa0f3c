#ifndef BIZ_REPORT_CHART_FRAME_H
#define BIZ_REPORT_CHART_FRAME_H

#include <report/drawing/scale.h>
#include <report/drawing/svg.h>

namespace biz::report {

/** The plot of a chart within its drawing. */
namespace chart {

constexpr double width = 480.0;
constexpr double height = 220.0;
constexpr double left = 66.0;
constexpr double right = 470.0;
constexpr double top = 26.0;
constexpr double bottom = 196.0;

} // namespace chart

/** Lines and labels of round times along the bottom. */
void drawTimeAxis(Svg &svg, const TimeScale &time);

/** Lines and labels of round numbers up the left side, from 0 to `highest`. */
void drawCountAxis(Svg &svg, double highest, const QString &unit);

/** The height of a number in a chart whose axis goes up to `highest`. */
double heightOf(double number, double highest);

/** The round number at the top of an axis that has to hold `number`. */
double roundedTop(double number);

} // namespace biz::report

#endif
