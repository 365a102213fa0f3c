#ifndef BIZ_HOST_FLEET_WORKER_PLAN_P_H
#define BIZ_HOST_FLEET_WORKER_PLAN_P_H

#include <fleet/worker_p.h>
#include <host/device_fleet.h>

namespace biz::host {

/** The worker of a device with these settings. */
WorkerPlan planOf(const DeviceSettings &settings, const QString &folder);

} // namespace biz::host

#endif
