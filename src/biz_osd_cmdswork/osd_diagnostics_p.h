#ifndef BIZ_OSD_DIAGNOSTICS_P_H
#define BIZ_OSD_DIAGNOSTICS_P_H

#include <QtCore/QDebug>

/**
 * The channel's debug messages, all plain. Deliberate: the entry text of addToSendQueue()
 * begins with a small letter and its lock markers with a capital one; which marker stands
 * inside the lock and which outside differs from operation to operation.
 */
namespace biz::osd_diagnostics {

inline void enqueueEntered()
{
    qDebug() << "addToSendQueue:";
}

inline void knownDeviceLocked()
{
    qDebug() << "AddToSendQueue1:HexCmdlock";
}

inline void knownDeviceLeaving()
{
    qDebug() << "AddToSendQueue1:HexCmdlock:leave";
}

inline void newDeviceLocked()
{
    qDebug() << "AddToSendQueue2:HexCmdlock";
}

inline void newDeviceLeaving()
{
    qDebug() << "AddToSendQueue2:HexCmdlock:leave";
}

inline void setRetFlagLocked()
{
    qDebug() << "setRetFlag:HexCmdlock";
}

inline void setRetFlagLeft()
{
    qDebug() << "setRetFlag:HexCmdlock:leave";
}

inline void clearQueueLocked()
{
    qDebug() << "clearQueue:HexCmdlock";
}

inline void clearQueueLeft()
{
    qDebug() << "clearQueue:HexCmdlock:leave";
}

} // namespace biz::osd_diagnostics

#endif
