#ifndef BIZ_REPORT_TABLES_H
#define BIZ_REPORT_TABLES_H

#include <QtCore/QString>

#include <history/history.h>

namespace biz::report {

/** Each is empty where it would have no rows. */

/** Refused replies by rule, with the bytes that broke it marked. */
QString refusalTable(const history::History &history);

/** For each device and wait, whether the wait leaves the device its time. */
QString waitTable(const history::History &history);

/** What became of each device's commands. */
QString deviceTable(const history::History &history);

/** The runs, with where they were recorded and by which versions. */
QString runTable(const history::History &history);

/** The files, and what was not understood in them. */
QString sourceTable(const history::History &history);

} // namespace biz::report

#endif
