#ifndef BIZ_MONITOR_HEALTH_ICON_H
#define BIZ_MONITOR_HEALTH_ICON_H

#include <QtGui/QIcon>
#include <QtGui/QPalette>

#include <biz_monitor/watch/glance.h>

namespace biz::monitor {

/** A picture for a state; each has a shape of its own beside its colour. */
QIcon healthIcon(Health health, const QPalette &palette);

} // namespace biz::monitor

#endif
