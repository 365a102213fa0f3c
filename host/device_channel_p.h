#ifndef BIZ_HOST_DEVICE_CHANNEL_P_H
#define BIZ_HOST_DEVICE_CHANNEL_P_H

#include <queue>

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

void pushReply(const model_Protocoldata &reply);

} // namespace biz::host::device_channel

#endif
