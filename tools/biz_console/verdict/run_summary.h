#ifndef BIZ_CONSOLE_RUN_SUMMARY_H
#define BIZ_CONSOLE_RUN_SUMMARY_H

#include <QtCore/QString>

#include <host/counters.h>

namespace biz::console {

/** What a run comes to. */
struct RunSummary
{
    host::Counters counters;
    bool isOfDevice = true; ///< the OSD channel neither judges replies nor resends
    double seconds = 0.0;   ///< from the first command sent to the last end
    QString errorLog;       ///< the path of the day's file; empty when nothing was logged
};

} // namespace biz::console

#endif
