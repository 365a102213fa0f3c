#ifndef BIZ_HOST_OSD_CHANNEL_P_H
#define BIZ_HOST_OSD_CHANNEL_P_H

#include <QtCore/QStringList>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

/** The only door to the state of the OSD channel: its queues and tables. */
namespace biz::host::osd_channel {

/** Hands a command over; the channel sends it as soon as its device is free. */
void push(const model_OsdParam &command);

/** Frees a device, if the command of that tag is still the one that the channel last sent to it. */
void freeDevice(const biz_Osd_CMDSWork &worker, const QString &ip, quint32 tag);

/** Those of the devices that the channel may send to. */
QStringList freeAmong(const QStringList &ips);

bool isFree(const QString &ip);

/**
 * So many replies wait for the receive loop at most: a burst to a thousand devices, a hundred
 * times over.
 */
constexpr std::size_t maxRepliesWaiting = 100000;

/** And so many bytes of payload: a thousand of the largest replies. */
constexpr qint64 maxReplyBytesWaiting = qint64{64} * 1024 * 1024;

/** Queues a reply for the receive loop; returns how many of the oldest had to go for it. */
std::size_t pushReply(const model_OsdParam &reply);

/** Drops the replies that wait for the receive loop. */
void dropReplies();

/**
 * For the end of the process: takes the lock of the tables and keeps it, so that a thread that the
 * library has detached waits there and meets no destroyed table.
 */
void lockForGood();

/**
 * The same for loops that were given no time to return: both locks are kept, unless a loop holds them, in which it may
 * hang for ever.
 */
void tryLockForGood();

} // namespace biz::host::osd_channel

#endif
