#ifndef BIZ_MONITOR_TOOL_TIP_H
#define BIZ_MONITOR_TOOL_TIP_H

#include <QtCore/QString>

namespace biz::monitor {

/** A tool tip that shows a text as it is, also one that looks like markup. */
QString plainToolTip(const QString &text);

} // namespace biz::monitor

#endif
