#ifndef BIZ_CONSOLE_SUMMARY_LINES_H
#define BIZ_CONSOLE_SUMMARY_LINES_H

#include <QtCore/QStringList>

#include <biz_console/verdict/run_summary.h>

namespace biz::console {

/** What a run comes to, as its closing lines. */
QStringList summaryLines(const RunSummary &summary);

} // namespace biz::console

#endif
