#ifndef BIZ_TOOLS_RECORDED_DEVICES_H
#define BIZ_TOOLS_RECORDED_DEVICES_H

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <model/model_osdparam.h>
#include <model/model_protocoldata.h>

namespace biz::tools {

/** One reply of a recorded device. */
struct RecordedReply
{
    int delayMs = 0; ///< from the copy of the command that it followed
    QByteArray head;
    QByteArray data;
    quint8 flag = 0;           ///< of an OSD reply
    quint8 sequenceOffset = 0; ///< what its sequence byte is beyond that of the command, on the device channel
};

/** What followed one copy of a command; no replies: silence. */
using RecordedAnswer = QVector<RecordedReply>;

/** A device as a recording knows it: what it said to each command, copy by copy. */
struct RecordedDevice
{
    QString address;                                    ///< of an OSD device
    QHash<QByteArray, QVector<RecordedAnswer>> answers; ///< by the command's bytes
};

/** The devices of a recording. */
struct RecordedDevices
{
    bool isOfDevice = true; ///< of the device channel, which has one
    int deviceType = -1;
    QVector<RecordedDevice> devices; ///< in the order of their first command
};

/** The bytes by which a command is known again: all but its sequence byte. */
QByteArray recordedKey(const model_Protocoldata &command);
QByteArray recordedKey(const model_OsdParam &command);

/** Reads a file. Throws InputError when it is no recording, or one in which no command was sent. */
RecordedDevices readRecordedDevices(const QString &path);

} // namespace biz::tools

#endif
