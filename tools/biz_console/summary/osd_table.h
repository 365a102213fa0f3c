#ifndef BIZ_CONSOLE_OSD_TABLE_H
#define BIZ_CONSOLE_OSD_TABLE_H

#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <biz_console/verdict/osd_device_totals.h>

namespace biz::console {

/** With more devices than this, those of which every command was answered share a row. */
constexpr int devicesShownEach = 20;

/**
 * The lines of the table; `showAll` gives every device a row of its own. A row that devices
 * share shows the median of all their round trips.
 */
QStringList osdTable(const QVector<OsdDeviceTotals> &rows, bool showAll);

} // namespace biz::console

#endif
