#ifndef BIZ_HOST_FLEET_TAP_P_H
#define BIZ_HOST_FLEET_TAP_P_H

#include <QtCore/QMetaMethod>
#include <QtCore/QObject>

#include <host/event.h>

namespace biz::host {

/** Tells what happens in a fleet as events, from the event loop: a listener may call the fleet, or destroy it. */
class FleetTap : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    bool isHeard() const { return isSignalConnected(QMetaMethod::fromSignal(&FleetTap::happened)); }

Q_SIGNALS:
    void happened(const biz::host::Event &event);
};

} // namespace biz::host

#endif
