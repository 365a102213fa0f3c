#ifndef MODEL_OSDPARAM_H
#define MODEL_OSDPARAM_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/qglobal.h>

#include <manage/biz_manage_export.h>

/**
 * One on-screen-display command to, or one reply from, the device at `qsIp`.
 *
 * A plain value: copying is member-wise, the texts and the payload are shared until
 * somebody writes to them. The channel reads `qsIp` and `iWaitTime`; every other field is
 * the host's own and comes back unchanged.
 *
 * The order of the fields is part of the interface; a new field would be a new version.
 */
class BIZ_MANAGE_EXPORT model_OsdParam
{
public:
    /** Head of the record, copied byte by byte. */
    unsigned char ucOsdHead[11] = {};

    /**
     * The device's address, the key of every per-device table. Any text is a key, the
     * empty one included, and texts that differ in any character are different devices.
     */
    QString qsIp;

    quint8 ucOsdFlag = 0;

    /** How long the device may take to answer, in milliseconds; whole seconds count. */
    qint32 iWaitTime = 0;

    QString qsOsdText;

    /** The payload of the command or reply. */
    QByteArray baData;

    quint32 nTag = 0;
};

#endif
