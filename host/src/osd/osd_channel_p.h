#ifndef BIZ_HOST_OSD_CHANNEL_P_H
#define BIZ_HOST_OSD_CHANNEL_P_H

#include <QtCore/QStringList>

#include <biz_osd_cmdswork/biz_osd_cmdswork.h>

/** The kit's accesses to the queues and tables of the OSD channel. */
namespace biz::host::osd_channel {

/** No devices, no commands, no replies. */
void reset();

void push(const model_OsdParam &command);

/**
 * Frees a device if the command of that tag is still the one in flight. In one step, unlike
 * the channel's own addToReceiveQueue(): it may have given the command up and sent the next
 * one a moment ago, and the reply to the former must not free the device for a third.
 */
void freeDevice(const biz_Osd_CMDSWork &worker, const QString &ip, quint32 tag);

/**
 * So many replies wait for the receive loop at most: a burst to a thousand devices, a hundred
 * times over.
 */
constexpr std::size_t maxRepliesWaiting = 100000;

/** Queues a reply for the receive loop; returns how many of the oldest had to go for it. */
std::size_t pushReply(const model_OsdParam &reply);

/** Those of the devices that the channel may send to. */
QStringList freeAmong(const QStringList &ips);

/** What the time-out thread did under the lock is over and visible once this returns. */
void meetTimeoutThread();

} // namespace biz::host::osd_channel

#endif
