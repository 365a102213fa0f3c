#ifndef BIZ_CONSOLE_CLOSING_LINES_H
#define BIZ_CONSOLE_CLOSING_LINES_H

#include <biz_console/verdict/event_sink.h>

namespace biz::console {

/** "3 of 10 ended, 6 waiting, 1 awaiting a reply". */
QString progressText(const RunProgress &progress);

/**
 * What people read at the end of a run: the devices, what was not as expected, what was
 * stopped, the summary. `allDevices` gives every OSD device a row of its own.
 */
QStringList closingLines(const RunEnd &end, bool allDevices);

} // namespace biz::console

#endif
