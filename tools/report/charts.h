#ifndef BIZ_REPORT_CHARTS_H
#define BIZ_REPORT_CHARTS_H

#include <report/timeline.h>

namespace biz::report {

/** How long replies took, over time, with the waits drawn in; what was not answered stands above. */
Drawing roundTripsOverTime(const Scene &scene, int mostDots);

/** How many replies took how long. */
Drawing roundTripDistribution(const Scene &scene);

/** How many commands waited to be sent. */
Drawing waitingCommands(const Scene &scene);

/** How many commands ended, and how. */
Drawing rateOfCommands(const Scene &scene);

} // namespace biz::report

#endif
