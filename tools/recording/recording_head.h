#ifndef BIZ_TOOLS_RECORDING_HEAD_H
#define BIZ_TOOLS_RECORDING_HEAD_H

#include <QtCore/QDateTime>

#include <recording/recording_line.h>

namespace biz::tools {

/** The first line of a recording. */
struct RecordingHead
{
    bool isOfDevice = true;
    QString link;
    QDateTime utc;       ///< when the run began
    int deviceType = -1; ///< this and the next two of the device channel
    bool isPipelined = false;
    bool reconnects = false;     ///< a lost link was opened again
    bool isPart = false;         ///< it is the last part of a longer run
    bool isAmidCommands = false; ///< which begins while replies were awaited
};

/** Reads the first line of a file; `name` is the file as messages show it. Throws InputError. */
RecordingHead readRecordingHead(const QByteArray &json, const QString &name);

} // namespace biz::tools

#endif
