#ifndef BIZ_HOST_TIMING_P_H
#define BIZ_HOST_TIMING_P_H

#include <chrono>

/** Every time of the host kit, with its reason. */
namespace biz::host::timing {

using std::chrono::milliseconds;
using std::chrono::seconds;

// Connecting and reconnecting.

/** From one attempt to open a link to the next: soon enough for an operator, rare enough for a device that starts. */
constexpr milliseconds reconnectInterval{1000};

/** Up to this share of the interval more or less, so that hosts that lost their devices together do not return as one.
 */
constexpr int reconnectJitterPercent = 10;

/** An attempt over TCP ends then: the system would ask ever more rarely, and be late when the line is back. */
constexpr milliseconds tcpConnectLimit{2000};

// Finding out that the other side is silent.

/** A peer is not called silent sooner than this: a lost packet is repeated several times within it. */
constexpr milliseconds shortestSilenceLimit{1000};

/** A peer is silent when it has taken nothing for this many times the wait in flight: one for the command, one for its
 * resend. */
constexpr int waitsUntilSilent = 2;

/** From one look at the held bytes to the next: a small part of the half second in which a silence is to be told. */
constexpr milliseconds silenceCheckPeriod{100};

/** An idle TCP connection is probed after this time without a byte from the peer... */
constexpr seconds keepAliveIdle{5};

/** ...and then as often as this, so that a lost probe is repeated... */
constexpr seconds keepAlivePeriod{3};

/** ...until this many stay without an answer. */
constexpr int keepAliveProbes = 3;

/** The longest in which an idle peer's disappearance may stay unnoticed. */
constexpr seconds idleLossLimit{15};
static_assert(keepAliveIdle + keepAliveProbes * keepAlivePeriod <= idleLossLimit);

/** The system's own limit for unacknowledged bytes: far behind the kit's, and a third of the quarter of an hour that it
 * would try. */
constexpr milliseconds systemSilenceLimit = std::chrono::minutes{5};

// Bytes of commands that have ended.

/** A healthy peer has acknowledged by then, though it may delay that; what is held later is thrown away. */
constexpr milliseconds discardDelay{250};

/** From one look at such bytes to the next: no command is written meanwhile, so it is not to take long. */
constexpr milliseconds discardCheckPeriod{10};

// Room for the next frame.

/** From one look at a full link to the next. */
constexpr milliseconds roomCheckPeriod{5};

/** From one look at a link that holds bytes, but is not full, to the next: nothing waits for the result. */
constexpr milliseconds drainCheckPeriod{250};

} // namespace biz::host::timing

#endif
