#ifndef BIZ_TOOLS_UNITS_H
#define BIZ_TOOLS_UNITS_H

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>

namespace biz::tools {

constexpr double millisecondsPerSecond = 1000.0;

/** What a clock shows, with the fraction of a millisecond. */
double elapsedMs(const QElapsedTimer &clock);

/** To the microsecond: the further digits of a clock are noise. */
double roundedMs(double milliseconds);

/** "12.3 ms"; "-" for a negative time. */
QString millisecondsText(double milliseconds);

} // namespace biz::tools

#endif
