#ifndef BIZ_CONSOLE_RECORDING_H
#define BIZ_CONSOLE_RECORDING_H

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <biz_console/session/expectation.h>
#include <biz_console/session/turns.h>

namespace biz::console {

/** A command of a recording and all that happened to it. */
struct RecordedCommand
{
    int line = 0; ///< of the recording, where it was given
    QString name; ///< with what tells it from others of the name
    QByteArray head;
    QByteArray data;
    int waitMs = 0;
    QString device; ///< of an OSD command
    QString text;   ///< of an OSD command
    int flag = 0;   ///< of an OSD command

    /** In their order, in words that hold no times: "sent 01 F1 08 ...", "answered after 1 attempt: ...". */
    QStringList happenings;

    Turn turn; ///< when it was given

    bool hasEnded = false; ///< a recording that was cut off lacks the ends of some
    Expectation expected;  ///< what its session expected: a run waits for it, so the replay does too
};

/** One step of a recording that a device, or whoever watched the run, made. */
struct RecordedStep
{
    enum class Kind { Opened, Closed, Received, Interrupted };

    Kind kind = Kind::Received;
    QString device;   ///< of an OSD reply: who sent it
    QByteArray bytes; ///< received; of an OSD device the datagram
    QString reason;   ///< of a closed link

    /**
     * What had happened before it: so many writes and ends of commands, of its device on the
     * OSD channel. It follows so long after the last of them, however long they themselves
     * take when they are played again.
     */
    int writesBefore = 0;
    int endsBefore = 0;
    int reopeningsBefore = 0; ///< how often the link was opened once more
    double delayMs = 0.0;
};

/** What a run looked like at the boundary of the library. */
struct Recording
{
    bool isOfDevice = true;
    QString link;
    QDateTime utc; ///< when it began
    int deviceType = -1;
    bool isPipelined = false;
    bool reconnects = false; ///< a lost link did not end it
    QVector<RecordedCommand> commands;
    QVector<RecordedStep> steps;
    QVector<QByteArray> writes; ///< of the device channel: the bytes of each
    int cutInLine = 0;          ///< where a recording ends that was cut off; 0: it is whole
    bool isPart = false;        ///< the last part of a longer run
    int firstSequence = 1;      ///< of the device channel: the sequence byte of the first command sent
    QStringList strays;         ///< what happened to no command: bytes and replies that belong to none
};

} // namespace biz::console

#endif
