#ifndef MODEL_PROTOCOLDATA_H
#define MODEL_PROTOCOLDATA_H

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/qglobal.h>

#include <manage/biz_manage_export.h>

/**
 * One command to, or one reply from, the connected device.
 *
 * A plain value: copying is member-wise, the texts and the payload are shared until
 * somebody writes to them. The channel reads `ucHead`, `iWaitTime` and `baData`; every
 * other field is the host's own and comes back unchanged. The channel never turns a
 * record into bytes: what goes over the wire is the host's matter.
 *
 * The order of the fields is part of the interface; a new field would be a new version.
 */
class BIZ_MANAGE_EXPORT model_Protocoldata
{
public:
    QString qsText1;
    quint8 ucValue1 = 0;
    QString qsText2;
    quint8 ucValue2 = 0;
    quint16 usValue1 = 0;
    quint16 usValue2 = 0;
    quint8 ucValue3 = 0;
    quint16 usValue3 = 0;
    quint16 usValue4 = 0;
    quint16 usValue5 = 0;

    /**
     * The command head. Byte 0 is the sequence number: whatever the host puts there is
     * overwritten when the command is sent. Byte 1 is the command code, byte 2 the
     * sub-code, bytes 3 to 5 are index and parameters; bytes 4 (low) and 5 (high) are, in
     * replies of most models, the length that the reply declares for its payload.
     * Byte 6 is never read.
     */
    unsigned char ucHead[7] = {};

    /** How long the sender waits for the reply to this command, in milliseconds. */
    qint32 iWaitTime = 0;

    QString qsText3;

    /** The payload of the command or reply. */
    QByteArray baData;

    quint8 ucValue4 = 0;

    /** A number or an opaque handle of the host's; never dereferenced by the library. */
    quint32 nTag = 0;
};

#endif
