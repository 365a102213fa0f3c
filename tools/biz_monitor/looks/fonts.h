#ifndef BIZ_MONITOR_FONTS_H
#define BIZ_MONITOR_FONTS_H

#include <QtGui/QFont>

namespace biz::monitor {

constexpr double largerFont = 1.25;
constexpr double smallerFont = 0.85;

/** The font in another size, whether the desktop gives its sizes in points or in pixels. */
QFont scaled(QFont font, double factor);

} // namespace biz::monitor

#endif
