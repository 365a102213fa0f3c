#ifndef BIZ_HOST_DEVICE_CHANNEL_P_H
#define BIZ_HOST_DEVICE_CHANNEL_P_H

#include <functional>
#include <vector>

#include <model/model_protocoldata.h>

/** The only door to the state of the device channel: its queues, its gate and its settings. */
namespace biz::host::device_channel {

/** The library's own first value: no rules. */
constexpr int anyDeviceType = -1;

void setDeviceType(int deviceType);
int deviceType();

/** Whether commands are sent back to back, without the gate. */
void setPipelined(bool on);

/** Empty queues and an open gate. The loops must not be running. */
void reset();

/** Opens the gate, if it is to be opened, and queues commands, in one step. */
void handOver(bool opensGate, const std::vector<model_Protocoldata> &commands);

bool isGateClosed();

/**
 * So many replies wait for the receive loop at most, and the answers to commands in flight
 * beside them: five seconds of its pace.
 */
constexpr std::size_t maxRepliesWaiting = 1000;

/** Whether a reply, by its tag, is the answer to a command in flight. */
using IsAnswer = std::function<bool(quint32 tag)>;

/**
 * Queues a reply for the receive loop: an answer before all that are none, so that these
 * cannot hold it up. Where too many wait, the older half of what is no answer is taken out
 * and returned. `isAnswer` is called under the channel's lock.
 */
std::vector<model_Protocoldata> pushReply(const model_Protocoldata &reply, const IsAnswer &isAnswer);

/**
 * For the end of the process, when the loops were given no time to return: takes both locks and keeps them, so that a
 * loop waits there and meets no destroyed queue; unless a loop holds them, in which it may hang for ever.
 */
void tryLockForGood();

} // namespace biz::host::device_channel

#endif
