#ifndef BIZ_HOST_DEVICE_CHANNEL_P_H
#define BIZ_HOST_DEVICE_CHANNEL_P_H

#include <functional>
#include <queue>
#include <vector>

#include <model/model_protocoldata.h>

/** The kit's accesses to the queues, the gate and the settings of the device channel. */
namespace biz::host::device_channel {

/** The library's own first values for what a host may set. */
constexpr int anyDeviceType = -1;
constexpr int oneInFlight = 0;

void setDeviceType(int deviceType);
int deviceType();
void setSysPlan(int sysPlan);

/** Nothing waits and nothing is watched any more; the gate is open. */
void reset();

void push(const model_Protocoldata &command);

/** Takes all that waits out of the queue. */
std::queue<model_Protocoldata> takeQueue();

/** Nothing waits any more, and nobody counts time-outs for the command in flight. */
void clear();

/** Nobody counts time-outs for the command in flight any more; uses up a sequence number. */
void endWatch();

bool isGateClosed();

/**
 * Opens the gate unless a take is under way: then the queue is shorter than the `waiting`
 * commands that the host's thread knows of.
 */
void openGate(int waiting);

/** What the sequence counter will stamp next. */
int nextSequence();

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

} // namespace biz::host::device_channel

#endif
